// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qzopt/qzopt.h"

namespace QZOpt {

/// The methods of minimisation; see `QZOptOptions::method`.
enum class QZOptMethod { Auto, QuasiNewton, Newton };

/// Options of the minimisers.
struct QZOptOptions {
  unsigned int maxIterations = 5000;
  /// Root mean square of the gradient below which a run has converged, in energy units per
  /// variable unit.
  double gradientTolerance = 1e-4;
  /// Energy change between iterations below which a run stops; 0 switches the test off. A run that
  /// this test stops does not count as converged.
  double energyTolerance = 0.0;
  /// QuasiNewton uses energy and gradient alone. Newton uses the Hessian as well and needs a
  /// `QZFunc2`; it takes about a fifth of the iterations, which is faster only where an evaluation
  /// costs far more than the factorisation of a Hessian. Auto is quasi-Newton, and tries Newton's
  /// method when quasi-Newton gets stuck (up to 600 variables).
  QZOptMethod method = QZOptMethod::Auto;
  /// Evaluations of energy and gradient after which a run stops; 0 stands for ten times
  /// `maxIterations` plus 100.
  unsigned int maxEvaluations = 0;
  /// Wall time in seconds after which a run stops; 0: no limit.
  double maxSeconds = 0.0;
};

/// The result of a minimisation. Energies and gradients are in the units of the function.
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
  /// True when the run went on in the variables of the fall-back; `gradientNorm` is then the
  /// gradient over the variables of the fall-back.
  bool fellBack = false;
  /// The method of the last steps, never Auto.
  QZOptMethod method = QZOptMethod::QuasiNewton;
  /// How often a `QZRestartable` function chose other variables during the run.
  unsigned int revisions = 0;
};

/// Minimises a function of n variables, for any n.
/// - Quasi-Newton is limited-memory BFGS with a line search for the strong Wolfe conditions. For a
///   function with a `QZHessianModel` the search works in variables in which the model is the unit
///   matrix, and computes the model again every 20 iterations. Without a model it keeps its whole
///   history up to 1,500 variables, so that the steps are those of BFGS started from the unit
///   matrix, and the latest 300 steps for more variables. The first step changes no variable by
///   more than its scale, which is 1 unless `SetScales` was called. When a line search breaks down,
///   the run starts again from the best point, at most five times.
/// - Newton uses exact Hessians in a trust region; the model or the scales measure the length of a
///   step.
///
/// A function that is `QZRestartable` is asked after each iteration whether other variables would
/// be more suitable. If so, it chooses them, and the run goes on with its latest steps converted to
/// the new variables; `x` is then returned in the variables that the function has at the end. When
/// a run over such a function gets stuck, or fails after its start, the function starts afresh from
/// the point reached, as long as this lowers energy or gradient; at last the run goes on in the
/// variables of the function's fall-back. All of this is one sequence of iterations under one set
/// of limits. Iterations of the fall-back are reported to the checkpoint in the function's own
/// variables, with a null gradient.
/// Fails: `converged` is false, and `message` gives the reason.
/// Cost besides the evaluations. Quasi-Newton: 4n operations and 2n doubles for each step of
/// history (at most 20 steps with a model, 2,000 without, 300 beyond 1,500 variables), and with a
/// model two triangular solves with its sparse factor an iteration. Newton: three times n²/2
/// doubles, and one to about five factorisations of n³/3 operations a step.
/// Source: Liu and Nocedal, Math. Program. 45, 503 (1989), run by Ceres; Moré and Sorensen, SIAM J.
/// Sci. Stat. Comput. 4, 553 (1983); Nocedal and Wright, Numerical Optimization, 2nd ed. (2006),
/// algorithm 4.1.
class QZ_API QZMinimizer {
 public:
  explicit QZMinimizer(QZOptOptions options = {});

