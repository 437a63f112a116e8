// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "constrained_run.h"
#include "metric.h"
#include "returning_checkpoint.h"

namespace QZOpt {
namespace {

constexpr double kSmallestTolerance = 1e-12;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Why no value can be between these bounds; null when one can.
const char* FaultOf(double lower, double upper) {
  if (std::isnan(lower) || std::isnan(upper)) return "has a bound that is not a number";
  if (lower > upper) return "has its lower bound above its upper bound";
  if (lower == kInfinity || upper == -kInfinity) return "has bounds that no value is between";
  return nullptr;
}

struct Solution {
  QZOptResult result;
  std::vector<double> residuals;
  std::vector<double> multipliers;
};

Solution SolutionOf(ConstrainedRun& run, double* x) {
  Solution solution;
  solution.result = run.Finish(x);
  solution.residuals = run.Residuals();
  solution.multipliers = run.Multipliers();
  return solution;
}

// The constraints over a fall-back's variables; none where one of them cannot follow.
std::vector<ConstraintEntry> EntriesOver(QZFunc1& fallBack, std::vector<ConstraintEntry> entries) {
  for (ConstraintEntry& entry : entries) {
    auto* const follower = dynamic_cast<QZConstrFallBack*>(entry.func);
    entry.func = follower != nullptr ? follower->FallBack(fallBack) : nullptr;
    if (entry.func == nullptr) return {};
  }
  return entries;
}

// Goes on in the variables of the fall-back from the point that `stuck` has reached; `x` receives
// the result. Empty when there is no fall-back.
std::optional<Solution> FallBack(QZRestartable& func,
                                 const ConstrainedRun& stuck,
                                 const std::vector<ConstraintEntry>& entries,
                                 RunLimits& limits,
                                 const QZOptOptions& options,
                                 QZCheckpoint1* checkpoint,
                                 double* x) {
  const std::vector<double>& reached = stuck.Reached();
  std::vector<double> start;
  QZFunc1* const other = func.FallBack(reached.data(), start);
  if (other == nullptr || other->NumVar() == 0 || start.size() != other->NumVar()) return {};
  const std::vector<ConstraintEntry> over = EntriesOver(*other, entries);
  if (over.empty()) return {};
  std::optional<ReturningCheckpoint> returning;
  if (checkpoint != nullptr) returning.emplace(func, reached.size(), *checkpoint);
  ConstrainedProblem problem(*other, over, limits);
  ConstrainedRun run(
      problem, options, returning ? &*returning : nullptr, start.data(), /*continues=*/true);
  run.SolveAugmented({});
  if (!run.HasPoint()) return {};
  Solution solution = SolutionOf(run, start.data());
  func.ReturnFrom(start.data(), x);
  solution.result.fellBack = true;
  solution.result.restarts += stuck.Restarts();
  solution.result.revisions += stuck.Revisions();
  solution.result.message +=
      std::string(", in ") + func.FallBackName() + " after " + stuck.Explain();
  return solution;
}

}  // namespace

QZConstrainedMinimizer::QZConstrainedMinimizer(QZOptOptions options) : options_(options) {}

void QZConstrainedMinimizer::AddConstraint(QZConstrFunc& constraint, double tolerance) {
  AddBounds(constraint, 0.0, 0.0, tolerance);
}

void QZConstrainedMinimizer::AddBounds(QZConstrFunc& constraint,
                                       double lower,
                                       double upper,
                                       double tolerance) {
  // A tolerance that is not a number asks for nothing in particular.
  const bool isUsable = tolerance >= kSmallestTolerance;
  constraints_.push_back({&constraint, lower, upper, isUsable ? tolerance : kSmallestTolerance});
}

QZOptResult QZConstrainedMinimizer::Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint) {
  residuals_.assign(constraints_.size(), std::numeric_limits<double>::quiet_NaN());
  multipliers_ = residuals_;
  if (constraints_.empty() || f.NumVar() == 0) {
    QZMinimizer minimizer(options_);
    minimizer.SetScales(scales_);
    return minimizer.Minimize(f, x, checkpoint);
  }
  QZOptResult refused;
  for (std::size_t i = 0; i < constraints_.size(); ++i) {
    if (const char* fault = FaultOf(constraints_[i].lower, constraints_[i].upper)) {
      refused.message = "constraint " + std::to_string(i + 1) + " " + fault;
      return refused;
    }
  }
  if (!FitsScales(scales_, f.NumVar())) {
    refused.message = kWrongScales;
    return refused;
  }
  std::vector<ConstraintEntry> entries;
  for (const Bounds& bounds : constraints_) {
    entries.push_back({bounds.constraint, bounds.lower, bounds.upper, bounds.tolerance});
  }
  RunLimits limits(options_);
  ConstrainedProblem problem(f, entries, limits);
  ConstrainedRun run(problem, options_, checkpoint, x);
  run.SolveAugmented(scales_);
  std::optional<Solution> solution;
  auto* const restartable = dynamic_cast<QZRestartable*>(&f);
  if (restartable != nullptr && run.IsStuck()) {
    solution = FallBack(*restartable, run, entries, limits, options_, checkpoint, x);
  }
  if (!solution) solution = SolutionOf(run, x);
  residuals_ = std::move(solution->residuals);
  multipliers_ = std::move(solution->multipliers);
  return solution->result;
}

}  // namespace QZOpt
