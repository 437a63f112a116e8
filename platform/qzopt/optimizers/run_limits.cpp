// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run_limits.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace QZOpt {
namespace {

// A sound run takes one to two evaluations an iteration.
constexpr std::uint64_t kEvaluationsPerIteration = 10;
constexpr std::uint64_t kFewestEvaluations = 100;
// Beyond this many seconds (some 30 years) there is no deadline.
constexpr double kLongestTime = 1e9;

unsigned int EvaluationLimit(const QZOptOptions& options) {
  if (options.maxEvaluations > 0) return options.maxEvaluations;
  const std::uint64_t limit = kEvaluationsPerIteration * options.maxIterations + kFewestEvaluations;
  return static_cast<unsigned int>(
      std::min<std::uint64_t>(limit, std::numeric_limits<unsigned int>::max()));
}

}  // namespace

RunLimits::RunLimits(const QZOptOptions& options)
    : maxIterations_(options.maxIterations),
      maxEvaluations_(EvaluationLimit(options)),
      timed_(options.maxSeconds > 0.0 && options.maxSeconds < kLongestTime),
      deadline_(Clock::now()) {
  if (timed_) {
    deadline_ += std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(options.maxSeconds));
  }
}

const char* RunLimits::ReachedAtIteration() const {
  if (iterations_ >= maxIterations_) return "stopped: the iteration limit is reached";
  return ReachedAtEvaluation();
}

const char* RunLimits::ReachedAtEvaluation() const {
  if (evaluations_ >= maxEvaluations_) return "stopped: the limit of evaluations is reached";
  if (timed_ && Clock::now() >= deadline_) return "stopped: the time limit is reached";
  return nullptr;
}

}  // namespace QZOpt
