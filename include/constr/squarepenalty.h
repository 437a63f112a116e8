// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/invariance.h"
#include "molpotential/record.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// A harmonic penalty on the distance r of two atoms; a function of the Cartesian coordinates of
/// the whole molecule.
///   E = k (r - dist0)²     r and dist0 in Å, k in kcal/mol/Å²
/// At r = dist0 E and gradient are exactly 0. Coincident atoms divide by zero: there is no guard.
/// Copies: deep. Cost: O(1), nothing allocated; a Hessian call touches only the entries of the two
/// atoms.
class QZ_API QZDistanceQuadPenalty final : public QZMolPotential::QZMolFunc2,
                                           public QZMolPotential::QZFrameQuery,
                                           public QZOpt::QZHessianModel {
 public:
  /// Keeps the indices of the atoms, not the atoms.
  QZDistanceQuadPenalty(const QZChem::QZAtomBase& a,
                        const QZChem::QZAtomBase& b,
                        double dist0,
                        double k);
  QZDistanceQuadPenalty(const QZDistanceQuadPenalty& other);
  QZDistanceQuadPenalty& operator=(const QZDistanceQuadPenalty& other);
  ~QZDistanceQuadPenalty() override;

  double Get_dist0() const;
  void Set_dist0(double dist0);
  double Get_k() const;
  void Set_k(double k);

  /// Fails: false with a Warning when the molecule lacks one of the atoms or both atoms are the
  /// same one. NumVar() is set in any case, and the parameters stay as they were.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Ends the binding: NumVar() is 0 again.
  void Clear() override;
  /// 3 x AtomIndexBound(); 0 before `Setup`.
  unsigned int NumVar() const override;
  using QZMolPotential::QZMolFunc2::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// True.
  bool IsFrameInvariant() const override { return true; }
  /// The part of the second derivatives that is positive.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// One component, "Distance Square Penalty"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  QZDistanceQuadPenalty* CreateCopy() const override { return new QZDistanceQuadPenalty(*this); }

 private:
  struct Data;
  QZMolPotential::QZRecord<Data> data_;
};

/// A penalty on the dihedral φ of the atoms a-b-c-d; a function of the Cartesian coordinates of the
/// whole molecule.
///   E = k (cos φ - cos α0)²     α0 in radians, k in kcal/mol
/// Since E depends on the cosine, +α0 and -α0 are the same target; callers rely on it. Regular at φ
/// = 0 and π. Degenerate (three atoms in line): E = 0, nothing added. Copies: deep. Cost: O(1),
/// nothing allocated; a Hessian call touches only the entries of the four atoms.
class QZ_API QZDihedralQuadPenalty final : public QZMolPotential::QZMolFunc2,
                                           public QZMolPotential::QZFrameQuery,
                                           public QZOpt::QZHessianModel {
 public:
  /// Keeps the indices of the atoms, not the atoms.
  QZDihedralQuadPenalty(const QZChem::QZAtomBase& a,
                        const QZChem::QZAtomBase& b,
                        const QZChem::QZAtomBase& c,
                        const QZChem::QZAtomBase& d,
                        double alpha0,
                        double k);
  QZDihedralQuadPenalty(const QZDihedralQuadPenalty& other);
  QZDihedralQuadPenalty& operator=(const QZDihedralQuadPenalty& other);
  ~QZDihedralQuadPenalty() override;

  double Get_alpha0() const;
  void Set_alpha0(double alpha0);
  double Get_k() const;
  void Set_k(double k);

  /// Fails: false with a Warning when the molecule has fewer than 4 atom indices or lacks one of
  /// the atoms, or when an atom is named twice. The parameters stay as they were.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// **Always 12**, the number of variables of the four atoms, although coordinates, gradient and
  /// Hessian are those of the whole molecule by atom index; callers rely on it. A sum that takes
  /// the number of variables of its last member (`QZForceFieldImpl`) must have a function of the
  /// whole molecule after this one.
  unsigned int NumVar() const override;
  using QZMolPotential::QZMolFunc2::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// True.
  bool IsFrameInvariant() const override { return true; }
  /// The part of the second derivatives that is positive.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// One component, "Dihedral Square Penalty"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  QZDihedralQuadPenalty* CreateCopy() const override { return new QZDihedralQuadPenalty(*this); }

 private:
  struct Data;
  QZMolPotential::QZRecord<Data> data_;
};

}  // namespace QZConstr
