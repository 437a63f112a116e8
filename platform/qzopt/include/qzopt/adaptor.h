// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZOpt {

/// Presents a wrapped function f of m variables x in n variables v of its own:
///   E(v) = f(x(v)),   gradient Jᵀ∇f,   J = ∂x/∂v
/// The class that derives from this is itself the function that an optimiser calls; the operations
/// here convert between v and x.
class QZ_API QZAdaptor {
 public:
  /// v for x: `out` receives n doubles, `funcVars` holds m.
  virtual void GetVar(double* out, const double* funcVars) = 0;
  /// The same, returned as n doubles in a buffer that the adaptor owns and that is valid until the
  /// next call. May be null where a class says so.
  virtual const double* GetVar(const double* funcVars) = 0;
  /// The inverse, x for v: `funcVars` receives m doubles, `vars` holds n. Fails: false in the cases
  /// that each class names.
  virtual bool AdaptVar(double* funcVars, const double* vars) const = 0;
  virtual ~QZAdaptor();
};

/// Converts between the m variables x of a function and the n variables v of an optimiser. It does
/// not wrap the function: the caller evaluates it at x. Fails: a conversion that is not possible
/// answers false, and the contents of the output array are then the class's own.
class QZ_API QZAdaptor0 {
 public:
  /// m, the number of variables of the function.
  virtual unsigned int NumFuncVar() const = 0;
  /// n, the number of variables of the optimiser.
  virtual unsigned int NumOptVar() const = 0;
  /// `funcVars`: m doubles, in; `optVars`: n doubles, out. A class that needs a geometry to start
  /// from takes it from `funcVars` here.
  virtual bool FuncVarToOptVar(const double* funcVars, double* optVars) = 0;
  /// `optVars`: n doubles, in; `funcVars`: m doubles, out.
  virtual bool OptVarToFuncVar(const double* optVars, double* funcVars) = 0;
  virtual ~QZAdaptor0();
};

/// `QZAdaptor0` with gradients:  ∂E/∂v = Jᵀ ∂E/∂x,   J = ∂x/∂v.
class QZ_API QZAdaptor1 : public virtual QZAdaptor0 {
 public:
  /// ∂E/∂v for ∂E/∂x. **Each class has its own order of the three arrays and says what each array
  /// is**: callers rely on each class's order.
  virtual bool FuncGradToOptGrad(const double*, double*, double*) = 0;
  /// The inverse: `optGrad`: n doubles, in; `funcGrad`: m doubles, out. Classes that have no
  /// inverse answer false.
  virtual bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) = 0;
  /// The optimiser variables of the current state: n doubles, unless a class says otherwise.
  virtual bool GetAdaptedVariables(double* optVars) const = 0;
};

}  // namespace QZOpt
