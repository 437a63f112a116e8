// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/molfunc.h"

namespace QZMolPotential {

/// Holds the wrapped function of an adaptor or wrapper, and the one `own` flag: the destructor and
/// `Reset` delete the function when it is owned. Not copyable.
class QZ_API QZWrappedFunc {
 public:
  QZWrappedFunc() = default;
  QZWrappedFunc(QZMolFunc1& func, bool own) : func_(&func), own_(own) {}
  QZWrappedFunc(const QZWrappedFunc&) = delete;
  QZWrappedFunc& operator=(const QZWrappedFunc&) = delete;
  ~QZWrappedFunc() { release(); }

  /// Replaces the function. Given the function it already holds, only the flag changes.
  void Reset(QZMolFunc1& func, bool own) {
    if (&func != func_) release();
    func_ = &func;
    own_ = own;
  }
  QZMolFunc1* Get() const { return func_; }
  QZMolFunc1& operator*() const { return *func_; }
  QZMolFunc1* operator->() const { return func_; }
  bool Owns() const { return own_; }
  explicit operator bool() const { return func_ != nullptr; }

 private:
  void release() {
    if (own_) delete func_;
  }

  QZMolFunc1* func_ = nullptr;
  bool own_ = false;
};

/// The one place where adaptors and wrappers hold and forward to a wrapped function. `Base` is the
/// interface to implement: `QZMolAdaptor`, `QZMolAdaptor2` or `QZMolFunc2`. Without a function the
/// `Set` overloads and `SetupConf` answer false and the enumerations are empty.
template <class Base>
class QZForwardingFunc : public virtual Base {
 public:
  using Base::operator();
  bool SetupConf(const double* coords) override { return wrapped_ && wrapped_->SetupConf(coords); }
  void Clear() override {
    if (wrapped_) wrapped_->Clear();
  }
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>& pred,
           unsigned int which) override {
    return wrapped_ && wrapped_->Set(pred, which);
  }
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>& pred,
           unsigned int which) override {
    return wrapped_ && wrapped_->Set(pred, which);
  }
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred,
           unsigned int which) override {
    return wrapped_ && wrapped_->Set(pred, which);
  }
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred,
           unsigned int which) override {
    return wrapped_ && wrapped_->Set(pred, which);
  }
  void ClearPredicates() override {
    if (wrapped_) wrapped_->ClearPredicates();
  }
  void SetVerbose(bool on) override {
    if (wrapped_) wrapped_->SetVerbose(on);
  }
  /// `x` is handed on as it stands: full Cartesian coordinates, or null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return wrapped_ ? wrapped_->GetFComponents(x)
                    : QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }
  QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase& mol,
                                                       const double* coords,
                                                       unsigned int selector) const override {
    return wrapped_ ? wrapped_->GetInteractions(mol, coords, selector)
                    : QZSystem::QZMakeEmptyIter<QZInteraction>();
  }

 protected:
  QZForwardingFunc() = default;
  QZForwardingFunc(QZMolFunc1& func, bool own) : wrapped_(func, own) {}

  QZWrappedFunc wrapped_;
};

}  // namespace QZMolPotential
