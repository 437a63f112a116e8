// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzopt/function.h"

namespace QZMolPotential {

/// The worst entry of an array of derivatives.
struct QZDerivativeError {
  /// |analytic - numeric|, less the uncertainty of the latter, over max(1, |analytic|, |numeric|);
  /// infinite when either is not finite.
  double error = 0.0;
  /// Index of the variable; for a Hessian element the larger of its two indices.
  unsigned int variable = 0;
  /// For a Hessian element the smaller index, otherwise equal to `variable`.
  unsigned int otherVariable = 0;
  double analytic = 0.0;
  double numeric = 0.0;
  /// How far `numeric` may be off by its own account; 0 where a single difference was good enough.
  double uncertainty = 0.0;
};

struct QZ_API QZCheckFuncResult {
  double energy = 0.0;
  /// |energy of the gradient call - energy| / max(1, |energy|).
  double energyMismatch = 0.0;
  QZDerivativeError gradient;
  /// False when the function has no Hessian or its Hessian call failed: `hessian` is then empty.
  bool hasHessian = false;
  /// True when a function with a Hessian answered false to its Hessian call.
  bool hessianFailed = false;
  QZDerivativeError hessian;
  /// The gradient that the Hessian call adds, against that of the gradient call.
  QZDerivativeError hessianGradient;

  /// True when nothing failed and every error is at most `tolerance`; false on NaN.
  bool Passes(double tolerance) const;
};

/// Derivative checker: the gradient of a function against central differences of its energy, and
/// its Hessian, when it is a `QZOpt::QZFunc2`, against central differences of its gradient.
///   f'(x) ~ (f(x+h) - f(x-h)) / 2h,  h = step max(1, |x|)
/// Where such a difference and the derivative disagree, as they do beside a straight angle, for
/// which h is too long, the difference is taken again with ever shorter steps and extrapolated to
/// none, which tells its own uncertainty as well: only what lies beyond that counts as an error. An
/// error up to 1e-6 is the difference's own, one around 1 a mistake in the derivative. At a kink of
/// the function the differences mean nothing, and the uncertainty says so. Where atoms overlap,
/// energies are so large that their rounding hides slopes of other atoms: that is uncertainty too.
/// Cost: 2n energies and, for the Hessian, 2n gradients, up to ten times as many for the variables
/// that disagree; holds n(n+1)/2 + 24n doubles meanwhile. Source: Ridders, Adv. Eng. Software 4, 75
/// (1982).
class QZ_API QZCheckFunc {
 public:
  QZCheckFunc();
  QZCheckFunc(const QZCheckFunc& other);
  QZCheckFunc& operator=(const QZCheckFunc& other);
  ~QZCheckFunc();

  /// Relative step of the first differences, 1e-5 by default. Fails: false when not finite and
  /// positive.
  bool SetStep(double step);
  double GetStep() const { return step_; }
  /// Length of the variable and gradient arrays for functions whose NumVar() is not it, such as a
  /// penalty that reports its own four atoms and reads full coordinate vectors; 0, the default,
  /// takes NumVar().
  void SetLength(unsigned int length) { length_ = length; }
  unsigned int GetLength() const { return length_; }
  /// Whether a Hessian is looked at; on by default.
  void SetCheckHessian(bool on) { checkHessian_ = on; }
  bool GetCheckHessian() const { return checkHessian_; }

  /// Checks `f`, which must be set up, at `x` (not changed).
  QZCheckFuncResult Check(QZOpt::QZFunc1& f, const double* x) const;

 private:
  double step_ = 1e-5;
  unsigned int length_ = 0;
  bool checkHessian_ = true;
};

}  // namespace QZMolPotential
