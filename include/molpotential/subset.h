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

/// Presents a function of all atoms of a molecule as a function of some of them: the variables are
/// x, y, z (Å) of the m moving atoms, in the order of the molecule's atoms, so that NumVar() is 3m.
/// The atoms that the predicate of `Set(atomPredicate, 0x4000)` accepts are fixed. They stay at the
/// coordinates of the last `GetVar`; before any `GetVar` they are at the origin.
/// With `restrictInteractions`, `Setup` also gives the wrapped function predicates (masks 8, 5, 48,
/// 192, in this order) that keep only interactions of at least one moving atom. Terms among fixed
/// atoms are then not computed, and the energy lacks their constant sum.
///
/// `Setup` fails: false, with nothing changed, without a predicate, without a function or for an
/// invalid molecule; false when no atom is fixed; false when `Setup` of the wrapped function fails.
/// None of these gives a message. The gradient is added to the caller's array, the Hessian assigned
/// to it: callers rely on both. Copies: none. Cost: an evaluation copies 3n doubles for n atom
/// indices, a Hessian 9m²/2. Holds 12n doubles, and over a function with a Hessian also a packed
/// Hessian of all atoms (3n(3n+1)/2 doubles, memory not touched before the first Hessian call);
/// when that memory is not available, only the Hessian call fails. Evaluation allocates nothing.
class QZ_API QZSubsetAdaptor : public QZForwardingAdaptor<QZMolAdaptor2>,
                               public QZOpt::QZHessianModel {
 public:
  QZSubsetAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions);
  QZSubsetAdaptor(QZMolFunc2& func, bool own, bool restrictInteractions);
  QZSubsetAdaptor(const QZSubsetAdaptor&) = delete;
  QZSubsetAdaptor& operator=(const QZSubsetAdaptor&) = delete;
  ~QZSubsetAdaptor() override;

  /// Replaces the function by one that is used without its Hessian, even if it is a `QZMolFunc2`.
  bool SetMolFunc(QZMolFunc1& func, bool own) override;
  bool SetMolFunc2(QZMolFunc2& func, bool own) override;

  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Forgets the atoms but keeps the predicate, and clears the wrapped function.
  void Clear() override;
  using QZForwardingAdaptor<QZMolAdaptor2>::Set;
  /// With bit 0x4000 in `which` the predicate selects the fixed atoms and is not passed on; without
  /// it the predicate is passed to the wrapped function.
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  void ClearPredicates() override;

  unsigned int NumVar() const override;
  using QZMolAdaptor2::GetVar;
  /// The variables (owned by this object, valid until the next `GetVar` or `Setup`) of `cartesian`
  /// (3n doubles, in), whose fixed atoms are kept.
  const double* GetVar(const double* cartesian) override;
  /// `cartesian` (3n doubles, out) receives the fixed atoms where they are held, and the moving
  /// atoms from `vars`. False before `Setup`.
  bool AdaptVar(double* cartesian, const double* vars) const override;
  /// `grad` (3m doubles) is **added to**. False before `Setup`.
  bool AdaptGrad(double* grad, const double* cartGrad) const;
  /// `hess` (packed, 3m rows) is **assigned** the moving atoms' part of `cartHess` (packed, 3n
  /// rows). False before `Setup` and without a level-2 function.
  bool AdaptHessian(double* hess, const double* cartHess) const;

  using QZForwardingAdaptor<QZMolAdaptor2>::operator();
  double operator()(const double* vars) override;
  double operator()(const double* vars, double* grad) override;
  /// The gradient is that of a gradient call, which is made first; `grad` may be null. Fails: false
  /// when the function has no Hessian, before `Setup`, or when the Hessian call of the function
  /// fails.
  bool operator()(const double* vars, double* hess, double* grad) override;
  /// The part of the function's model that belongs to moving atoms; false when the function has no
  /// model.
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
