// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <chrono>
#include <map>
#include <string>

#include "job.h"

namespace Molpot {

/// One JSON object for a record, on one line without the line's end.
std::string JsonLine(const Outcome& outcome, bool minimised);
/// "record 3 (aspirin)".
std::string RecordName(const Outcome& outcome);
/// One line about a minimised record.
std::string MinimisedLine(const Outcome& outcome);
/// A table of the named components: one column of energies, or before and after.
std::string ComponentTable(const Outcome& outcome, bool minimised);
/// The interactions of highest energy with their atoms; empty when none were asked for.
std::string InteractionTable(const Outcome& outcome);
/// A line a restraint or constraint.
std::string HeldLines(const Outcome& outcome);

/// Counts what a run did, and says it at its end.
class Summary {
 public:
  void Add(const Outcome& outcome);
  unsigned int Failed() const { return failed_; }
  unsigned int Done() const { return done_; }
  std::string Text(bool minimised) const;

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  unsigned int done_ = 0;
  unsigned int failed_ = 0;
  unsigned int unconverged_ = 0;
  unsigned long iterations_ = 0;
  double energyChange_ = 0.0;
  std::map<std::string, unsigned int> reasons_;
};

/// A line that is rewritten in place on a terminal's standard error; silent elsewhere. It holds a
/// bar and the time left where the size of the input is known.
class Progress {
 public:
  /// `input`: the file that is read, or "-".
  explicit Progress(const std::string& input);
  /// To be called with every record, after it was counted.
  void Show(const Outcome& outcome, const Summary& summary);
  /// Removes the line, before other output.
  void Clear();

 private:
  bool enabled_;
  double total_ = 0.0;  // bytes; 0 when unknown
  double done_ = 0.0;
  bool shown_ = false;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point last_{};
};

}  // namespace Molpot
