// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/locale.h"

#include <clocale>
#include <cstring>
#include <locale>
#include <mutex>

namespace QZChem {
namespace {

bool IsClassic(const std::lconv& numbers) {
  return std::strcmp(numbers.decimal_point, ".") == 0 && *numbers.thousands_sep == '\0';
}

bool IsClassic(const std::locale& locale) {
  if (locale == std::locale::classic()) return true;
  const auto& numbers = std::use_facet<std::numpunct<char>>(locale);
  return numbers.decimal_point() == '.' && numbers.grouping().empty();
}

// A locale object that differs from the thread's in its numbers only is not worth its making.
locale_t ClassicLocale() {
  static const locale_t classic = newlocale(LC_ALL_MASK, "C", locale_t());
  return classic;
}

// Guards that need the classic global locale, and what it was before the first of them.
struct GlobalLocale {
  std::mutex mutex;
  unsigned int holders = 0;
  std::locale before;
};
GlobalLocale& Global() {
  static auto* const global = new GlobalLocale;
  return *global;
}

}  // namespace

QZClassicNumbers::QZClassicNumbers() {
  {
    GlobalLocale& global = Global();
    const std::lock_guard lock(global.mutex);
    if (global.holders > 0 || !IsClassic(std::locale())) {
      // Only the C++ locale: a named one would change that of C for all threads with it.
      if (global.holders++ == 0) {
        global.before = std::locale::global(
            std::locale(std::locale(), std::locale::classic(), std::locale::numeric));
      }
      holdsGlobal_ = true;
    }
  }
  if (!IsClassic(*std::localeconv())) threadLocale_ = uselocale(ClassicLocale());
}

QZClassicNumbers::~QZClassicNumbers() {
  if (threadLocale_ != nullptr) uselocale(static_cast<locale_t>(threadLocale_));
  if (!holdsGlobal_) return;
  GlobalLocale& global = Global();
  const std::lock_guard lock(global.mutex);
  if (--global.holders == 0) std::locale::global(global.before);
}

}  // namespace QZChem
