// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

#include "guarded_function.h"
#include "qzopt/constraint.h"

namespace QZOpt {

/// A constraint with the tolerance asked for.
struct ConstraintEntry {
  QZConstrFunc* func;
  double tolerance;
};

/// A function and its equality constraints at one point: the energy and gradient, the residuals
/// c_i(x), and the rows of their Jacobian.
///
/// A constraint's gradient may have the right direction and a wrong length: it is rescaled to the
/// derivative measured along it by a central difference (a distance's gradient is often given as
/// that of r^2/2, and sequential quadratic programming then ends some 0.5 Å off).
class ConstrainedProblem {
 public:
  ConstrainedProblem(QZFunc1& func,
                     const std::vector<ConstraintEntry>& constraints,
                     RunLimits& limits);

  /// False when there is nothing finite at `x`; see `Failed`. Repeated for the same `x` it costs
  /// nothing.
  bool Evaluate(const double* x);

  std::size_t NumVar() const { return func_.NumVar(); }
  std::size_t NumConstraints() const { return constraints_.size(); }
  RunLimits& Limits() { return func_.Limits(); }
  bool Failed() const { return func_.Failed() || !failure_.empty(); }
  const char* Stopped() const { return func_.Stopped(); }
  std::string Failure() const { return func_.Failed() ? func_.Failure() : failure_; }

  // At the point of the latest evaluation that succeeded:
  const std::vector<double>& X() const { return x_; }
  double Energy() const { return energy_; }
  const std::vector<double>& Gradient() const { return grad_; }
  const std::vector<double>& Residuals() const { return residuals_; }
  const std::vector<double>& Row(std::size_t constraint) const { return rows_[constraint]; }
  /// The largest |c_i| / tolerance_i; at most 1 where the constraints are met.
  double Violation() const;
  /// The constraint that `Violation` is about.
  std::size_t WorstConstraint() const;
  double Tolerance(std::size_t constraint) const { return constraints_[constraint].tolerance; }
  /// The gradient less its least-squares part along the constraints' gradients: 0 at a solution.
  std::vector<double> ProjectedGradient() const;
  /// Second derivative of the energy along a constraint's gradient, by a forward difference; 0
  /// where it cannot be had.
  double CurvatureAlong(std::size_t constraint);

 private:
  bool evaluateConstraint(std::size_t constraint, const double* x);
  bool fail(std::size_t constraint, const std::string& reason);

  GuardedFunction func_;
  const std::vector<ConstraintEntry>& constraints_;
  std::string failure_;
  std::vector<double> x_;
  double energy_ = 0.0;
  std::vector<double> grad_;
  std::vector<double> residuals_;
  std::vector<std::vector<double>> rows_;
  std::vector<double> trialGrad_;
  std::vector<double> shifted_;
};

}  // namespace QZOpt
