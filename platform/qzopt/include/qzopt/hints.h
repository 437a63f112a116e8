// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzopt/function.h"

/// What a function may tell a minimiser beyond its value. A class offers a hint by deriving from
/// the hint's interface beside `QZFunc1`. Minimisers ask for it by `dynamic_cast` and work without
/// the hint when the function does not offer it.
namespace QZOpt {

/// One entry of the lower triangle (column <= row) of a symmetric sparse matrix. Entries with the
/// same row and column are summed.
struct QZMatrixEntry {
  unsigned int row = 0;
  unsigned int column = 0;
  double value = 0.0;
};

/// A positive semi-definite model of the function's Hessian that costs little to compute. It shapes
/// the first steps of a quasi-Newton minimiser.
class QZ_API QZHessianModel {
 public:
  /// Appends the model's entries at `x` (NumVar() doubles, in) to `entries`; their unit is energy
  /// per variable unit squared. False, with nothing appended, when there is no model.
  virtual bool AppendModelHessian(const double* x, std::vector<QZMatrixEntry>& entries) = 0;
  virtual ~QZHessianModel();
};

/// A step of a minimiser and the change of the gradient over the step (NumVar() doubles each).
/// Together they tell the Hessian's product with the step.
struct QZCurvatureStep {
  std::vector<double> move;
  std::vector<double> change;
};

/// A function that can change its variables during a minimisation. This is for coordinates whose
/// meaning depends on the path of the run, or that become unsuitable at some geometries: the
/// function can start afresh from the point reached, choose other variables there, or present
/// itself in variables that are suitable everywhere (the fall-back).
class QZ_API QZRestartable {
 public:
  /// Starts afresh from the point that `x` (NumVar() doubles, in and out) has reached; `x` receives
  /// the new variables of that point. False, with `x` unchanged, when starting afresh would gain
  /// nothing.
  virtual bool Restart(double* x) = 0;
  /// True when other variables would be more suitable at the iterate `x`. A minimiser asks after
  /// every iteration, so the answer must be cheap. The default is false.
  virtual bool IsRevisionDue(const double* x);
  /// Chooses other variables at the point of `x` (in and out); their number stays the same. `steps`
  /// are the latest steps of the run, in the former variables; they are returned in the new
  /// variables, or emptied when they cannot be converted. False when nothing was changed. The
  /// default is false.
  virtual bool Revise(double* x, std::vector<QZCurvatureStep>& steps);
  /// The same function in variables that are suitable everywhere, started from the point that `x`
  /// has reached; `start` receives the variables of that point in the returned function. Null when
  /// there is no such function. Owned by this object, valid until the next call.
  virtual QZFunc1* FallBack(const double* x, std::vector<double>& start) = 0;
  /// The name of the fall-back's variables in messages, for example "Cartesian coordinates".
  virtual const char* FallBackName() const = 0;
  /// Converts variables of the fall-back into variables of this function (`x`: NumVar() doubles,
  /// out).
  virtual void ReturnFrom(const double* fallBackVars, double* x) = 0;
  virtual ~QZRestartable();
};

}  // namespace QZOpt
