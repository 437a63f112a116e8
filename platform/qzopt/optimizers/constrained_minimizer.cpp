// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "constrained_run.h"
#include "metric.h"

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
  QZOptResult result = run.Finish(x);
  residuals_ = run.Residuals();
  multipliers_ = run.Multipliers();
  return result;
}

}  // namespace QZOpt
