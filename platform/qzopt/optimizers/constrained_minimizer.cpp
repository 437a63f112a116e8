// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>

#include "constrained_run.h"

namespace QZOpt {
namespace {

// Sequential quadratic programming solves an n x n problem in every iteration: at 24 variables its
// own work is ten times that of the augmented Lagrangian, which needs as many evaluations there.
constexpr std::size_t kLargestQuadraticProblem = 24;
constexpr double kSmallestTolerance = 1e-12;

}  // namespace

QZConstrainedMinimizer::QZConstrainedMinimizer(QZOptOptions options) : options_(options) {}

void QZConstrainedMinimizer::AddConstraint(QZConstrFunc& constraint, double tolerance) {
  constraints_.push_back(&constraint);
  tolerances_.push_back(std::max(tolerance, kSmallestTolerance));
}

std::vector<double> QZConstrainedMinimizer::GetResiduals() const {
  return residuals_;
}

QZOptResult QZConstrainedMinimizer::Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint) {
  residuals_.clear();
  if (constraints_.empty() || f.NumVar() == 0) {
    return QZMinimizer(options_).Minimize(f, x, checkpoint);
  }
  std::vector<ConstraintEntry> entries;
  for (std::size_t i = 0; i < constraints_.size(); ++i) {
    entries.push_back({constraints_[i], tolerances_[i]});
  }
  RunLimits limits(options_);
  ConstrainedProblem problem(f, entries, limits);
  ConstrainedRun run(problem, options_, checkpoint, x);
  if (problem.NumVar() <= kLargestQuadraticProblem) run.SolveQuadratic();
  if (!run.Ended()) run.SolveAugmented();
  return run.Finish(x, residuals_);
}

}  // namespace QZOpt
