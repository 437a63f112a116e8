// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzopt/function.h"
#include "qzplatform/export.h"

namespace QZOpt {

/// An equality constraint c(x) = 0. The order of the virtual operations is part of the interface.
class QZ_API QZConstrFunc {
 public:
  virtual ~QZConstrFunc();
  virtual unsigned int NumVar() const = 0;
  /// c(x); a gradient is **added into** `grad`.
  virtual double operator()(const double* x, double* grad) = 0;
  virtual double operator()(const double* x) = 0;
};

/// A constraint with second derivatives, offered by deriving from this beside `QZConstrFunc`; its
/// gradient is then the true slope.
class QZ_API QZConstrHessian {
 public:
  /// **Adds** `factor` times the second derivatives at `x` (NumVar() of the function, in) into the
  /// packed `hessian`. False, with nothing added, when there are none.
  virtual bool AddHessian(const double* x, double factor, double* hessian) const = 0;
  virtual ~QZConstrHessian();
};

/// A constraint over the variables of a `QZRestartable` function, which can present itself over
/// those of the fall-back too; offered by deriving from this beside `QZConstrFunc`.
class QZ_API QZConstrFallBack {
 public:
  /// The same constraint over the variables of `fallBack`, which the function gave. Null where
  /// there is none. Owned by this object, valid until the next call.
  virtual QZConstrFunc* FallBack(QZFunc1& fallBack) = 0;
  virtual ~QZConstrFallBack();
};

}  // namespace QZOpt
