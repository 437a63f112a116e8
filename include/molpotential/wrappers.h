// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/forwarding.h"
#include "molpotential/freezable.h"
#include "molpotential/invariance.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// What the wrappers of this header share: binding is forwarded to the wrapped function, except
/// that `SetupConf` answers true without reaching it, which callers rely on.
class QZ_API QZMolFuncWrapper : public QZForwardingFunc<QZMolFunc2>,
                                public QZFrameQuery,
                                public QZFreezable,
                                public QZOpt::QZHessianModel {
 public:
  using QZMolFunc2::operator();
  bool SetupConf(const double* coords) override { return QZMolFunc::SetupConf(coords); }
  bool Setup(const QZChem::QZMolBase& mol) override { return wrapped_->Setup(mol); }
  unsigned int NumVar() const override { return wrapped_->NumVar(); }
  /// The wrapped function's answer.
  bool IsFrameInvariant() const override { return QZIsFrameInvariant(*wrapped_); }
  /// The wrapped function's answer; false where it is none of those that can leave terms out.
  bool Freeze(const unsigned char* fixed) override;
  /// The wrapped function's model.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  QZMolFuncWrapper(const QZMolFuncWrapper&) = delete;
  QZMolFuncWrapper& operator=(const QZMolFuncWrapper&) = delete;

 protected:
  QZMolFuncWrapper(QZMolFunc1& func, bool own) : QZForwardingFunc<QZMolFunc2>(func, own) {}
};

/// Gives any function with a gradient a Hessian:
///   H(i, j) = central difference of the gradient, step 1e-4 in the units of the variables,
/// symmetric by construction and **added into** the caller's array. Everything else is the wrapped
/// function's, which must read no more than its NumVar() variables.
/// Owns: the function when `own`. Copies: `CreateCopy` is null. The Hessian call always answers
/// true. Cost of a Hessian: 2n + 1 gradients and an energy, holds 3n doubles meanwhile.
class QZ_API QZNumericMolFunc2 final : public QZMolFuncWrapper {
 public:
  QZNumericMolFunc2(QZMolFunc1& func, bool own) : QZMolFuncWrapper(func, own) {}

  using QZMolFuncWrapper::operator();
  double operator()(const double* x) override { return (*wrapped_)(x); }
  double operator()(const double* x, double* grad) override { return (*wrapped_)(x, grad); }
  bool operator()(const double* x, double* hessian, double* grad) override;
  QZNumericMolFunc2* CreateCopy() const override { return nullptr; }
};

/// A function times a constant: energy, derivatives, terms and interactions.
/// **The derivative calls scale the caller's whole arrays, what they held before included**:
/// callers rely on it, so in a sum a scaled function stands first. NumVar() entries are scaled,
/// however long the arrays are.
/// Owns: the function when `own`. Copies: `CreateCopy` is null. Fails: the Hessian call of a
/// wrapper built from a `QZMolFunc1` answers false and touches nothing; so does one whose function
/// fails, apart from what the function itself wrote.
class QZ_API QZScaledMolFunc final : public QZMolFuncWrapper {
 public:
  QZScaledMolFunc(QZMolFunc1& func, double scale, bool own)
      : QZMolFuncWrapper(func, own), func2_(nullptr), scale_(scale) {}
  QZScaledMolFunc(QZMolFunc2& func, double scale, bool own)
      : QZMolFuncWrapper(func, own), func2_(&func), scale_(scale) {}

  using QZMolFuncWrapper::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  /// The wrapped function's interactions, energy and values scaled.
  QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase& mol,
                                                       const double* coords,
                                                       unsigned int selector) const override;
  /// The wrapped function's model, scaled; false for a negative factor, which leaves nothing
  /// positive.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  QZScaledMolFunc* CreateCopy() const override { return nullptr; }

 private:
  QZMolFunc2* func2_;  // the wrapped function again when it has a Hessian
  double scale_;
};

}  // namespace QZMolPotential
