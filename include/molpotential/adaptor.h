// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/molfunc.h"
#include "qzopt/adaptor.h"

namespace QZMolPotential {

/// A function that wraps another function f and presents it in other variables v: E(v) = f(x(v)).
/// Owns: f, when `own` was set.
class QZ_API QZMolAdaptor : public virtual QZMolFunc1, public virtual QZOpt::QZAdaptor {
 public:
  using QZOpt::QZAdaptor::GetVar;
  /// Copies the NumVar() values that `GetVar(funcVars)` yields into `out`.
  void GetVar(double* out, const double* funcVars) override;
  /// The wrapped function. To be called only when there is one.
  virtual QZMolFunc1& GetMolFunc() const = 0;
  /// Replaces the wrapped function, and deletes the former one when it was owned. With `own` the
  /// adaptor deletes `func` when `func` is replaced or the adaptor is destroyed. `Setup` is not
  /// repeated.
  virtual bool SetMolFunc(QZMolFunc1& func, bool own) = 0;

  QZMolAdaptor(const QZMolAdaptor&) = default;
  QZMolAdaptor& operator=(const QZMolAdaptor&) = default;

 protected:
  QZMolAdaptor() = default;
  /// Returns null: an adaptor cannot be copied unless its class says otherwise.
  QZMolFunc1* CreateCopy() const override;
};

/// An adaptor whose wrapped function, and therefore the adaptor itself, may have a Hessian.
class QZ_API QZMolAdaptor2 : public virtual QZMolAdaptor, public virtual QZMolFunc2 {
 public:
  using QZMolFunc2::operator();
  /// As `SetMolFunc`, for a function with a Hessian. Without it the Hessian call answers false.
  virtual bool SetMolFunc2(QZMolFunc2& func, bool own) = 0;

  QZMolAdaptor2(const QZMolAdaptor2&) = default;
  QZMolAdaptor2& operator=(const QZMolAdaptor2&) = default;

 protected:
  QZMolAdaptor2() = default;
  /// Returns null, as for `QZMolAdaptor`.
  QZMolFunc2* CreateCopy() const override;
};

/// Converts between the Cartesian coordinates of a molecule and the variables of an optimiser,
/// without wrapping a function. Protocol: `Setup(mol)`; `FuncVarToOptVar` for the variables of the
/// start; then for each step `OptVarToFuncVar`, an evaluation in Cartesian coordinates by the
/// caller, and `FuncGradToOptGrad`.
class QZ_API QZMolAdaptor1 : public virtual QZOpt::QZAdaptor1, public virtual QZMolSetup {
 public:
  QZMolAdaptor1() = default;
  QZMolAdaptor1(const QZMolAdaptor1&) = default;
  QZMolAdaptor1(QZMolAdaptor1&&) = default;
  QZMolAdaptor1& operator=(const QZMolAdaptor1&) = default;
  QZMolAdaptor1& operator=(QZMolAdaptor1&&) = default;
};

/// A `QZMolAdaptor1` with an operation that holds atoms fixed.
class QZ_API QZFixMolAdaptor1 : public virtual QZMolAdaptor1 {
 public:
  QZFixMolAdaptor1() = default;
  QZFixMolAdaptor1(const QZFixMolAdaptor1&) = default;
  QZFixMolAdaptor1(QZFixMolAdaptor1&&) = default;
  QZFixMolAdaptor1& operator=(const QZFixMolAdaptor1&) = default;
  QZFixMolAdaptor1& operator=(QZFixMolAdaptor1&&) = default;

  using QZOpt::QZAdaptor1::GetAdaptedVariables;
  /// Reports the current variables; each class says what it writes to `optVars` (out, may be null)
  /// and what it prints.
  virtual void GetAdaptedVariables(const QZChem::QZMolBase& mol, double* optVars) const = 0;
  /// `atoms`: one entry for each atom index (in), owned by the caller; a negative entry marks a
  /// fixed atom.
  virtual void FixAtoms(int*& atoms) = 0;
};

}  // namespace QZMolPotential
