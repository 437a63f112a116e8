// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "constrained_problem.h"
#include "qzopt/optimizers.h"

namespace QZOpt {

/// One constrained minimisation: the test and report after each iteration, whatever the method,
/// and the best point so far. A method ends with an empty message when it can go no further.
class ConstrainedRun {
 public:
  ConstrainedRun(ConstrainedProblem& problem,
                 const QZOptOptions& options,
                 QZCheckpoint1* checkpoint,
                 const double* x)
      : problem_(problem),
        options_(options),
        checkpoint_(checkpoint),
        x_(x, x + problem.NumVar()) {}

  /// Sequential quadratic programming from the best point.
  void SolveQuadratic();
  /// Augmented Lagrangian around the quasi-Newton minimiser from the best point.
  void SolveAugmented();
  bool Ended() const { return !message_.empty(); }
  /// Settles how a run that ended, or got stuck, is called, and copies the result into `x`.
  QZOptResult Finish(double* x, std::vector<double>& residuals);

  /// Takes `x` as the next iterate. False: the run ends there.
  bool Iterate(const double* x);
  ConstrainedProblem& Problem() { return problem_; }

 private:
  struct Point {
    std::vector<double> x;
    std::vector<double> gradient;  // projected
    std::vector<double> residuals;
    double energy = std::numeric_limits<double>::quiet_NaN();
    double gradientNorm = std::numeric_limits<double>::quiet_NaN();
    double violation = std::numeric_limits<double>::infinity();
  };
  void judge(const Point& point);
  bool report(const Point& point, unsigned int state);
  bool improves(const Point& point) const;
  const std::vector<double>& start() const { return best_.x.empty() ? x_ : best_.x; }

  ConstrainedProblem& problem_;
  const QZOptOptions& options_;
  QZCheckpoint1* checkpoint_;
  std::vector<double> x_;  // the start
  Point best_;
  double previousEnergy_ = std::numeric_limits<double>::infinity();
  bool started_ = false;
  bool converged_ = false;
  bool reported_ = false;  // the end is known to the checkpoint
  std::string message_;
};

}  // namespace QZOpt
