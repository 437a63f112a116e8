// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/invariance.h"
#include "molpotential/record.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// Draws the distance r of two atoms towards a target, of the Cartesian coordinates of the whole
/// molecule.
///   E = k (r - dist0)²     r and dist0 in Å, k in kcal/mol/Å²
/// Coincident atoms divide by zero: there is no guard. Copies: deep. Cost: O(1), nothing allocated;
/// of a Hessian only the entries of the two atoms are touched.
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

  /// Takes the atom-index bound, then fails with a Warning when the molecule lacks an atom; the
  /// bound stays taken and the parameters keep. An atom named twice is never found.
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

/// Draws the dihedral φ of the atoms a-b-c-d towards a target, of the Cartesian coordinates of the
/// whole molecule.
///   E = k (cos φ - cos α0)²     α0 in radians, k in kcal/mol
/// The law is on the cosine: +α0 and -α0 are one target, callers rely on it. Regular at φ = 0 and
/// π. Degenerate (three atoms in line): E = 0, nothing added. Copies: deep. Cost: O(1), nothing
/// allocated; of a Hessian only the entries of the four atoms are touched.
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

  /// Fails with a Warning when the molecule has fewer than 4 atom indices or lacks an atom; the
  /// parameters keep. An atom named twice is never found.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// **12, whatever the molecule**: the variables of its own atoms, although coordinates, gradient
  /// and Hessian are those of the whole molecule by atom index; callers rely on it. In a sum that
  /// sizes its arrays by the last member, add this before a full-size one.
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
