// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "trust_region.h"

#include <algorithm>
#include <cmath>

namespace QZOpt {
namespace {

constexpr int kMaxFactorisations = 60;
// A step this near to the radius, on either side, is long enough.
constexpr double kLengthTolerance = 0.1;
// The smallest lambda, relative to the lambda for which H and lambda M have the same trace.
constexpr double kFloor = 1e-10;
constexpr int kInverseIterations = 3;

// The lambda at which the two matrices have the same trace.
double LikeLambda(const Eigen::MatrixXd& hessian, const Metric& metric) {
  const double trace = hessian.diagonal().cwiseAbs().sum();
  return trace > 0.0 ? trace / metric.Diagonal().sum() : 1.0;
}

}  // namespace

bool TrustRegionStep::factorise(const Eigen::MatrixXd& hessian,
                                const Metric& metric,
                                double lambda) {
  shifted_ = hessian;
  metric.AddTo(lambda, shifted_);
  factor_.compute(shifted_);
  return factor_.info() == Eigen::Success;
}

bool TrustRegionStep::Solve(const Eigen::MatrixXd& hessian,
                            const Eigen::VectorXd& grad,
                            const Metric& metric,
                            double radius) {
  const double like = LikeLambda(hessian, metric);
  const double floor = kFloor * like;
  double low = floor;  // too small, or the least
  double high = 0.0;   // large enough; 0: not known
  double lambda = floor;
  bool found = false;
  bool isHard = false;  // hardly any gradient along the softest direction
  for (int i = 0; i < kMaxFactorisations; ++i) {
    if (!factorise(hessian, metric, lambda)) {
      low = lambda;
      lambda = high > 0.0 ? std::sqrt(low * high) : std::max(10.0 * lambda, 1e-3 * like);
      isHard = high > 0.0 && high < 1.01 * low;
      if (isHard) break;
      continue;
    }
    step_ = factor_.solve(-grad);
    const Eigen::VectorXd image = metric.Times(step_);
    length_ = std::sqrt(step_.dot(image));
    if (!std::isfinite(length_)) return false;
    found = true;
    const double excess = length_ / radius;
    if (excess <= 1.0 + kLengthTolerance) {
      high = lambda;
      if (lambda <= floor || excess >= 1.0 - kLengthTolerance) break;
      isHard = high < 1.01 * low;
      if (isHard) break;
    } else {
      low = lambda;
    }
    // pᵀM (H + lambda M)⁻¹ M p = |L⁻¹Mp|²
    const double slope = factor_.matrixL().solve(image).squaredNorm();
    double next = lambda + length_ * length_ / slope * (excess - 1.0);
    const double top = high > 0.0 ? high : 1e3 * std::max(lambda, 1e-3 * like);
    if (!(next > low && next < top)) next = std::sqrt(low * top);
    lambda = std::max(next, floor);
  }
  if (!found) return false;
  if (isHard && factorise(hessian, metric, high)) {
    step_ = factor_.solve(-grad);
    length_ = std::sqrt(step_.dot(metric.Times(step_)));
    addSoftestDirection(metric, radius);
  }
  if (length_ > radius * (1.0 + kLengthTolerance)) {
    step_ *= radius / length_;
    length_ = radius;
  }
  predicted_ = grad.dot(step_) + 0.5 * step_.dot(hessian.selfadjointView<Eigen::Lower>() * step_);
  return predicted_ < 0.0;
}

// Adds what of the softest eigenvector, by inverse iteration, makes the step as long as the radius.
void TrustRegionStep::addSoftestDirection(const Metric& metric, double radius) {
  Eigen::VectorXd soft(step_.size());
  // An arbitrary start vector, which is hardly ever orthogonal to the eigenvector.
  for (Eigen::Index i = 0; i < soft.size(); ++i) {
    soft[i] = std::sin(1.0 + static_cast<double>(i) * 1.618);
  }
  for (int i = 0; i < kInverseIterations; ++i) {
    soft = factor_.solve(metric.Times(soft));
    soft /= std::sqrt(soft.dot(metric.Times(soft)));
  }
  const double along = step_.dot(metric.Times(soft));
  const double rest = std::max(0.0, radius * radius - length_ * length_);
  // The smaller root of |p + t v| = radius.
  const double root = std::sqrt(along * along + rest);
  step_ += (along > 0.0 ? root - along : -root - along) * soft;
  length_ = radius;
}

}  // namespace QZOpt
