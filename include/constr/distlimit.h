// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/invariance.h"
#include "molpotential/record.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// A penalty that keeps the distance r of two atoms inside a band; a function of the Cartesian
/// coordinates of the whole molecule.
///   E = 0                lower <= r <= upper
///   E = k (r - lower)²   r < lower
///   E = k (r - upper)²   r > upper     r and limits in Å, k in kcal/mol/Å²
/// At the limits E, gradient and Hessian are 0. The limits are not compared: when lower > upper,
/// the first formula that applies is that for r < lower, then that for r > upper. Coincident atoms
/// outside the band divide by zero. Copies: deep. Cost: O(1), nothing allocated; a Hessian call
/// touches only the entries of the two atoms.
class QZ_API QZDistLimitPenalty final : public QZMolPotential::QZMolFunc2,
                                        public QZMolPotential::QZFrameQuery,
                                        public QZOpt::QZHessianModel {
 public:
  /// Keeps the indices of the atoms, not the atoms.
  QZDistLimitPenalty(const QZChem::QZAtomBase& a,
                     const QZChem::QZAtomBase& b,
                     double lower,
                     double upper,
                     double k);
  QZDistLimitPenalty(const QZDistLimitPenalty& other);
  QZDistLimitPenalty& operator=(const QZDistLimitPenalty& other);
  ~QZDistLimitPenalty() override;

  double GetLowerLimit() const;
  void SetLowerLimit(double lower);
  double GetUpperLimit() const;
  void SetUpperLimit(double upper);
  double Get_k() const;
  void Set_k(double k);
  /// The onset w (Å), 0 by default: the distance beyond a limit over which the curvature rises from
  /// 0 to 2k, instead of jumping as in the formulas above. With e the excess over the limit
  ///   E = k e³/(3w)  e < w        E = k (e² - w e + w²/3)  e >= w
  /// `SetOnset` fails: false for a value that is negative or not finite.
  double GetOnset() const;
  bool SetOnset(double onset);

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
  /// The positive part of the Hessian.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// One component, "Distance Limit Penalty"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  QZDistLimitPenalty* CreateCopy() const override { return new QZDistLimitPenalty(*this); }

 private:
  struct Data;
  QZMolPotential::QZRecord<Data> data_;
};

}  // namespace QZConstr
