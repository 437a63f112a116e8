// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "qzopt/function.h"
#include "run_limits.h"

namespace QZOpt {

/// Variables with the energy and gradient there.
struct Point {
  std::vector<double> x;
  std::vector<double> grad;
  double energy = std::numeric_limits<double>::infinity();
};

/// A function as the minimisers call it: clears the gradient, counts evaluations, keeps to the
/// limits, catches exceptions of the function, distinguishes NaN from an infinite energy, and
/// remembers the lowest point.
class GuardedFunction {
 public:
  /// Neither is owned.
  GuardedFunction(QZFunc1& func, RunLimits& limits);

  QZFunc1& Func() { return func_; }
  RunLimits& Limits() { return limits_; }
  std::size_t NumVar() const { return numVar_; }
  bool HasHessian() const { return func2_ != nullptr; }

  /// False when there is no finite energy and gradient at `x`. An energy of plus infinity only
  /// means that the step was too long. When a limit was reached, `Stopped()` returns its message;
  /// after any other failure `Failed()` stays true.
  bool Evaluate(const double* x, double* energy, double* grad);
  /// The packed Hessian at `x`. False when there is none, and then never again.
  bool EvaluateHessian(const double* x, std::vector<double>& hessian);

  bool Failed() const { return !failure_.empty(); }
  const std::string& Failure() const { return failure_; }
  /// The limit that forbade an evaluation; null for none.
  const char* Stopped() const { return stopped_; }

  bool HasBest() const { return !best_.x.empty(); }
  const Point& Best() const { return best_; }
  /// Forgets the best point, since it belongs to other variables.
  void ForgetBest() { best_ = {}; }

 private:
  bool fail(std::string reason);

  QZFunc1& func_;
  QZFunc2* func2_;
  RunLimits& limits_;
  std::size_t numVar_;
  std::string failure_;
  const char* stopped_ = nullptr;
  Point best_;
};

/// Root mean square; 0 for an empty vector, NaN when an entry is.
double RootMeanSquare(const std::vector<double>& values);

}  // namespace QZOpt
