// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZOpt {

/// Presents a wrapped function f of m variables x in n variables v of its own:
///   E(v) = f(x(v)),   gradient Jᵀ∇f,   J = ∂x/∂v
/// An adaptor is itself the function that an optimiser calls; these are the ways between v and x.
class QZ_API QZAdaptor {
 public:
  /// v for x: `out` receives n doubles, `funcVars` holds m.
  virtual void GetVar(double* out, const double* funcVars) = 0;
  /// The same in a buffer of n doubles inside the adaptor, valid until the next call. May be null
  /// where a class says so.
  virtual const double* GetVar(const double* funcVars) = 0;
  /// The inverse, x for v: `funcVars` receives m doubles, `vars` holds n. Fails: false, as each
  /// class says.
  virtual bool AdaptVar(double* funcVars, const double* vars) const = 0;
  virtual ~QZAdaptor();
};

/// Converts between the m variables x of a function and the n variables v of an optimiser without
/// wrapping the function: the caller evaluates it at x. False: what cannot be converted, with
/// whatever the class leaves in the output.
class QZ_API QZAdaptor0 {
 public:
  /// m.
  virtual unsigned int NumFuncVar() const = 0;
  /// n.
  virtual unsigned int NumOptVar() const = 0;
  /// `funcVars`: m doubles, in; `optVars`: n doubles, out. This is where a class takes what it
  /// needs of the geometry to start from.
  virtual bool FuncVarToOptVar(const double* funcVars, double* optVars) = 0;
  /// `optVars`: n doubles, in; `funcVars`: m doubles, out.
  virtual bool OptVarToFuncVar(const double* optVars, double* funcVars) = 0;
  virtual ~QZAdaptor0();
};

/// Adds gradients:  ∂E/∂v = Jᵀ ∂E/∂x,   J = ∂x/∂v.
class QZ_API QZAdaptor1 : public virtual QZAdaptor0 {
 public:
  /// ∂E/∂v for ∂E/∂x. **What the three arrays are, and in which order, is the class's own**:
  /// callers rely on each class's order, and the functions over these adaptors know it.
  virtual bool FuncGradToOptGrad(const double*, double*, double*) = 0;
  /// The inverse; `optGrad`: n doubles, in; `funcGrad`: m doubles, out. Classes without one answer
  /// false.
  virtual bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) = 0;
  /// The optimiser variables of the current state: n doubles, unless a class says otherwise.
  virtual bool GetAdaptedVariables(double* optVars) const = 0;
};

}  // namespace QZOpt
