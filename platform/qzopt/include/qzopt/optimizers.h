// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

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

/// Quasi-Newton minimiser: dense BFGS while the problem is small, limited memory when it is large.
class QZ_API QZMinimizer {
 public:
  explicit QZMinimizer(QZOptOptions options = {});

  /// Minimises `f` from `x` (NumVar() doubles, in and out). `f` must be set up; it needs no
  /// cleared gradient from the caller. `checkpoint` (not owned, may be null) is called once per
  /// iteration, the start being iteration 0, with state 0 while running and 1 at the end; its
  /// false stops the run. A NaN energy or gradient ends the run with a message; `x` then holds the
  /// best point found.
  QZOptResult Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint = nullptr);

 private:
  QZOptOptions options_;
};

}  // namespace QZOpt
