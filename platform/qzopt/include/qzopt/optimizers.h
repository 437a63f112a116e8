// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qzopt/qzopt.h"

namespace QZOpt {

struct QZOptOptions {
  unsigned int maxIterations = 5000;
  /// Root mean square of the gradient below which a run has converged, in energy units per
  /// variable unit.
  double gradientTolerance = 1e-4;
  /// Energy change between iterations below which a run stops; 0 switches the test off. Stopping
  /// by it is not convergence.
  double energyTolerance = 0.0;
};

struct QZOptResult {
  /// True only when the gradient criterion was met.
  bool converged = false;
  unsigned int iterations = 0;
  /// Evaluations of energy and gradient.
  unsigned int evaluations = 0;
  double energy = 0.0;
  /// Root mean square of the gradient at the result.
  double gradientNorm = 0.0;
  /// Why the run ended.
  std::string message;
};

/// Quasi-Newton minimiser with a line search for the strong Wolfe conditions: BFGS with its whole
/// history up to 1,500 variables, limited-memory BFGS of rank 300 beyond. The first step changes no
/// variable by more than its scale, which is 1 unless given. After a line search that broke down it
/// starts again from the best point, several times if need be, before it gives up.
/// Fails: `converged` false, and the reason in `message`.
/// Cost: besides the evaluations 4 n operations and 2 n doubles per step of history, of which there
/// are at most 2,000 (300 when large).
class QZ_API QZMinimizer {
 public:
  explicit QZMinimizer(QZOptOptions options = {});

  /// What change of each variable, in its own unit, matters as much as those of the others: one
  /// positive number a variable, or none for all 1. The first Hessian is diagonal with 1 / scale²,
  /// so that 1/√k suits a variable of force constant k. Tolerances, checkpoint and result stay in
  /// the variables' own units.
  void SetScales(std::vector<double> scales) { scales_ = std::move(scales); }

  /// Minimises `f` from `x` (NumVar() doubles, in and out). `f` must be set up; it needs no
  /// cleared gradient from the caller. `checkpoint` (not owned, may be null) is called once per
  /// iteration, the start being iteration 0, with state 0 while running and 1 at the end; its
  /// false stops the run. A run that ends on a failure reports its best point once more, with
  /// state 1. A NaN energy, a gradient that is not finite or an exception from `f` ends the run
  /// with a message; an energy of plus infinity only shortens the step. `x` always ends as the best
  /// point found. Scales that do not fit end the run before it starts.
  QZOptResult Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint = nullptr);

 private:
  QZOptOptions options_;
  std::vector<double> scales_;
};

/// Minimises under equality constraints c_i(x) = 0: sequential quadratic programming while the
/// problem is small, an augmented Lagrangian around `QZMinimizer` beyond, and where the former gets
/// stuck. Without constraints it is `QZMinimizer`.
/// Converged: every |c_i| is within its tolerance, and the gradient less its part along the
/// constraints' gradients within the gradient tolerance; `gradientNorm` and the checkpoint's
/// gradient are that projection.
/// A constraint's gradient needs the right direction only: its length is measured. `x`, the
/// constraints' vectors and their gradients have the function's length, whatever the constraints'
/// `NumVar` says.
/// Fails: `converged` false and the reason in `message`, which gives the number (from 1) and the
/// residual of the constraint that is violated most.
class QZ_API QZConstrainedMinimizer {
 public:
  explicit QZConstrainedMinimizer(QZOptOptions options = {});

  /// `tolerance` is in the units of the constraint's value. The constraint is not owned.
  void AddConstraint(QZConstrFunc& constraint, double tolerance = 1e-6);
  /// As `QZMinimizer::Minimize`; `x` ends as the point that violates the constraints least, and
  /// among points that meet them the one of lowest energy.
  QZOptResult Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint = nullptr);
  /// c_i at the result of the latest run, in the order of addition.
  std::vector<double> GetResiduals() const;

 private:
  QZOptOptions options_;
  std::vector<QZConstrFunc*> constraints_;
  std::vector<double> tolerances_;
  std::vector<double> residuals_;
};

}  // namespace QZOpt
