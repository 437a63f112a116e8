// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/forwarding.h"

namespace QZMolPotential {

class Evaluation;
class FrameMap;

/// A molecule of n atoms without overall motion: Cartesian coordinates (Å) in the frame with atom 0
/// at the origin, atom 1 on the positive x axis and atom 2 in the xy plane, less the six that this
/// fixes at zero.
///   n > 3: x1, x2, y2, x3, y3, z3, x4, …     n = 3: x1, x2, y2     n = 2: x1     n = 1: 0
/// `NumVar()` is 3n - 6 for n > 2 and 1 otherwise. The gradient is exact for a wrapped function
/// that rigid motions do not change; a function of absolute positions (a positional restraint) is
/// evaluated in this frame.
///
/// Quirks that callers rely on: a linear molecule loses six coordinates like any other. Atom 2 is
/// turned to positive y, except when its y (before that turn) is within 1e-6 of zero: then its y
/// becomes what its z was, sign included. Coincident atoms 0 and 1 give NaN. A hole counts as an
/// atom at the coordinates it is given.
/// `Setup` fails: false for an invalid molecule, without a function, or with the wrapped function's
/// own `Setup`. No messages. The gradient is overwritten, not added to.
/// Cost: some 30 flops an atom and evaluation; holds 15n doubles. Evaluation allocates nothing.
class QZ_API QZDegFreeAdaptor : public QZForwardingAdaptor<QZMolAdaptor> {
 public:
  QZDegFreeAdaptor(QZMolFunc1& func, bool own);
  QZDegFreeAdaptor(const QZDegFreeAdaptor&) = delete;
  QZDegFreeAdaptor& operator=(const QZDegFreeAdaptor&) = delete;
  ~QZDegFreeAdaptor() override;

  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Forgets the molecule and clears the wrapped function.
  void Clear() override;

  unsigned int NumVar() const override;
  using QZMolAdaptor::GetVar;
  /// `cartesian`: 3n doubles in any orientation. The result is valid until the next `GetVar` or
  /// `Setup`.
  const double* GetVar(const double* cartesian) override;
  /// Writes 3n doubles in the standard frame, which the variables alone define. False before
  /// `Setup`.
  bool AdaptVar(double* cartesian, const double* vars) const override;
  /// `grad` (NumVar() doubles) is **overwritten** with the kept entries of `cartGrad` (3n).
  bool AdaptGrad(double* grad, const double* cartGrad) const;

  using QZForwardingAdaptor<QZMolAdaptor>::operator();
  double operator()(const double* vars) override;
  double operator()(const double* vars, double* grad) override;

 protected:
  QZDegFreeAdaptor();

 private:
  std::unique_ptr<FrameMap> map_;  // null before Setup
  std::vector<double> degVars_;
  std::unique_ptr<Evaluation> work_;
};

}  // namespace QZMolPotential
