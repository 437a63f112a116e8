// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "molpotential/ffparams.h"
#include "molpotential/freezable.h"
#include "molpotential/funclist.h"
#include "molpotential/invariance.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// A molecular function with a title, which is "undefined" until it is set.
class QZ_API QZForceField : public virtual QZMolFunc1 {
 public:
  std::string GetTitle() const { return title_; }
  void SetTitle(const std::string& title) { title_ = title; }

 private:
  std::string title_ = "undefined";
};

/// The parameter sets of a force field, in the order of addition. Owns copies of the sets that were
/// added. Copies: deep.
class QZ_API QZFFParamsList {
 public:
  QZFFParamsList() = default;
  QZFFParamsList(const QZFFParamsList& other);
  QZFFParamsList(QZFFParamsList&&) noexcept = default;
  QZFFParamsList& operator=(QZFFParamsList other) noexcept;
  ~QZFFParamsList() = default;

  /// Fails: false when `params` cannot be copied.
  bool Add(const QZFFParams& params);
  const std::vector<std::unique_ptr<const QZFFParams>>& Entries() const { return sets_; }

 private:
  std::vector<std::unique_ptr<const QZFFParams>> sets_;
};

/// An ordered list of component functions, whose sum is the function, and a list of parameter sets:
///   E(x) = Σ component(x)     each component adds its gradient to the caller's array
/// E is 0 while NumVar() is 0, that is until a component has been set up. NumVar() is that of the
/// last component whose `Setup` succeeded. **A scaled component scales the gradient of the
/// components before it too: add it first.**
/// Owns: components that were added with `own`, and copies of the parameter sets. Copies: deep, see
/// `QZFuncList`; parameter sets are copied by their `CreateCopy`. Cost: that of the components;
/// adding and removing one is a search of the list.
template <class F>
class QZ_API QZForceFieldImpl : public virtual F,
                                public QZFrameQuery,
                                public QZFreezable,
                                public QZOpt::QZHessianModel {
 public:
  /// Appends a component. With `own` it is deleted when it is removed or the force field is
  /// destroyed. Fails: false for a component that is in the list already, and for the force field
  /// itself.
  bool Add(F& func, bool own);
  /// Appends a copy of `params`. Fails: false when it cannot be copied.
  bool Add(const QZFFParams& params);
  /// Removes a component, and deletes it when it is owned. Fails: false when it is not in the list.
  bool Remove(F& func);
  /// Calls `PrepMol` of every parameter set, in order; true when all succeeded.
  bool PrepMol(QZChem::QZMolBase& mol, bool first, bool second) const;
  /// The components in order.
  std::vector<F*> GetComponentPotentials() const;
  std::vector<const QZFFParams*> GetParams() const;

  /// Sets up every component, even after one has failed. True when all succeeded, and true without
  /// components.
  bool Setup(const QZChem::QZMolBase& mol) override;
  bool SetupConf(const double* coords) override;
  /// Clears every component; NumVar() is 0 afterwards.
  void Clear() override;
  unsigned int NumVar() const override { return numVar_; }
  using F::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  /// The components' named terms, one after the other.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase& mol,
                                                       const double* coords,
                                                       unsigned int selector) const override;
  /// Passes the predicate to every component; true when at least one accepted it.
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>& pred,
           unsigned int which) override;
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>& pred,
           unsigned int which) override;
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred, unsigned int which) override;
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  void ClearPredicates() override;
  void SetVerbose(bool on) override;
  /// True when every component says so.
  bool IsFrameInvariant() const override;
  /// The sum of the models of those components that have one; false when none has.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// Passes the flags to every component that is a `QZFreezable`; true when at least one accepted.
  bool Freeze(const unsigned char* fixed) override;

 protected:
  QZForceFieldImpl() = default;
  /// Copies the components and parameter sets of a force field of more capable functions.
  template <class G>
  explicit QZForceFieldImpl(const QZForceFieldImpl<G>& other)
      : numVar_(other.numVar_), params_(other.params_), comps_(other.comps_) {}

  void SetNumVar(unsigned int numVar) { numVar_ = numVar; }
  /// The components, each with its `own` flag.
  const std::vector<std::pair<F*, bool>>& GetComps() const { return comps_.Entries(); }

 private:
  template <class G>
  friend class QZForceFieldImpl;
  template <class Predicate>
  bool setAll(const Predicate& pred, unsigned int which);

  unsigned int numVar_ = 0;
  QZFFParamsList params_;
  QZFuncList<F> comps_;
};

extern template class QZ_API QZForceFieldImpl<QZMolFunc1>;
extern template class QZ_API QZForceFieldImpl<QZMolFunc2>;
using QZGenericFFImpl = QZForceFieldImpl<QZMolFunc1>;
using QZGenericFFImpl2 = QZForceFieldImpl<QZMolFunc2>;

class QZGenericFF2;

/// A sum of functions with a gradient, as `QZForceFieldImpl` describes.
class QZ_API QZGenericFF : public QZForceField, public QZGenericFFImpl {
 public:
  /// The first object in a process asks the platform's licence hook.
  QZGenericFF();
  explicit QZGenericFF(const QZGenericFF2& other);
  QZGenericFF(const QZGenericFF&) = default;
  QZGenericFF& operator=(const QZGenericFF&) = default;
  ~QZGenericFF() override;

  using QZGenericFFImpl::operator();
  bool AddMolFunc(QZMolFunc1& func, bool own) { return Add(func, own); }
  bool RemoveMolFunc(QZMolFunc1& func) { return Remove(func); }
  QZGenericFF* CreateCopy() const override { return new QZGenericFF(*this); }
};

/// A sum of functions with a Hessian, as `QZForceFieldImpl` describes; functions without one get a
/// Hessian by differences:
///   H(x) = sum of the components' Hessians, added into the caller's array.
class QZ_API QZGenericFF2 : public virtual QZMolFunc2,
                            public QZForceField,
                            public QZGenericFFImpl2 {
 public:
  /// The first object in a process asks the platform's licence hook.
  QZGenericFF2();
  QZGenericFF2(const QZGenericFF2&) = default;
  QZGenericFF2& operator=(const QZGenericFF2&) = default;
  ~QZGenericFF2() override;

  using QZGenericFFImpl2::Add;
  using QZGenericFFImpl2::Remove;
  /// **With `own` true, `func` is deleted at once and the force field is left with a dangling
  /// component**: call `Add(func, false)` and keep `func` alive. Callers rely on this behaviour.
  /// Each call adds a new `QZNumericMolFunc2` around `func`, even when `func` was added before.
  bool Add(QZMolFunc1& func, bool own);
  bool AddMolFunc(QZMolFunc2& func, bool own) { return Add(func, own); }
  bool RemoveMolFunc(QZMolFunc2& func) { return Remove(func); }

  using QZGenericFFImpl2::GetComponentPotentials;
  /// Replaces the contents of `functions` by the components, in order, as functions with a
  /// gradient.
  void GetComponentPotentials(std::vector<QZMolFunc1*>& functions) const;

  using QZGenericFFImpl2::operator();
  /// `hessian` (packed) and `grad` (may be null) are **added to**. Fails: false at the first
  /// component that fails, with the Warning "Hessian calculation in %s failed" that names the first
  /// term of that component; false while NumVar() is 0; false with a Warning when `hessian` is
  /// null.
  bool operator()(const double* x, double* hessian, double* grad) override;
  QZGenericFF2* CreateCopy() const override { return new QZGenericFF2(*this); }

 private:
  // Private, since a function without a Hessian is never a component itself.
  bool Remove(QZMolFunc1& func);
};

}  // namespace QZMolPotential
