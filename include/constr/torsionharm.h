// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "molpotential/invariance.h"
#include "molpotential/record.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// A restraint of one or more dihedrals to a common target; a function of the Cartesian coordinates
/// of the whole molecule. It is a sum over torsions of
///   E = k/2 (cos φ - cos φ0)²     φ0 in radians, k in kcal/mol
/// Since E depends on the cosine, +φ0 and -φ0 are the same target. `QZDihedralQuadPenalty` does not
/// have the factor 1/2. Callers rely on both. Degenerate (three atoms in line): the torsion adds
/// nothing. Copies: deep. Cost: O(torsions), one pass, nothing allocated.
class QZ_API QZTorsionHarmConstr final : public QZMolPotential::QZMolFunc1,
                                         public QZMolPotential::QZFrameQuery,
                                         public QZOpt::QZHessianModel {
 public:
  QZTorsionHarmConstr(double k, double phi0);
  /// `pattern`: a SMARTS in which four atoms carry map numbers 1 to 4.
  QZTorsionHarmConstr(std::string pattern, double k, double phi0);
  QZTorsionHarmConstr(const QZTorsionHarmConstr& other);
  QZTorsionHarmConstr& operator=(const QZTorsionHarmConstr& other);
  ~QZTorsionHarmConstr() override;

  const std::string& GetTorsionPattern() const;
  /// Sets the pattern, empty for none; takes effect at the next `Setup`. It is parsed once. Map
  /// numbers inside a recursive `$(...)` are ignored.
  void SetTorsionPattern(std::string pattern);
  /// Restrains the torsion of four atom indices, at once, and drops the torsions that a pattern has
  /// found. The indices are not checked against a molecule.
  void SetSingleTorsion(unsigned int a, unsigned int b, unsigned int c, unsigned int d);
  double Get_k() const;
  void Set_k(double k);
  double Get_phi0() const;
  void Set_phi0(double phi0);

  using QZMolPotential::QZMolFunc1::Set;
  /// With the bit `QZCategoryTorsionRestraint` in `which` it keeps a copy of the predicate; the
  /// overload for atoms also writes a line to standard output. Answers true with or without the
  /// bit. `Setup` does not use the predicates. Callers rely on all of this.
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred, unsigned int which) override;
  void ClearPredicates() override;

  /// Finds one torsion for each unique match of the pattern. They follow the torsion of
  /// `SetSingleTorsion` and replace those of an earlier `Setup`. The four atoms of a torsion are in
  /// the order of the pattern's atoms; the map numbers only mark them. Fails: false with a Warning
  /// for a pattern that does not parse, a map number above 4, or a match without exactly four
  /// mapped atoms (torsions of earlier matches stay); false with a Warning, and NumVar() 0, when
  /// there is no torsion at all.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Drops the pattern's torsions and ends the binding.
  void Clear() override;
  /// 3 x AtomIndexBound(); 0 before `Setup`.
  unsigned int NumVar() const override;
  using QZMolPotential::QZMolFunc1::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  /// True.
  bool IsFrameInvariant() const override { return true; }
  /// The positive part of the Hessian.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// One component, "Torsion Constraint"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  QZTorsionHarmConstr* CreateCopy() const override { return new QZTorsionHarmConstr(*this); }

 private:
  struct Data;
  bool findTorsions(const QZChem::QZMolBase& mol);

  QZMolPotential::QZRecord<Data> data_;
};

}  // namespace QZConstr
