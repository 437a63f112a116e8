// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "qzchem/qzchem.h"

namespace TestMolpot {

struct ProgramResult {
  int status;
  std::string out;
  std::string err;
};

/// A folder that vanishes with the object, and in which molpot runs.
class Scratch {
 public:
  Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch();
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  /// Runs molpot with a command line, of which only single quotes are special and `data/` stands
  /// for the project's, and standard input.
  ProgramResult Molpot(const std::string& commandLine, const std::string& input = {}) const;
  /// Runs a script of /bin/sh in the folder, in which `molpot` and $molpot are the program and
  /// `data/` stands for the project's.
  ProgramResult Shell(const std::string& script) const;
  /// Writes a file.
  void File(const std::string& name, const std::string& text) const;
  void File(const std::string& name, const QZChem::QZGraphMol& mol) const;
  std::string Read(const std::string& name) const;
  /// All molecules of a file, "data/..." as above.
  std::vector<QZChem::QZGraphMol> Molecules(const std::string& name) const;
  /// Names in the folder, sorted, each with a space behind it.
  std::string List() const;

 private:
  std::filesystem::path path_;
};

}  // namespace TestMolpot
