// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>
#include <vector>

#include "constr/constr.h"
#include "molpotential/molpotential.h"

namespace Molpot {

/// Holds a distance, an angle or a dihedral with its sign, by the number of atoms:
///   c = r - r0,   θ - θ0   or   φ - φ0 taken into (-π, π]      Å, radians
/// Where the coordinate has no slope (coincident atoms, three in line) the gradient is zero.
class InternalConstraint final : public QZMolPotential::QZMolConstr {
 public:
  /// `atoms`: two to four indices. Without a target that of the molecule at `Setup`.
  InternalConstraint(std::vector<unsigned int> atoms, std::optional<double> target);
  void SetTarget(double target) { target_ = target; }
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumVar() const override { return static_cast<unsigned int>(3 * atoms_.size()); }
  double operator()(const double* x) override;
  /// `grad` is **added to**: the slope of c.
  double operator()(const double* x, double* grad) override;
  /// The coordinate itself.
  double Measure(const double* x) const;

 private:
  double evaluate(const double* x, double* grad) const;

  std::vector<unsigned int> atoms_;
  std::optional<double> given_;
  double target_ = 0.0;
};

/// The distance (Å), angle or dihedral (degrees) of two to four atoms.
double MeasureInternal(const QZChem::QZMolBase& mol, const std::vector<unsigned int>& atoms);

}  // namespace Molpot
