// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/constraint.h"
#include "molpotential/coordinates.h"

namespace QZMolPotential {

/// A constraint on Cartesian coordinates, expressed in the variables v of a `QZCoordinateFunc`, for
/// constrained minimisations of that function:
///   c(v) = c(x(v)),   gradient Jᵀ ∇c,   J = ∂x/∂v
/// Constraint and function are not owned; both must be set up and outlive this object. A new start
/// of the function takes effect at once. c is NaN for variables that have no geometry. Evaluating
/// the constraint does not change the state of the function. Copies: refer to the same constraint
/// and function. Cost: one conversion to coordinates and one of a gradient, and in redundant and
/// internal coordinates a copy of their state. Allocates when the size of the function has changed,
/// and for Hessians.
class QZ_API QZCoordinateConstr final : public QZOpt::QZConstrFunc,
                                        public QZOpt::QZConstrHessian,
                                        public QZOpt::QZConstrFallBack {
 public:
  QZCoordinateConstr(QZMolConstr& constraint, QZCoordinateFunc& func)
      : constraint_(constraint), func_(func) {}

  /// NumVar() of the function.
  unsigned int NumVar() const override { return func_.NumVar(); }
  /// `grad` (NumVar() doubles) is **added to**.
  double operator()(const double* vars, double* grad) override;
  double operator()(const double* vars) override;
  /// **Adds** `factor` (Jᵀ∇²c J + Σ ∂c/∂x_i ∂²x_i). False, with nothing added, when the constraint
  /// is not a `QZConstrHessian` or the variables have no geometry.
  bool AddHessian(const double* vars, double factor, double* hessian) const override;
  /// The constraint over the function's fall-back in Cartesian coordinates.
  QZOpt::QZConstrFunc* FallBack(QZOpt::QZFunc1& fallBack) override;

 private:
  bool place(const double* vars);

  QZMolConstr& constraint_;
  QZCoordinateFunc& func_;
  std::vector<double> coords_;
  std::vector<double> cartGrad_;
  std::unique_ptr<QZCoordinateConstr> fallBack_;
};

}  // namespace QZMolPotential
