// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZOpt {

/// Presents a wrapped function f of variables x in other variables v.
///   E(v) = f(x(v))     gradient Jᵀ g, J = ∂x/∂v
/// Units are those of x and v; frame: what an adaptor of coordinates leaves out of v (overall
/// motion, fixed atoms) is where its class says, usually where the last `GetVar` found it.
class QZ_API QZAdaptor {
 public:
  /// Copies the adaptor's variables (NumVar() doubles, out) for `funcVars` (all of the wrapped
  /// function's, in) into `out`.
  virtual void GetVar(double* out, const double* funcVars) = 0;
  /// The same in a buffer inside the adaptor, valid until the next call.
  virtual const double* GetVar(const double* funcVars) = 0;
  /// The inverse: fills all of the wrapped function's variables (out) from `vars` (NumVar() doubles,
  /// in). Fails: false.
  virtual bool AdaptVar(double* funcVars, const double* vars) const = 0;
  virtual ~QZAdaptor();
};

/// Converts between a function's variables x and an optimiser's v without wrapping a function.
class QZ_API QZAdaptor0 {
 public:
  /// Length of x.
  virtual unsigned int NumFuncVar() const = 0;
  /// Length of v.
  virtual unsigned int NumOptVar() const = 0;
  /// v (out) of x (in). Fails: false.
  virtual bool FuncVarToOptVar(const double* funcVars, double* optVars) = 0;
  /// x (out) of v (in). Fails: false.
  virtual bool OptVarToFuncVar(const double* optVars, double* funcVars) = 0;
  virtual ~QZAdaptor0();
};

/// Adds gradients: ∂E/∂v = Jᵀ ∂E/∂x, J = ∂x/∂v.
class QZ_API QZAdaptor1 : public virtual QZAdaptor0 {
 public:
  /// Three arrays, x, ∂E/∂x and ∂E/∂v, in an order that is the class's own.
  virtual bool FuncGradToOptGrad(const double*, double*, double*) = 0;
  virtual bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) = 0;
  /// The optimiser variables of the current state.
  virtual bool GetAdaptedVariables(double* optVars) const = 0;
};

}  // namespace QZOpt
