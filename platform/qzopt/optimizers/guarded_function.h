// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "qzopt/function.h"

namespace QZOpt {

/// A function as the minimisers call it: clears the gradient, counts, catches what the function
/// throws, tells NaN from a merely infinite energy, and remembers the lowest point.
class GuardedFunction {
 public:
  explicit GuardedFunction(QZFunc1& func) : func_(func), numVar_(func.NumVar()) {}

  std::size_t NumVar() const { return numVar_; }
  /// False when there is no finite energy and gradient at `x`. An energy of plus infinity is a
  /// step too far and no more; anything else makes `Failed()` true for good.
  bool Evaluate(const double* x, double* energy, double* grad);

  unsigned int Evaluations() const { return evaluations_; }
  bool Failed() const { return !failure_.empty(); }
  const std::string& Failure() const { return failure_; }

  bool HasBest() const { return !bestX_.empty(); }
  double BestEnergy() const { return bestEnergy_; }
  const std::vector<double>& BestX() const { return bestX_; }
  const std::vector<double>& BestGradient() const { return bestGrad_; }

 private:
  bool fail(std::string reason);

  QZFunc1& func_;
  std::size_t numVar_;
  unsigned int evaluations_ = 0;
  std::string failure_;
  double bestEnergy_ = std::numeric_limits<double>::infinity();
  std::vector<double> bestX_;
  std::vector<double> bestGrad_;
};

/// Root mean square; 0 for an empty vector, NaN when an entry is.
double RootMeanSquare(const std::vector<double>& values);

}  // namespace QZOpt
