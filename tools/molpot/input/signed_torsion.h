// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <optional>

#include "constr/constr.h"
#include "molpotential/molpotential.h"

namespace Molpot {

/// Holds one dihedral with its sign, as the constraints on a cosine cannot:
///   c = φ - φ0 taken into (-π, π]     radians, the IUPAC dihedral
/// Three atoms in line: c of φ = 0, no gradient.
class SignedTorsionConstraint final : public QZMolPotential::QZMolConstr {
 public:
  /// Without a target that of the molecule at `Setup`.
  SignedTorsionConstraint(const std::array<unsigned int, 4>& atoms, std::optional<double> target);
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumVar() const override { return 12; }
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;

 private:
  double angle(const double* x) const;

  std::array<unsigned int, 4> atoms_;
  std::optional<double> given_;
  double target_ = 0.0;
  QZConstr::QZTorsionAngleRestraint slope_;
};

}  // namespace Molpot
