// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <vector>

#include "molpotential/invariance.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// A harmonic restraint of one dihedral to a signed target; a function of the Cartesian coordinates
/// of the whole molecule.
///   E = k d²,  d = φ - φ0 taken into (-π, π],  φ the IUPAC dihedral; k in kcal/mol/rad²
/// With a width, E = 0 for |d| <= width and E = k (|d| - width)² beyond; for an onset see
/// `SetOnset`.
/// In contrast to the penalties on the cosine it distinguishes +φ0 from -φ0 and is as stiff at 0
/// and π as elsewhere. Opposite the target, at d = ±π, the gradient jumps. Degenerate (three atoms
/// in line): E is that of φ = 0 and the gradient is 0. Copies: deep. Cost: O(1), nothing allocated.
class QZ_API QZTorsionAngleRestraint final : public QZMolPotential::QZMolFunc2,
                                             public QZMolPotential::QZFrameQuery,
                                             public QZOpt::QZHessianModel {
 public:
  /// `k` in kcal/mol/rad², `phi0` in radians.
  QZTorsionAngleRestraint(double k, double phi0);

  /// Sets the four atoms by index. Takes effect at once; the indices are checked by the next
  /// `Setup`.
  void SetTorsion(unsigned int a, unsigned int b, unsigned int c, unsigned int d);
  double Get_k() const { return k_; }
  void Set_k(double k) { k_ = k; }
  double Get_phi0() const { return phi0_; }
  void Set_phi0(double phi0) { phi0_ = phi0; }
  /// The half-width of the flat bottom in radians, 0 by default. `SetWidth` fails: false for a
  /// value that is negative or not finite.
  double GetWidth() const { return width_; }
  bool SetWidth(double width);
  /// The onset w (radians), 0 by default: the angle beyond the flat bottom over which the curvature
  /// rises from 0 to 2k, instead of jumping. With e = |d| - width
  ///   E = k e³/(3w)  e < w        E = k (e² - w e + w²/3)  e >= w
  /// `SetOnset` fails: false for a value that is negative or not finite.
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
  /// The positive part of the Hessian.
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

/// One torsion a-b-c-d, as atom indices, for every rotatable bond b-c (`QZChem::QZIsRotor`), in the
/// order of the bonds; a and d are the first further neighbours of b and c. Restraints on all of
/// these torsions hold the conformation of a molecule.
QZ_API std::vector<std::array<unsigned int, 4>> QZFindRotorTorsions(const QZChem::QZMolBase& mol);

}  // namespace QZConstr
