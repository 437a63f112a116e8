// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/bondpred.h"
#include "molpotential/forwarding.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

class CartesianMap;
class Evaluation;

/// Moves some atoms of a molecule while the wrapped function sees all of them: the variables are
/// the x, y, z (Å) of the m moving atoms, in the molecule's atom order, so `NumVar()` is 3m.
/// The atoms to hold fixed are those that the predicate given by `Set(atomPredicate, 0x4000)`
/// accepts; they stay where the last `GetVar` found them, and evaluating before a `GetVar` leaves
/// them at the origin.
/// With `restrictInteractions`, `Setup` also hands the wrapped function the predicates (masks 8, 5,
/// 48, 192, in this order) that keep the interactions of at least one moving atom, and constant
/// terms among fixed atoms are no longer computed; the energy then differs by that constant.
///
/// `Setup` fails: false, and nothing changed, without a predicate, without a function or for an
/// invalid molecule; false too when no atom is fixed, and with the wrapped function's own `Setup`.
/// No messages.
/// The gradient is added to the caller's array, the Hessian assigned to it: callers rely on both.
/// Cost: copying of 3n doubles an evaluation, 9m²/2 for the Hessian. Holds 12n doubles for n atom
/// indices; a packed Hessian of all atoms (3n(3n+1)/2 doubles, no memory touched before the first
/// Hessian) only over a level-2 function, and where that much cannot be had, the Hessian call
/// answers false and the other levels work. Evaluation allocates nothing.
class QZ_API QZSubsetAdaptor : public QZForwardingAdaptor<QZMolAdaptor2>,
                               public QZOpt::QZHessianModel {
 public:
  QZSubsetAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions);
  QZSubsetAdaptor(QZMolFunc2& func, bool own, bool restrictInteractions);
  QZSubsetAdaptor(const QZSubsetAdaptor&) = delete;
  QZSubsetAdaptor& operator=(const QZSubsetAdaptor&) = delete;
  ~QZSubsetAdaptor() override;

  /// The new function has no Hessian, even where it is a `QZMolFunc2`.
  bool SetMolFunc(QZMolFunc1& func, bool own) override;
  bool SetMolFunc2(QZMolFunc2& func, bool own) override;

  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Forgets the atoms, not the predicate, and clears the wrapped function.
  void Clear() override;
  using QZForwardingAdaptor<QZMolAdaptor2>::Set;
  /// With bit 0x4000 the predicate selects the fixed atoms and the wrapped function is not told;
  /// without it the wrapped function gets it.
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  void ClearPredicates() override;

  unsigned int NumVar() const override;
  using QZMolAdaptor2::GetVar;
  /// `cartesian`: 3n doubles; remembered as the positions of the fixed atoms. The result is valid
  /// until the next `GetVar` or `Setup`.
  const double* GetVar(const double* cartesian) override;
  /// `cartesian` (3n doubles): fixed atoms where they are held, moving atoms from `vars`. False
  /// before `Setup`.
  bool AdaptVar(double* cartesian, const double* vars) const override;
  /// `grad` (3m doubles) is **added to**. False before `Setup`.
  bool AdaptGrad(double* grad, const double* cartGrad) const;
  /// `hess` (packed, 3m rows) is **assigned** the moving atoms' part of `cartHess` (packed, 3n
  /// rows). False before `Setup` and without a level-2 function.
  bool AdaptHessian(double* hess, const double* cartHess) const;

  using QZForwardingAdaptor<QZMolAdaptor2>::operator();
  double operator()(const double* vars) override;
  double operator()(const double* vars, double* grad) override;
  /// The gradient is that of a level-1 call made first; `grad` may be null. Fails: false without a
  /// level-2 function, before `Setup`, or when the wrapped Hessian fails.
  bool operator()(const double* vars, double* hess, double* grad) override;
  /// The moving atoms' part of the function's model, where it has one.
  bool AppendModelHessian(const double* vars, std::vector<QZOpt::QZMatrixEntry>& entries) override;

 protected:
  QZSubsetAdaptor();

 private:
  void allocate();

  bool restrictInteractions_ = false;
  QZMolFunc2* func2_ = nullptr;
  std::unique_ptr<QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>> fixedPred_;
  std::unique_ptr<CartesianMap> map_;  // null before Setup
  std::unique_ptr<Evaluation> work_;
  std::vector<double> reducedVars_;
};

}  // namespace QZMolPotential
