// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/invariance.h"
#include "molpotential/record.h"
#include "qzopt/hints.h"

namespace QZConstr {

struct PositionRestraintData;

/// Holds the selected atoms near the positions that they had at `Setup`, of the Cartesian
/// coordinates of the whole molecule: a sum over atoms at distance d from their reference points of
///   E = 0              d² <= width²
///   E = k (d - width)ⁿ otherwise; d and width in Å, k in kcal/mol/Åⁿ
/// On the sphere itself E and gradient are 0; for n < 1 the gradient is singular just outside.
/// Copies: deep, exponent included. Cost: O(restrained atoms), one pass, nothing allocated; holds
/// 4 doubles an atom.
class QZ_API QZPositionRestraint : public QZMolPotential::QZMolFunc1,
                                   public QZMolPotential::QZFrameQuery,
                                   public QZOpt::QZHessianModel {
 public:
  ~QZPositionRestraint() override;

  /// The selection, null when there is none and every atom is restrained.
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
  /// Keeps a copy of `pred` for the next `Setup` when `which` has the bit
  /// `QZCategoryPositional`. True in either case: callers rely on it.
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  void ClearPredicates() override;
  /// 3 x the number of atoms, holes not counted; coordinates and gradients have 3 x
  /// AtomIndexBound() entries all the same.
  unsigned int NumVar() const override;
  using QZMolPotential::QZMolFunc1::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  /// False: its reference points stand still.
  bool IsFrameInvariant() const override { return false; }
  /// The part of the second derivatives that is positive.
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
  /// Width (Å) over which the curvature rises from 0 on the sphere to 2k, in place of the step; 0,
  /// the default, for the shape above. With e = d - width and w the onset
  ///   E = k e³/(3w)  e < w        E = k (e² - w e + w²/3)  e >= w
  /// False for one that is negative or not finite. (A power above 2 needs none.)
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
