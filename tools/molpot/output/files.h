// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "qzchem/qzchem.h"

namespace Molpot {

/// A file that an option names; "-" is a standard stream.
struct NamedPath {
  std::string option;
  std::string path;
};

/// Throws UsageError when an output is an input, another output or the file that standard output
/// goes to, whatever their names, or when two outputs want standard output. Looks at files without
/// opening any.
void RequireDistinct(const std::vector<NamedPath>& inputs, const std::vector<NamedPath>& outputs);

/// "-" for the names that the system has for standard output.
std::string StandardOutputAsDash(const std::string& path);

/// The destination of an output. A regular file gets its name, and the mode of the file that it
/// replaces, only when it is complete; a link is followed, and the file that it points to is
/// replaced. Devices and pipes are written to directly. "-" is standard output.
class OutputPath {
 public:
  /// Throws UsageError when nothing can be written there.
  explicit OutputPath(std::string path);
  OutputPath(const OutputPath&) = delete;
  OutputPath& operator=(const OutputPath&) = delete;
  /// Removes a temporary file that nothing was written to; names one that stays.
  ~OutputPath();

  bool IsStandardOutput() const { return path_ == "-"; }
  const std::string& Path() const { return path_; }
  /// True for what is neither a regular file nor to become one.
  bool IsWrittenThrough() const { return !IsStandardOutput() && temporary_ == path_; }
  /// Where to write until `Commit`.
  const std::string& Temporary() const { return temporary_; }
  /// Gives the file its name. Throws UsageError when that fails; the temporary file then stays.
  void Commit();
  /// To be called once something was written: the temporary file is then kept after a failure.
  void Keep() { keep_ = true; }

 private:
  std::string path_;
  std::string target_;     // of the links
  std::string temporary_;  // path_ itself when written through
  mode_t mode_ = 0;        // of the file to be replaced; 0: there is none
  uid_t owner_ = 0;
  gid_t group_ = 0;
  bool keep_ = false;
  bool committed_ = false;
};

/// A plain text under an OutputPath.
class TextOutput {
 public:
  explicit TextOutput(const std::string& path);
  ~TextOutput();
  /// Throws UsageError when the text could not be written.
  void Write(const std::string& text);
  void Commit();
  const OutputPath& Path() const { return path_; }

 private:
  OutputPath path_;
  std::unique_ptr<std::ofstream> file_;  // none: standard output
};

/// Molecules under an OutputPath, format by the extension; SDF for standard output, devices and
/// pipes without one.
class MolOutput {
 public:
  explicit MolOutput(const std::string& path);
  /// False when the format cannot hold this molecule. Throws UsageError when writing failed.
  bool Write(QZChem::QZGraphMol& mol);
  void Commit();
  const OutputPath& Path() const { return path_; }
  /// True where SD data is written.
  bool HoldsData() const { return format_ == QZChem::QZMolFormat::SDF; }

 private:
  OutputPath path_;
  QZChem::QZMolFormat format_ = QZChem::QZMolFormat::SDF;
  std::unique_ptr<QZChem::qzmolostream> stream_;
};

}  // namespace Molpot
