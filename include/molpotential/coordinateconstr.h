// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/constraint.h"
#include "molpotential/coordinates.h"

namespace QZMolPotential {

/// A constraint on Cartesian coordinates in the variables v of a coordinate function, for
/// constrained minimisers of that function:
///   c(v) = c(x(v)),   gradient Jᵀ ∇c,   J = ∂x/∂v
/// Neither is owned, both must be set up and outlive this object; what follows from a new start of
/// the function is seen at once. Where the variables have no geometry c is NaN. Nothing is moved:
/// evaluating the constraint leaves the function where it is. Cost: one way back to coordinates and
/// one turned gradient; allocates where the function's size has changed, and in redundant and
/// internal coordinates, where looking takes a copy of their state, at every gradient.
class QZ_API QZCoordinateConstr final : public QZOpt::QZConstrFunc,
                                        public QZOpt::QZConstrHessian,
                                        public QZOpt::QZConstrFallBack {
 public:
  QZCoordinateConstr(QZMolConstr& constraint, QZCoordinateFunc& func)
      : constraint_(constraint), func_(func) {}

  /// That of the function.
  unsigned int NumVar() const override { return func_.NumVar(); }
  /// `grad` (NumVar() doubles) is **added to**.
  double operator()(const double* vars, double* grad) override;
  double operator()(const double* vars) override;
  /// Jᵀ∇²c J + Σ ∂c/∂x_i ∂²x_i, where the constraint is a `QZConstrHessian`.
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
