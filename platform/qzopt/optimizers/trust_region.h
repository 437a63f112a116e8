// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <Eigen/Cholesky>

#include "metric.h"

namespace QZOpt {

/// The step of least model energy  g·p + 1/2 pᵀHp  with  pᵀMp <= radius²:
///   (H + lambda M) p = -g,   H + lambda M positive definite,   lambda >= a small floor,
/// found by Newton's iteration on 1/radius - 1/|p| (Moré and Sorensen, SIAM J. Sci. Stat. Comput.
/// 4, 553 (1983)). The floor keeps directions without any curvature, such as overall rotation, out
/// of the step. Cost: one to some five Cholesky factorisations, n³/3 operations each.
class TrustRegionStep {
 public:
  /// `hessian`: lower triangle. False when no step can be found.
  bool Solve(const Eigen::MatrixXd& hessian,
             const Eigen::VectorXd& grad,
             const Metric& metric,
             double radius);

  const Eigen::VectorXd& Step() const { return step_; }
  /// sqrt(pᵀMp).
  double Length() const { return length_; }
  /// Its model energy, below 0.
  double PredictedChange() const { return predicted_; }

 private:
  bool factorise(const Eigen::MatrixXd& hessian, const Metric& metric, double lambda);
  void addSoftestDirection(const Metric& metric, double radius);

  Eigen::LLT<Eigen::MatrixXd, Eigen::Lower> factor_;
  Eigen::MatrixXd shifted_;
  Eigen::VectorXd step_;
  double length_ = 0.0;
  double predicted_ = 0.0;
};

}  // namespace QZOpt
