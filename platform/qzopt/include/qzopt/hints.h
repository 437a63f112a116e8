// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzopt/function.h"

/// What a function may tell a minimiser beyond its value. A class offers a hint by deriving from
/// its interface beside `QZFunc1`; minimisers ask by `dynamic_cast` and do without where there is
/// none.
namespace QZOpt {

/// One entry of a symmetric sparse matrix: its lower triangle, column <= row. Entries of the same
/// place are summed.
struct QZMatrixEntry {
  unsigned int row = 0;
  unsigned int column = 0;
  double value = 0.0;
};

/// A positive semi-definite model of the function's Hessian, cheap to have: it shapes the first
/// steps of a quasi-Newton minimiser.
class QZ_API QZHessianModel {
 public:
  /// Appends the model's entries at `x` (NumVar() doubles, in) to `entries`. False, with nothing
  /// appended: there is no model.
  virtual bool AppendModelHessian(const double* x, std::vector<QZMatrixEntry>& entries) = 0;
  virtual ~QZHessianModel();
};

/// A step of a minimiser and the change of the gradient over it: what is known of the Hessian
/// along the step.
struct QZCurvatureStep {
  std::vector<double> move;
  std::vector<double> change;
};

/// A function whose variables belong to the way that led to them, or may serve no longer where a
/// minimiser gets stuck: it can start afresh from the point reached, and at last present itself in
/// variables that always serve.
class QZ_API QZRestartable {
 public:
  /// Makes the variables consistent with what `x` (NumVar() doubles, in and out) has reached.
  /// False: starting again there would gain nothing, and `x` is as it was.
  virtual bool Restart(double* x) = 0;
  /// Whether other variables serve better at the iterate `x`; a minimiser asks after each
  /// iteration, so that it must be cheap. Here: never.
  virtual bool IsRevisionDue(const double* x);
  /// Chooses the variables anew at `x` (in and out), their number staying. `steps`, what the way
  /// there has told of the Hessian, come back in the new variables; none where they cannot be
  /// carried over. False: all is as it was. Here: false.
  virtual bool Revise(double* x, std::vector<QZCurvatureStep>& steps);
  /// The same function in variables that always serve, started from what `x` has reached: `start`
  /// receives that function's variables. Null where there are none. Owned by this object, valid
  /// until the next call.
  virtual QZFunc1* FallBack(const double* x, std::vector<double>& start) = 0;
  /// What the fall-back's variables are called in messages, as in "Cartesian coordinates".
  virtual const char* FallBackName() const = 0;
  /// This function's variables (NumVar() doubles, out) for the fall-back's.
  virtual void ReturnFrom(const double* fallBackVars, double* x) = 0;
  virtual ~QZRestartable();
};

}  // namespace QZOpt
