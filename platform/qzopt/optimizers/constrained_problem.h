// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "guarded_function.h"
#include "multipliers.h"
#include "qzopt/constraint.h"

namespace QZOpt {

/// lower <= c(x) <= upper, within the tolerance asked for.
struct ConstraintEntry {
  QZConstrFunc* func;
  double lower;
  double upper;
  double tolerance;

  /// How far `value` is beyond the nearer bound, with its sign; 0 between them.
  double Excess(double value) const { return value - std::clamp(value, lower, upper); }
};

/// A function and its constraints at one point: the energy and gradient, the values c_i(x), and
/// the rows of their Jacobian.
///
/// The gradient of a constraint needs the right direction only: its length is corrected by a
/// central difference along it. (The gradient of a distance is often given as that of r^2/2;
/// multipliers would then be wrong by a factor of r.)
class ConstrainedProblem {
 public:
  ConstrainedProblem(QZFunc1& func,
                     const std::vector<ConstraintEntry>& constraints,
                     RunLimits& limits);

  /// False when there is nothing finite at `x`; see `Failed`. Repeated for the same `x` it costs
  /// nothing.
  bool Evaluate(const double* x);

  QZFunc1& Func() { return func_.Func(); }
  std::size_t NumVar() const { return func_.NumVar(); }
  std::size_t NumConstraints() const { return constraints_.size(); }
  const ConstraintEntry& Constraint(std::size_t constraint) const {
    return constraints_[constraint];
  }
  RunLimits& Limits() { return func_.Limits(); }
  bool Failed() const { return func_.Failed() || !failure_.empty(); }
  const char* Stopped() const { return func_.Stopped(); }
  std::string Failure() const { return func_.Failed() ? func_.Failure() : failure_; }
  /// Forgets the latest point: the function, or what its variables mean, has changed.
  void Forget() { x_.clear(); }

  // At the point of the latest evaluation that succeeded:
  const std::vector<double>& X() const { return x_; }
  double Energy() const { return energy_; }
  const std::vector<double>& Gradient() const { return grad_; }
  double Value(std::size_t constraint) const { return values_[constraint]; }
  const std::vector<double>& Row(std::size_t constraint) const { return rows_[constraint]; }
  /// How far each constraint is outside its bounds, with its sign.
  std::vector<double> Residuals() const;
  /// The multipliers of the constraints that are reached, and the projected gradient, which is 0 at
  /// a solution.
  MultiplierFit Multipliers() const;
  /// Second derivative of the energy along a constraint's gradient, by a forward difference; 0
  /// where it cannot be had.
  double CurvatureAlong(std::size_t constraint);

 private:
  bool evaluateConstraint(std::size_t constraint, const double* x);
  bool fail(std::size_t constraint, const std::string& reason);
  MultiplierSign signOf(std::size_t constraint) const;

  GuardedFunction func_;
  const std::vector<ConstraintEntry>& constraints_;
  std::string failure_;
  std::vector<double> x_;
  double energy_ = 0.0;
  std::vector<double> grad_;
  std::vector<double> values_;
  std::vector<std::vector<double>> rows_;
  std::vector<double> trialGrad_;
  std::vector<double> shifted_;
};

}  // namespace QZOpt
