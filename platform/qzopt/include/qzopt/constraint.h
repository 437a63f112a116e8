// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzopt/function.h"
#include "qzplatform/export.h"

namespace QZOpt {

/// An equality constraint c(x) = 0 on the NumVar() variables x. The order of the virtual operations
/// is part of the interface.
class QZ_API QZConstrFunc {
 public:
  virtual ~QZConstrFunc();
  virtual unsigned int NumVar() const = 0;
  /// c(x) at `x` (NumVar() doubles, in); the gradient is **added into** `grad`.
  virtual double operator()(const double* x, double* grad) = 0;
  virtual double operator()(const double* x) = 0;
};

/// The second derivatives of a constraint. A class offers them by deriving from this beside
/// `QZConstrFunc`, and promises that its gradient is the true slope of its value.
class QZ_API QZConstrHessian {
 public:
  /// **Adds** `factor` times the second derivatives at `x` into the packed `hessian` (n(n+1)/2
  /// doubles). Both are over the n variables of the function that is minimised. False, with nothing
  /// added, when there are no second derivatives.
  virtual bool AddHessian(const double* x, double factor, double* hessian) const = 0;
  virtual ~QZConstrHessian();
};

/// A constraint over the variables of a `QZRestartable` function that can also be expressed over
/// the variables of that function's fall-back. A class offers this by deriving from it beside
/// `QZConstrFunc`.
class QZ_API QZConstrFallBack {
 public:
  /// The same constraint over the variables of `fallBack`, the function that
  /// `QZRestartable::FallBack` returned. Null when the constraint cannot be expressed there. Owned
  /// by this object, valid until the next call.
  virtual QZConstrFunc* FallBack(QZFunc1& fallBack) = 0;
  virtual ~QZConstrFallBack();
};

}  // namespace QZOpt
