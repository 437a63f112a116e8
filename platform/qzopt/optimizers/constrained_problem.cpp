// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constrained_problem.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace QZOpt {
namespace {

// Step of the difference quotients, relative to the largest variable: truncation and rounding
// both stay near 1e-10.
constexpr double kStep = 1e-5;
// Gradients this close to the measured derivative are taken as they are.
constexpr double kRightLength = 1e-6;
// A constraint that changes by less than this part of its tolerance where the variables change by 1
// does not depend on them: a bond length of a rigid body. What is left of its gradient is rounding,
// which points anywhere.
constexpr double kRounding = 1e-3;

double Norm(const std::vector<double>& values) {
  return RootMeanSquare(values) * std::sqrt(static_cast<double>(values.size()));
}

double StepFor(const std::vector<double>& x) {
  double largest = 1.0;
  for (double value : x) largest = std::max(largest, std::abs(value));
  return kStep * largest;
}

}  // namespace

ConstrainedProblem::ConstrainedProblem(QZFunc1& func,
                                       const std::vector<ConstraintEntry>& constraints,
                                       RunLimits& limits)
    : func_(func, limits),
      constraints_(constraints),
      values_(constraints.size()),
      rows_(constraints.size(), std::vector<double>(func_.NumVar())),
      trialGrad_(func_.NumVar()) {}

bool ConstrainedProblem::Evaluate(const double* x) {
  if (Failed()) return false;
  const std::size_t n = NumVar();
  if (!x_.empty() && std::equal(x_.begin(), x_.end(), x)) return true;
  double energy;
  if (!func_.Evaluate(x, &energy, trialGrad_.data())) return false;
  for (std::size_t i = 0; i < constraints_.size(); ++i) {
    if (!evaluateConstraint(i, x)) return false;
  }
  x_.assign(x, x + n);
  energy_ = energy;
  grad_ = trialGrad_;
  return true;
}

bool ConstrainedProblem::evaluateConstraint(std::size_t constraint, const double* x) {
  QZConstrFunc& func = *constraints_[constraint].func;
  std::vector<double>& row = rows_[constraint];
  std::ranges::fill(row, 0.0);
  try {
    values_[constraint] = func(x, row.data());
    const double length = Norm(row);
    if (!std::isfinite(values_[constraint]) || !std::isfinite(length)) {
      return fail(constraint, "is not finite");
    }
    if (length <= kRounding * constraints_[constraint].tolerance) {
      std::ranges::fill(row, 0.0);
      return true;
    }
    shifted_.assign(x, x + NumVar());
    const double step = StepFor(shifted_);
    for (std::size_t i = 0; i < row.size(); ++i) shifted_[i] = x[i] + step * row[i] / length;
    const double forward = func(shifted_.data());
    for (std::size_t i = 0; i < row.size(); ++i) shifted_[i] = x[i] - step * row[i] / length;
    const double derivative = (forward - func(shifted_.data())) / (2.0 * step);
    const double scale = derivative / length;
    if (std::isfinite(scale) && std::abs(scale - 1.0) > kRightLength) {
      for (double& entry : row) entry *= scale;
    }
    return true;
  } catch (const std::exception& error) {
    return fail(constraint, std::string("failed: ") + error.what());
  }
}

bool ConstrainedProblem::fail(std::size_t constraint, const std::string& reason) {
  x_.clear();  // the values are no longer those of the latest point
  failure_ = "constraint " + std::to_string(constraint + 1) + " " + reason;
  return false;
}

std::vector<double> ConstrainedProblem::Residuals() const {
  std::vector<double> residuals;
  for (std::size_t i = 0; i < values_.size(); ++i) {
    residuals.push_back(constraints_[i].Excess(values_[i]));
  }
  return residuals;
}

MultiplierSign ConstrainedProblem::signOf(std::size_t constraint) const {
  const ConstraintEntry& entry = constraints_[constraint];
  const bool atLower = values_[constraint] <= entry.lower + entry.tolerance;
  const bool atUpper = values_[constraint] >= entry.upper - entry.tolerance;
  if (atLower && atUpper) return MultiplierSign::Any;
  if (atLower) return MultiplierSign::NotNegative;
  return atUpper ? MultiplierSign::NotPositive : MultiplierSign::Zero;
}

MultiplierFit ConstrainedProblem::Multipliers() const {
  std::vector<MultiplierSign> signs;
  for (std::size_t i = 0; i < values_.size(); ++i) signs.push_back(signOf(i));
  return FitMultipliers(grad_, rows_, signs);
}

double ConstrainedProblem::CurvatureAlong(std::size_t constraint) {
  std::vector<double> direction = rows_[constraint];
  const double length = Norm(direction);
  if (length == 0.0) return 0.0;
  for (double& entry : direction) entry /= length;
  const double step = StepFor(x_);
  shifted_ = x_;
  for (std::size_t i = 0; i < direction.size(); ++i) shifted_[i] += step * direction[i];
  double energy;
  if (!func_.Evaluate(shifted_.data(), &energy, trialGrad_.data())) return 0.0;
  double change = 0.0;
  for (std::size_t i = 0; i < direction.size(); ++i) {
    change += direction[i] * (trialGrad_[i] - grad_[i]);
  }
  return change / step;
}

}  // namespace QZOpt