  /// Sets the scale of each variable: changes of two variables by their scales are equally large
  /// steps. One positive number for each variable, in the unit of the variable; an empty vector
  /// sets all scales to 1. The first approximation of the Hessian is diagonal with 1 / scale², so
  /// that 1/√k suits a variable of force constant k. The model of a `QZHessianModel` takes
  /// precedence over the scales, except for variables that have no entry in the model. Tolerances,
  /// checkpoint and result stay in the units of the variables.
  void SetScales(std::vector<double> scales) { scales_ = std::move(scales); }

  /// Minimises `f` from `x` (NumVar() doubles, in and out); `x` returns the best point found,
  /// whatever happened. `f` must be set up. It is asked for Hessians as `method` says if it is a
  /// `QZFunc2`. `checkpoint` (not owned, may be null) is called once per iteration, the start being
  /// iteration 0, with state 0 while running and 1 at the end; when it answers false the run stops.
  /// A run that ends with a failure reports its best point once more, with state 1.
  /// A NaN energy, a gradient that is not finite or an exception from `f` ends the run with a
  /// message; an energy of plus infinity only shortens the step. A run does not start when the
  /// number of scales is not NumVar(), or when a scale is not positive.
  QZOptResult Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint = nullptr);

 private:
  QZOptOptions options_;
  std::vector<double> scales_;
};

/// Minimises a function E under equality constraints c_i(x) = 0 and bounds lower_i <= c_i(x) <=
/// upper_i, by `QZMinimizer` on an augmented Lagrangian
///   L(x) = E(x) + Σ μ_i d_i²/2,   d_i = c_i(x) + p_i/μ_i less the nearest value within its bounds
/// whose p_i become μ_i d_i after each inner minimisation; at the solution p_i = -λ_i. Without
/// constraints the run is that of `QZMinimizer`.
/// Newton's method needs a function that is a `QZFunc2` and constraints that are all
/// `QZConstrHessian`; otherwise the run is quasi-Newton, whatever `method` says. A `QZRestartable`
/// function may choose other variables during the run and starts afresh when the run gets stuck; it
/// falls back only when every constraint is a `QZConstrFallBack`.
/// Converged: every c_i is within its tolerance of its bounds, and the projected gradient ∇E - Σ
/// λ_i ∇c_i, over the constraints that are reached, is within the gradient tolerance.
/// `gradientNorm` and the gradient that the checkpoint receives are the projected gradient.
/// The gradient of a constraint needs the right direction only, since its length is measured by a
/// difference quotient. Variables and gradients of the constraints have the length of the
/// function's, whatever the `NumVar` of a constraint says. Constraints may depend on one another as
/// long as they can all be met.
/// Owns: nothing; constraints must outlive the call of `Minimize`. Cost: at most 60 inner
/// minimisations, of which the later ones start near their minimum; each evaluation evaluates all
/// constraints. Holds a gradient for each constraint. Fails: `converged` is false and `message`
/// gives the reason, with the number (from 1) and the residual of the constraint that is violated
/// most, or the number of the constraint whose bounds no value can meet. Source: Hestenes, J.
/// Optim. Theory Appl. 4, 303 (1969); for bounds Rockafellar, J. Optim. Theory Appl. 12, 555
/// (1973).
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
  /// As `QZMinimizer::Minimize`, but `x` returns the point that violates the constraints least, or,
  /// when several points meet all constraints, the one with the lowest energy.
  QZOptResult Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint = nullptr);
  /// At the result of the latest run, in the order of addition: c_i, or for bounds how far c_i is
  /// outside of them: negative below, positive above. NaN when no point was reached.
  std::vector<double> GetResiduals() const { return residuals_; }
  /// At the result of the latest run, in the order of addition: the λ_i of ∇E = Σ λ_i ∇c_i. λ_i is
  /// dE/dc_i of the minimal energy; it is not negative at a lower bound, not positive at an upper
  /// bound and 0 between the bounds. Where constraints depend on one another only the sum Σ λ_i
  /// ∇c_i is determined. NaN when no point was reached.
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
