// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/forwarding.h"
#include "molpotential/freezable.h"
#include "molpotential/invariance.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// The base class of the wrappers in this header. Binding to a molecule is forwarded to the wrapped
/// function, except for `SetupConf`, which answers true without calling the function; callers rely
/// on it. Copies: none.
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
  /// The wrapped function's answer; false when it is not a `QZFreezable`.
  bool Freeze(const unsigned char* fixed) override;
  /// The wrapped function's model; false when it has none.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  QZMolFuncWrapper(const QZMolFuncWrapper&) = delete;
  QZMolFuncWrapper& operator=(const QZMolFuncWrapper&) = delete;

 protected:
  QZMolFuncWrapper(QZMolFunc1& func, bool own) : QZForwardingFunc<QZMolFunc2>(func, own) {}
};

/// Gives any function with a gradient a Hessian:
///   H(i, j) = central difference of the gradient, step 1e-4 in the units of the variables,
/// symmetric by construction and **added into** the caller's array. Everything else is the wrapped
/// function's. The function must not read beyond its NumVar() variables.
/// Owns: the function when `own`. Copies: `CreateCopy` is null. The Hessian call always answers
/// true. Cost of a Hessian: 2n + 1 gradients and an energy; allocates 3n doubles during the call.
class QZ_API QZNumericMolFunc2 final : public QZMolFuncWrapper {
 public:
  QZNumericMolFunc2(QZMolFunc1& func, bool own) : QZMolFuncWrapper(func, own) {}

  using QZMolFuncWrapper::operator();
  double operator()(const double* x) override { return (*wrapped_)(x); }
  double operator()(const double* x, double* grad) override { return (*wrapped_)(x, grad); }
  bool operator()(const double* x, double* hessian, double* grad) override;
  QZNumericMolFunc2* CreateCopy() const override { return nullptr; }
};

/// A function times a constant factor: energy, derivatives, components and interactions.
/// **The derivative calls scale NumVar() entries of the caller's arrays, together with what the
/// arrays held before the call**: callers rely on it, and in a sum a scaled function must be added
/// first.
/// Owns: the function when `own`. Copies: `CreateCopy` is null. Fails: the Hessian call of a
/// wrapper that was built from a `QZMolFunc1` answers false and writes nothing; when the Hessian
/// call of the function fails, the wrapper answers false and scales nothing.
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
  /// The wrapped function's model, scaled; false for a negative factor, since the scaled model
  /// would not be positive.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  QZScaledMolFunc* CreateCopy() const override { return nullptr; }

 private:
  QZMolFunc2* func2_;  // the wrapped function again when it has a Hessian
  double scale_;
};

}  // namespace QZMolPotential
