// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/adaptor.h"

namespace QZMolPotential {

/// Holds the wrapped function of an adaptor or wrapper, and the one `own` flag: an owned function
/// is deleted when the last holder that shares it dies or is given another. A copy shares the
/// function and its ownership.
class QZ_API QZWrappedFunc {
 public:
  QZWrappedFunc() = default;
  QZWrappedFunc(QZMolFunc1& func, bool own) : held_(std::make_shared<Ownership>(func, own)) {}

  /// Replaces the function. Given the function it already holds, only the flag changes, for every
  /// holder that shares it.
  void Reset(QZMolFunc1& func, bool own) {
    if (&func == Get()) {
      held_->own = own;
    } else {
      held_ = std::make_shared<Ownership>(func, own);
    }
  }
  QZMolFunc1* Get() const { return held_ ? held_->func : nullptr; }
  QZMolFunc1& operator*() const { return *held_->func; }
  QZMolFunc1* operator->() const { return held_->func; }
  bool Owns() const { return held_ && held_->own; }
  explicit operator bool() const { return held_ != nullptr; }

 private:
  struct Ownership {
    Ownership(QZMolFunc1& f, bool o) : func(&f), own(o) {}
    Ownership(const Ownership&) = delete;
    Ownership& operator=(const Ownership&) = delete;
    ~Ownership() {
      if (own) delete func;
    }
    QZMolFunc1* func;
    bool own;
  };
  std::shared_ptr<Ownership> held_;
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

/// The same for the two adaptor interfaces, `QZMolAdaptor` and `QZMolAdaptor2`, with what they ask
/// about the function itself.
template <class Base>
class QZForwardingAdaptor : public QZForwardingFunc<Base> {
 public:
  QZMolFunc1& GetMolFunc() const override { return *this->wrapped_; }
  bool SetMolFunc(QZMolFunc1& func, bool own) override {
    this->wrapped_.Reset(func, own);
    return true;
  }

 protected:
  using QZForwardingFunc<Base>::QZForwardingFunc;
};

}  // namespace QZMolPotential
