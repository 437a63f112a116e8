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

/// Runs molpot with arguments and standard input. `interruptAfter` seconds later (0: never) it
/// receives SIGINT.
ProgramResult Molpot(const std::vector<std::string>& args,
                     const std::string& input = {},
                     double interruptAfter = 0.0);

/// A folder that vanishes with the object.
class Scratch {
 public:
  Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch();
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  /// Writes a file and returns its path.
  std::string File(const std::string& name, const std::string& text) const;
  /// Names in the folder, sorted.
  std::vector<std::string> List() const;

 private:
  std::filesystem::path path_;
};

std::string ReadFile(const std::string& path);
/// A file of data/.
std::string Data(const std::string& name);
/// All molecules of a file.
std::vector<QZChem::QZGraphMol> ReadMolecules(const std::string& path);

}  // namespace TestMolpot
