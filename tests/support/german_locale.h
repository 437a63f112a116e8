// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <string>

namespace TestSupport {

/// Numbers as a host program may have C++ write them: 1.5 as "1,5" and 1000 as "1.000".
class CommaNumbers final : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

/// The C library's locale made German, by one that the system has or, where it can make one, by one
/// in a folder that vanishes with the object.
class GermanLocale {
 public:
  GermanLocale() {
    isSet_ = std::setlocale(LC_ALL, kName) != nullptr;
    if (isSet_) return;
    std::string name = (std::filesystem::temp_directory_path() / "molpot-locale-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    const std::string command = std::string("localedef -i de_DE -f UTF-8 ") +
                                (folder_ / kName).string() + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) return;
    setenv("LOCPATH", folder_.c_str(), 1);
    isSet_ = std::setlocale(LC_ALL, kName) != nullptr;
  }
  GermanLocale(const GermanLocale&) = delete;
  GermanLocale& operator=(const GermanLocale&) = delete;
  ~GermanLocale() {
    std::setlocale(LC_ALL, "C");
    if (folder_.empty()) return;
    unsetenv("LOCPATH");
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  /// False where the system has none and cannot make one.
  explicit operator bool() const { return isSet_; }

 private:
  static constexpr const char* kName = "de_DE.UTF-8";
  bool isSet_ = false;
  std::filesystem::path folder_;
};

}  // namespace TestSupport
