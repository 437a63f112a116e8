// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qzopt/qzopt.h"

namespace QZOpt {

enum class QZOptMethod { Auto, QuasiNewton, Newton };

struct QZOptOptions {
  unsigned int maxIterations = 5000;
  /// Root mean square of the gradient below which a run has converged, in energy units per
  /// variable unit.
  double gradientTolerance = 1e-4;
  /// Energy change between iterations below which a run stops; 0 switches the test off. Stopping
  /// by it is not convergence.
  double energyTolerance = 0.0;
  /// QuasiNewton uses energy and gradient alone. Newton uses the Hessian and needs a `QZFunc2`: a
  /// fifth of the iterations, which pays where an evaluation costs far more than a Hessian's
  /// factorisation. Auto is quasi-Newton, and tries Newton's method where that gets stuck.
  QZOptMethod method = QZOptMethod::Auto;
  /// Evaluations of energy and gradient after which a run stops; 0: ten times `maxIterations` and
  /// 100 more.
  unsigned int maxEvaluations = 0;
  /// Wall time after which a run stops; 0: no limit.
  double maxSeconds = 0.0;
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
  /// How often a `QZRestartable` function started afresh from the point reached.
  unsigned int restarts = 0;
  /// Whether the run went on in the fall-back's variables; `gradientNorm` is then over those.
  bool fellBack = false;
  /// The method of the last steps, never Auto.
  QZOptMethod method = QZOptMethod::QuasiNewton;
  /// How often a `QZRestartable` function chose its variables anew on the way.
  unsigned int revisions = 0;
};

/// Minimises a function of any number of variables.
///   Quasi-Newton: limited-memory BFGS with a line search for the strong Wolfe conditions. Over a
/// function with a `QZHessianModel` it works in variables in which the model is the unit matrix,
/// and takes the model anew every 40 iterations. Without one it keeps its whole history up to 1,500
/// variables (the steps are those of BFGS from the unit matrix), 300 steps beyond. The first step
/// changes no variable by more than its scale, which is 1 unless given. After a line search that
/// broke down it starts again from the best point, several times if need be.
///   Newton: exact Hessians in a trust region, measured by the model or the scales.
///   Stuck, or failed past its start: a function that is `QZRestartable` starts afresh from the
/// point reached, until that gains nothing, and at last presents itself in the variables of its
/// fall-back. All of this is one sequence of iterations with one set of limits; a fall-back's
/// iterations reach the checkpoint in the function's own variables, with a null gradient.
/// Fails: `converged` false, and the reason in `message`.
/// Cost: besides the evaluations 4 n operations and 2 n doubles per step of history, of which there
/// are at most 40 with a model, 2,000 without (300 when large), and with a model two triangular
/// solves with its sparse factor an iteration. Newton: n²/2 doubles thrice and one to some five
/// times n³/3 operations a step.
class QZ_API QZMinimizer {
 public:
  explicit QZMinimizer(QZOptOptions options = {});

  /// What change of each variable, in its own unit, matters as much as those of the others: one
  /// positive number a variable, or none for all 1. The first Hessian is diagonal with 1 / scale²,
  /// so that 1/√k suits a variable of force constant k; a function's own model takes its place,
  /// except for variables that the model says nothing of. Tolerances, checkpoint and result stay in
  /// the variables' own units.
  void SetScales(std::vector<double> scales) { scales_ = std::move(scales); }

  /// Minimises `f` from `x` (NumVar() doubles, in and out). `f` must be set up; it needs no
  /// cleared gradient from the caller. `checkpoint` (not owned, may be null) is called once per
  /// iteration, the start being iteration 0, with state 0 while running and 1 at the end; its
  /// false stops the run. A run that ends on a failure reports its best point once more, with
  /// state 1. A function that is a `QZFunc2` is asked for Hessians as `method` says. A NaN energy,
  /// a gradient that is not finite or an exception from `f` ends the run with a message; an energy
  /// of plus infinity only shortens the step. `x` always ends as the best point found. Scales that
  /// do not fit end the run before it starts.
  QZOptResult Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint = nullptr);

 private:
  QZOptOptions options_;
  std::vector<double> scales_;
};

/// Minimises under constraints c_i(x) = 0 and bounds lower_i <= c_i(x) <= upper_i: an augmented
/// Lagrangian around `QZMinimizer`, with the function's model Hessian or the scales; Newton's
/// method where the function is a `QZFunc2` and every constraint a `QZConstrHessian`, else
/// quasi-Newton whatever `method` says. Without constraints it is `QZMinimizer`. A function that is
/// `QZRestartable` changes its variables on the way, starts afresh where it gets stuck, and falls
/// back where every constraint is a `QZConstrFallBack`. Converged: every c_i
/// is within its tolerance of what it may be, and the gradient less what the constraints that are
/// reached bear of it within the gradient tolerance; `gradientNorm` and the checkpoint's gradient
/// are that rest. A constraint's gradient needs the right direction only: its length is measured.
/// `x`, the constraints' vectors and their gradients have the function's length, whatever the
/// constraints' `NumVar` says. Constraints may depend on one another as long as they can all be
/// met. Fails: `converged` false and the reason in `message`, which gives the number (from 1) and
/// the residual of the constraint that is violated most, or the number of the one whose bounds no
/// value can meet.
class QZ_API QZConstrainedMinimizer {
 public:
  explicit QZConstrainedMinimizer(QZOptOptions options = {});

  /// c(x) = 0. `tolerance` is in the units of the constraint's value. The constraint is not owned.
  void AddConstraint(QZConstrFunc& constraint, double tolerance = 1e-6);
  /// lower <= c(x) <= upper; either may be infinite, both may be equal. The constraint is not
  /// owned.
  void AddBounds(QZConstrFunc& constraint, double lower, double upper, double tolerance = 1e-6);
  /// As `QZMinimizer::SetScales`.
  void SetScales(std::vector<double> scales) { scales_ = std::move(scales); }
  /// As `QZMinimizer::Minimize`; `x` ends as the point that violates the constraints least, and
  /// among points that meet them the one of lowest energy.
  QZOptResult Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint = nullptr);
  /// At the result of the latest run, in the order of addition: c_i, or for bounds how far c_i is
  /// outside of them, with its sign. NaN where no point was reached.
  std::vector<double> GetResiduals() const { return residuals_; }
  /// At the result of the latest run, in the order of addition: λ with ∇E = Σ λ_i ∇c_i, which is
  /// dE/dc_i of the minimal energy. Not negative at a lower bound, not positive at an upper one, 0
  /// between them. Where constraints depend on one another only the sum is determined. NaN where no
  /// point was reached.
  std::vector<double> GetMultipliers() const { return multipliers_; }

 private:
  struct Bounds {
    QZConstrFunc* constraint;
    double lower;
    double upper;
    double tolerance;
  };
  QZOptOptions options_;
  std::vector<Bounds> constraints_;
  std::vector<double> scales_;
  std::vector<double> residuals_;
  std::vector<double> multipliers_;
};

}  // namespace QZOpt
