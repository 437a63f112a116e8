// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <chrono>

#include "qzopt/optimizers.h"

namespace QZOpt {

/// The limits of one call of a minimiser, and the iterations and evaluations that it has used,
/// counted over restarts and changes of variables.
class RunLimits {
 public:
  explicit RunLimits(const QZOptOptions& options);

  void CountIteration() { ++iterations_; }
  void CountEvaluation() { ++evaluations_; }
  unsigned int Iterations() const { return iterations_; }
  unsigned int Evaluations() const { return evaluations_; }
  /// Which limit an iteration has reached, as a message; null for none.
  const char* ReachedAtIteration() const;
  /// Which limit forbids another evaluation; null for none.
  const char* ReachedAtEvaluation() const;

 private:
  using Clock = std::chrono::steady_clock;

  unsigned int maxIterations_;
  unsigned int maxEvaluations_;
  bool timed_;
  Clock::time_point deadline_;
  unsigned int iterations_ = 0;
  unsigned int evaluations_ = 0;
};

}  // namespace QZOpt
