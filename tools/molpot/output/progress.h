// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "run/task.h"

namespace Molpot {

/// Counts what a run did, and says it at its end.
class Summary {
 public:
  void Add(const Outcome& outcome);
  unsigned int Failed() const { return failed_; }
  unsigned int Unconverged() const { return unconverged_; }
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
  // Of a restraint or constraint, by where it was asked for.
  struct Violation {
    unsigned int records = 0;
    unsigned int last = 0;  // record that counted
    double most = 0.0;
    std::string where;
  };
  using Entry = std::pair<std::string, Violation>;
  void count(const Outcome& outcome, const HeldReport& held);

  std::vector<Entry> violations_;
};

/// How far a run has come, as the status line: with a bar and the time left where the size of the
/// input is known.
class Progress {
 public:
  /// `input`: the file that is read, or "-".
  explicit Progress(const std::string& input);
  /// To be called with every record, after it was counted.
  void Show(const Outcome& outcome, const Summary& summary);

 private:
  double total_ = 0.0;  // bytes; 0 when unknown
  double done_ = 0.0;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace Molpot
