// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/molfunc.h"
#include "qzopt/adaptor.h"

namespace QZMolPotential {

/// A function that wraps another and presents it in other variables.
class QZ_API QZMolAdaptor : public virtual QZMolFunc1, public virtual QZOpt::QZAdaptor {
 public:
  using QZOpt::QZAdaptor::GetVar;
  /// Copies the NumVar() values that `GetVar(funcVars)` yields into `out`.
  void GetVar(double* out, const double* funcVars) override;
  /// The wrapped function; there must be one.
  virtual QZMolFunc1& GetMolFunc() const = 0;
  /// Replaces the wrapped function, deleting the former one when it was owned. With `own` the
  /// adaptor deletes `func` when it is replaced or the adaptor dies. `Setup` is not repeated.
  virtual bool SetMolFunc(QZMolFunc1& func, bool own) = 0;

  QZMolAdaptor(const QZMolAdaptor&) = default;
  QZMolAdaptor& operator=(const QZMolAdaptor&) = default;

 protected:
  QZMolAdaptor() = default;
  /// Null: an adaptor cannot be copied unless its class says so.
  QZMolFunc1* CreateCopy() const override;
};

/// The same with a Hessian.
class QZ_API QZMolAdaptor2 : public virtual QZMolAdaptor, public virtual QZMolFunc2 {
 public:
  using QZMolFunc2::operator();
  /// As `SetMolFunc`, for a function with a Hessian.
  virtual bool SetMolFunc2(QZMolFunc2& func, bool own) = 0;

  QZMolAdaptor2(const QZMolAdaptor2&) = default;
  QZMolAdaptor2& operator=(const QZMolAdaptor2&) = default;

 protected:
  QZMolAdaptor2() = default;
  /// Null, as for `QZMolAdaptor`.
  QZMolFunc2* CreateCopy() const override;
};

/// Converts between Cartesian coordinates and an optimiser's variables without wrapping a function:
/// `Setup(mol)`, then `FuncVarToOptVar` to start, and per step `OptVarToFuncVar`, an evaluation in
/// Cartesian coordinates, and `FuncGradToOptGrad`.
class QZ_API QZMolAdaptor1 : public virtual QZOpt::QZAdaptor1, public virtual QZMolSetup {
 public:
  QZMolAdaptor1() = default;
  QZMolAdaptor1(const QZMolAdaptor1&) = default;
  QZMolAdaptor1(QZMolAdaptor1&&) = default;
  QZMolAdaptor1& operator=(const QZMolAdaptor1&) = default;
  QZMolAdaptor1& operator=(QZMolAdaptor1&&) = default;
};

/// The same with atoms that can be held fixed.
class QZ_API QZFixMolAdaptor1 : public virtual QZMolAdaptor1 {
 public:
  QZFixMolAdaptor1() = default;
  QZFixMolAdaptor1(const QZFixMolAdaptor1&) = default;
  QZFixMolAdaptor1(QZFixMolAdaptor1&&) = default;
  QZFixMolAdaptor1& operator=(const QZFixMolAdaptor1&) = default;
  QZFixMolAdaptor1& operator=(QZFixMolAdaptor1&&) = default;

  using QZOpt::QZAdaptor1::GetAdaptedVariables;
  /// Reports the variables of the molecule; what is written where is the class's own.
  virtual void GetAdaptedVariables(const QZChem::QZMolBase& mol, double* optVars) const = 0;
  /// `atoms`: one entry per atom index, owned by the caller, negative marks a fixed atom.
  virtual void FixAtoms(int*& atoms) = 0;
};

}  // namespace QZMolPotential
