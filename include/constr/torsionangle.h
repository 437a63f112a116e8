// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <vector>

#include "molpotential/invariance.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// Holds one dihedral at a signed target, of the Cartesian coordinates of the whole molecule.
///   E = k d²,  d = φ - φ0 taken into (-π, π],  φ the IUPAC dihedral; k in kcal/mol/rad²
/// With a width, E = 0 for |d| <= width and k (|d| - width)² beyond; with an onset as well the
/// curvature rises over it, as `SetOnset` says.
/// Unlike the penalties on the cosine it tells +φ0 from -φ0 and is as stiff at 0 and π as
/// elsewhere; opposite the target, at d = ±π, the gradient jumps. Degenerate (three atoms in line):
/// E of φ = 0, no gradient. Copies: deep. Cost: O(1).
class QZ_API QZTorsionAngleRestraint final : public QZMolPotential::QZMolFunc2,
                                             public QZMolPotential::QZFrameQuery,
                                             public QZOpt::QZHessianModel {
 public:
  /// `k` in kcal/mol/rad², `phi0` in radians.
  QZTorsionAngleRestraint(double k, double phi0);

  /// The four atoms by index; takes effect at once, and is checked by the next `Setup`.
  void SetTorsion(unsigned int a, unsigned int b, unsigned int c, unsigned int d);
  double Get_k() const { return k_; }
  void Set_k(double k) { k_ = k; }
  double Get_phi0() const { return phi0_; }
  void Set_phi0(double phi0) { phi0_ = phi0; }
  /// Half-width of the flat bottom in radians, 0 by default. False for one that is negative or not
  /// finite.
  double GetWidth() const { return width_; }
  bool SetWidth(double width);
  /// Angle (radians) over which the curvature rises from 0 at the edge of the flat bottom to 2k, in
  /// place of a step; 0 by default. With e = |d| - width and w the onset
  ///   E = k e³/(3w)  e < w        E = k (e² - w e + w²/3)  e >= w
  /// False for one that is negative or not finite.
  double GetOnset() const { return onset_; }
  bool SetOnset(double onset);

  /// False with a Warning when the molecule lacks one of the atoms.
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumVar() const override { return 3 * numAtoms_; }
  using QZMolPotential::QZMolFunc2::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// True.
  bool IsFrameInvariant() const override { return true; }
  /// The part of the second derivatives that is positive.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// One component, "Torsion Angle Restraint"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  QZTorsionAngleRestraint* CreateCopy() const override {
    return new QZTorsionAngleRestraint(*this);
  }

 private:
  std::array<unsigned int, 4> atoms_{0, 1, 2, 3};
  double k_;
  double phi0_;
  double width_ = 0.0;
  double onset_ = 0.0;
  unsigned int numAtoms_ = 0;
};

/// A torsion, by atom indices, of every rotatable bond (`QZChem::QZIsRotor`) in the order of the
/// bonds: its ends between the first other neighbour of each. A restraint on each of them holds a
/// conformation.
QZ_API std::vector<std::array<unsigned int, 4>> QZFindRotorTorsions(const QZChem::QZMolBase& mol);

}  // namespace QZConstr
