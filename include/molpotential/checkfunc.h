// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzopt/function.h"

namespace QZMolPotential {

/// The entry of an array of derivatives with the largest error.
struct QZDerivativeError {
  /// max(0, |analytic - numeric| - uncertainty) / max(1, |analytic|, |numeric|); infinite when a
  /// derivative is not finite.
  double error = 0.0;
  /// Index of the variable; for a Hessian element the larger of its two indices.
  unsigned int variable = 0;
  /// For a Hessian element the smaller index, otherwise equal to `variable`.
  unsigned int otherVariable = 0;
  double analytic = 0.0;
  double numeric = 0.0;
  /// Estimated error of `numeric`; 0 when a single difference quotient agreed well enough.
  double uncertainty = 0.0;
};

/// What `QZCheckFunc` has found.
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
  /// The gradient that the Hessian call adds, compared with that of the gradient call.
  QZDerivativeError hessianGradient;

  /// True when nothing failed and every error is at most `tolerance`; false on NaN.
  bool Passes(double tolerance) const;
};

/// Checks derivatives: the gradient of a function against central differences of its energy, and
/// the Hessian of a `QZOpt::QZFunc2` against central differences of its gradient.
///   f'(x) ~ (f(x+h) - f(x-h)) / 2h,  h = step max(1, |x|)
/// Where the difference and the derivative disagree, for example near a straight angle, where h is
/// too long, differences with ever shorter steps are extrapolated to h = 0. The extrapolation also
/// estimates its own error; only a deviation beyond that uncertainty is reported. How to read the
/// result: errors up to 1e-6 come from the difference quotient, an error around 1 is a mistake in
/// the derivative. At a kink of the function, and where atoms overlap so that the rounding of a
/// huge energy hides the slopes of other atoms, the uncertainty is large.
/// Cost: 2n energies and, for the Hessian, 2n gradients, up to ten times as many for the variables
/// that disagree; holds n(n+1)/2 + 24n doubles during the call. Source: Ridders, Adv. Eng. Software
/// 4, 75 (1982).
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
  /// Sets the length of the variable and gradient arrays for functions whose NumVar() differs from
  /// it, such as a penalty that counts the variables of its own four atoms but takes the
  /// coordinates of the whole molecule. 0, the default, stands for NumVar().
  void SetLength(unsigned int length) { length_ = length; }
  unsigned int GetLength() const { return length_; }
  /// Sets whether the Hessian is checked; on by default.
  void SetCheckHessian(bool on) { checkHessian_ = on; }
  bool GetCheckHessian() const { return checkHessian_; }

  /// Checks `f`, which must be set up, at `x` (`GetLength()` or NumVar() doubles, in).
  QZCheckFuncResult Check(QZOpt::QZFunc1& f, const double* x) const;

 private:
  double step_ = 1e-5;
  unsigned int length_ = 0;
  bool checkHessian_ = true;
};

}  // namespace QZMolPotential
