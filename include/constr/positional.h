// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/invariance.h"
#include "molpotential/record.h"
#include "qzopt/hints.h"

namespace QZConstr {

struct PositionRestraintData;

/// A restraint that holds the selected atoms near the positions that they had at `Setup`; a
/// function of the Cartesian coordinates of the whole molecule. It is a sum over the selected
/// atoms, each at distance d from its reference point, of
///   E = 0              d² <= width²
///   E = k (d - width)ⁿ otherwise; d and width in Å, k in kcal/mol/Åⁿ
/// At d = width E and gradient are 0; for n < 1 the gradient grows without bound just outside.
/// Copies: deep, exponent included. Cost: O(restrained atoms), one pass, nothing allocated; holds 4
/// doubles an atom.
class QZ_API QZPositionRestraint : public QZMolPotential::QZMolFunc1,
                                   public QZMolPotential::QZFrameQuery,
                                   public QZOpt::QZHessianModel {
 public:
  ~QZPositionRestraint() override;

  /// The selection, owned by this object; null when every atom is restrained.
  const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>* GetPred() const;

  /// Takes the atoms that the selection accepts and their coordinates as reference points. A
  /// selection that accepts none gives a function that is 0. Always true.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Moves the reference points of the atoms chosen at `Setup` to `coords` (3 x AtomIndexBound()
  /// doubles, in). Always true.
  bool SetupConf(const double* coords) override;
  /// Drops the restrained atoms; parameters and selection stay.
  void Clear() override;
  using QZMolPotential::QZMolFunc1::Set;
  /// Keeps a copy of `pred` for the next `Setup` when `which` has the bit `QZCategoryPositional`.
  /// Answers true whether it has or not: callers rely on it.
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  void ClearPredicates() override;
  /// 3 x the number of atoms, holes not counted; coordinates and gradients have 3 x
  /// AtomIndexBound() entries all the same.
  unsigned int NumVar() const override;
  using QZMolPotential::QZMolFunc1::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  /// False: the reference points do not move with the molecule.
  bool IsFrameInvariant() const override { return false; }
  /// The positive part of the Hessian.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// One component, "Constraint Potential"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;

 protected:
  QZPositionRestraint(double width, double strength, double exponent);
  QZPositionRestraint(const QZPositionRestraint& other);
  QZPositionRestraint& operator=(const QZPositionRestraint& other);

  double getWidth() const;
  void setWidth(double width);
  double getStrength() const;
  void setStrength(double strength);
  double getExponent() const;
  void setExponent(double exponent);
  double getOnset() const;
  bool setOnset(double onset);

 private:
  QZMolPotential::QZRecord<PositionRestraintData> data_;
};

/// The flat-bottomed harmonic restraint: exponent 2. Setters act on the next evaluation.
class QZ_API QZHarmonicPotential final : public QZPositionRestraint {
 public:
  /// `kc`: strength k (kcal/mol/Å²); `dc`: width (Å). Strength first, unlike QZPowerPotential.
  QZHarmonicPotential(double kc, double dc) : QZPositionRestraint(dc, kc, 2.0) {}

  double Get_kc() const { return getStrength(); }
  void Set_kc(double kc) { setStrength(kc); }
  double Get_dc() const { return getWidth(); }
  void Set_dc(double dc) { setWidth(dc); }
  /// The onset w (Å), 0 by default: the distance beyond `width` over which the curvature rises from
  /// 0 to 2k, instead of jumping. With e = d - width
  ///   E = k e³/(3w)  e < w        E = k (e² - w e + w²/3)  e >= w
  /// `SetOnset` fails: false for a value that is negative or not finite. (With an exponent above 2
  /// the curvature is continuous without an onset.)
  double GetOnset() const { return getOnset(); }
  bool SetOnset(double onset) { return setOnset(onset); }
  QZHarmonicPotential* CreateCopy() const override { return new QZHarmonicPotential(*this); }
};

/// The restraint with any exponent. Setters act on the next evaluation.
class QZ_API QZPowerPotential final : public QZPositionRestraint {
 public:
  /// `width` in Å, `strength` in kcal/mol/Åⁿ. Width first, unlike QZHarmonicPotential.
  explicit QZPowerPotential(double width = 2.5, double strength = 50.0, double exponent = 2.0)
      : QZPositionRestraint(width, strength, exponent) {}

  double GetStrength() const { return getStrength(); }
  void SetStrength(double strength) { setStrength(strength); }
  double GetWidth() const { return getWidth(); }
  void SetWidth(double width) { setWidth(width); }
  double GetExponent() const { return getExponent(); }
  void SetExponent(double exponent) { setExponent(exponent); }
  QZPowerPotential* CreateCopy() const override { return new QZPowerPotential(*this); }
};

}  // namespace QZConstr
