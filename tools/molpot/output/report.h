// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "output/files.h"
#include "run/task.h"

namespace Molpot {

/// Where the results of a run go. Empty paths: nowhere.
struct ReportOptions {
  std::string source;  // the input's name in messages
  std::string molecules;
  std::string host;  // with its flexible atoms moved, one a record
  std::string trajectory;
  std::string rejects;
  bool json = false;
  bool table = false;
  bool minimised = false;
  bool acceptUnconverged = false;
};

/// Everything that a run writes about its records, opened before the first is read.
class Report {
 public:
  /// Throws UsageError.
  explicit Report(const ReportOptions& options);
  /// Writes all about one record; one that the output's format cannot hold becomes a failure.
  /// Throws UsageError when something cannot be written at all.
  void Write(Outcome& outcome);
  /// Gives all files their names.
  void Commit();
  /// Where lines for people go: standard output, unless results do.
  std::FILE* People() const { return people_; }

 private:
  void writeMolecule(Outcome& outcome);
  void writeText(const Outcome& outcome);

  ReportOptions options_;
  std::FILE* people_ = stdout;
  std::unique_ptr<MolOutput> molecules_;
  std::unique_ptr<MolOutput> host_;
  std::unique_ptr<TextOutput> trajectory_;
  std::unique_ptr<TextOutput> rejects_;
};

}  // namespace Molpot
