// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/invariance.h"
#include "molpotential/record.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// Keeps the distance r of two atoms inside a band, of the Cartesian coordinates of the whole
/// molecule.
///   E = 0                lower <= r <= upper
///   E = k (r - lower)²   r < lower
///   E = k (r - upper)²   r > upper     r and limits in Å, k in kcal/mol/Å²
/// At the limits E, gradient and Hessian are 0. The limits are not compared: with lower > upper
/// every distance is outside, and below `lower` the lower wall acts. Coincident atoms outside the
/// band divide by zero. Copies: deep. Cost: O(1), nothing allocated; of a Hessian only the entries
/// of the two atoms are touched.
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
  /// Width (Å) over which a wall's curvature rises from 0 at its limit to 2k, in place of the step;
  /// 0, the default, for the shape above. With e the excess over the limit and w the onset
  ///   E = k e³/(3w)  e < w        E = k (e² - w e + w²/3)  e >= w
  /// False for one that is negative or not finite.
  double GetOnset() const;
  bool SetOnset(double onset);

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
  /// One component, "Distance Limit Penalty"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  QZDistLimitPenalty* CreateCopy() const override { return new QZDistLimitPenalty(*this); }

 private:
  struct Data;
  QZMolPotential::QZRecord<Data> data_;
};

}  // namespace QZConstr
