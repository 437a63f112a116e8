// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZOpt {

/// Presents a wrapped function in other variables.
class QZ_API QZAdaptor {
 public:
  /// Copies the adaptor's variables for `funcVars` into `out`.
  virtual void GetVar(double* out, const double* funcVars) = 0;
  /// The same in a buffer inside the adaptor, valid until the next call.
  virtual const double* GetVar(const double* funcVars) = 0;
  /// The inverse: fills the wrapped function's variables. Fails: false.
  virtual bool AdaptVar(double* funcVars, const double* vars) const = 0;
  virtual ~QZAdaptor();
};

/// Converts between a function's variables and an optimiser's without wrapping a function.
class QZ_API QZAdaptor0 {
 public:
  virtual unsigned int NumFuncVar() const = 0;
  virtual unsigned int NumOptVar() const = 0;
  virtual bool FuncVarToOptVar(const double* funcVars, double* optVars) = 0;
  virtual bool OptVarToFuncVar(const double* optVars, double* funcVars) = 0;
  virtual ~QZAdaptor0();
};

/// Adds gradients. What the three arrays of `FuncGradToOptGrad` are is the class's own.
class QZ_API QZAdaptor1 : public virtual QZAdaptor0 {
 public:
  virtual bool FuncGradToOptGrad(const double*, double*, double*) = 0;
  virtual bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) = 0;
  /// The optimiser variables of the current state.
  virtual bool GetAdaptedVariables(double* optVars) const = 0;
};

}  // namespace QZOpt
