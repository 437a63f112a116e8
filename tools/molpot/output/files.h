// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>

#include "qzchem/qzchem.h"

namespace Molpot {

/// A text or molecule file that appears under its name only when it is complete. "-" is standard
/// output.
class OutputPath {
 public:
  explicit OutputPath(std::string path);
  OutputPath(const OutputPath&) = delete;
  OutputPath& operator=(const OutputPath&) = delete;
  /// Removes the temporary file when nothing was committed and nothing was written.
  ~OutputPath();

  bool IsStandardOutput() const { return path_ == "-"; }
  const std::string& Path() const { return path_; }
  /// Where to write until `Commit`.
  const std::string& Temporary() const { return temporary_; }
  /// Gives the file its name. Throws UsageError when that fails; the temporary file then stays.
  void Commit();
  /// From now on the temporary file stays if the run ends early.
  void Keep() { keep_ = true; }

 private:
  std::string path_;
  std::string temporary_;
  bool keep_ = false;
  bool committed_ = false;
};

/// A plain text file under an OutputPath.
class TextOutput {
 public:
  /// Throws UsageError when the file cannot be opened.
  explicit TextOutput(const std::string& path);
  ~TextOutput();
  /// Throws UsageError when the text could not be written.
  void Write(const std::string& text);
  void Commit();
  const std::string& Path() const { return path_.Path(); }

 private:
  OutputPath path_;
  std::unique_ptr<std::ostream> file_;
};

/// Molecules under an OutputPath, format by the extension; SDF for standard output.
class MolOutput {
 public:
  explicit MolOutput(const std::string& path);
  void Write(QZChem::QZGraphMol& mol);
  void Commit();
  bool IsStandardOutput() const { return path_.IsStandardOutput(); }
  const std::string& Path() const { return path_.Path(); }

 private:
  OutputPath path_;
  std::unique_ptr<QZChem::qzmolostream> stream_;
};

}  // namespace Molpot
