// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/adaptor.h"

namespace QZMolPotential {

/// Holds the wrapped function of an adaptor or wrapper together with its `own` flag. Copies share
/// the function and the flag. An owned function is deleted when the last holder that shares it is
/// destroyed or is given another function.
class QZ_API QZWrappedFunc {
 public:
  QZWrappedFunc() = default;
  QZWrappedFunc(QZMolFunc1& func, bool own) : shared_(std::make_shared<Shared>(func, own)) {}

  /// Replaces the function. When `func` is the function that is held already, only the flag
  /// changes, for all holders that share it.
  void Reset(QZMolFunc1& func, bool own) {
    if (&func == Get()) {
      shared_->own = own;
    } else {
      shared_ = std::make_shared<Shared>(func, own);
    }
  }
  QZMolFunc1* Get() const { return shared_ ? shared_->func : nullptr; }
  QZMolFunc1& operator*() const { return *shared_->func; }
  QZMolFunc1* operator->() const { return shared_->func; }
  bool Owns() const { return shared_ && shared_->own; }
  explicit operator bool() const { return shared_ != nullptr; }

 private:
  struct Shared {
    Shared(QZMolFunc1& f, bool o) : func(&f), own(o) {}
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    ~Shared() {
      if (own) delete func;
    }
    QZMolFunc1* func;
    bool own;
  };
  std::shared_ptr<Shared> shared_;
};

/// The base class of adaptors and wrappers: holds the wrapped function and forwards to it
/// everything that does not depend on the variables. `Base` is the interface to implement:
/// `QZMolAdaptor`, `QZMolAdaptor2` or `QZMolFunc2`. While there is no wrapped function, the `Set`
/// overloads and `SetupConf` answer false, and components and interactions are empty.
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
  /// `x` is passed on unchanged: full Cartesian coordinates, or null.
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

/// `QZForwardingFunc` for the two adaptor interfaces, `QZMolAdaptor` and `QZMolAdaptor2`: also
/// answers `GetMolFunc` and `SetMolFunc`.
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
