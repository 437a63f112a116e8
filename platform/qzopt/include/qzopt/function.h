// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzopt/component.h"
#include "qzsystem/iterator.h"

namespace QZOpt {

/// A scalar function of NumVar() variables: energy only. The order of the virtual operations is
/// part of the interface.
class QZ_API QZFunc0 {
 public:
  virtual unsigned int NumVar() const = 0;
  /// The energy at `x` (NumVar() doubles, in).
  virtual double operator()(const double* x) = 0;
  /// The named energy terms at `x`; `x` may be null where a class says so. Owned by the caller.
  virtual QZSystem::QZIterBase<QZFComponent>* GetFComponents(const double* x) = 0;
  virtual ~QZFunc0();
};

/// A function with a gradient.
class QZ_API QZFunc1 : public virtual QZFunc0 {
 public:
  using QZFunc0::operator();
  /// The energy at `x`; `grad` (NumVar() doubles) is **added to**: the caller clears it.
  virtual double operator()(const double* x, double* grad) = 0;
  /// True when every variable is finite.
  virtual bool CheckVariablesValidity(const double* x);
  /// True when the root mean square difference of the two variable vectors is below `tolerance`.
  virtual bool IsRedundant(const double* x1, const double* x2, double tolerance) const;
};

/// A function with a gradient and a Hessian.
class QZ_API QZFunc2 : public virtual QZFunc1 {
 public:
  using QZFunc1::operator();
  /// **Adds** the packed Hessian (lower triangle by rows, element (r, c), c <= r, at
  /// r(r+1)/2 + c, n(n+1)/2 doubles in all) into `hessian` and the gradient into `grad` (n doubles,
  /// may be null). **The result tells success and is not the energy, and `hessian` stands before
  /// `grad`.**
  virtual bool operator()(const double* x, double* hessian, double* grad) = 0;
};

/// Central differences of the gradient of `func` at `x`, symmetrised and **added into** the packed
/// lower triangle `hessian` (n(n+1)/2 doubles, n = NumVar()). `step` is in the units of the
/// variables. Returns the energy at `x` (n doubles, in). Cost: 2n gradients and one energy; holds
/// 3n doubles during the call.
QZ_API double NumericHessian(QZFunc1& func, const double* x, double* hessian, double step);

}  // namespace QZOpt
