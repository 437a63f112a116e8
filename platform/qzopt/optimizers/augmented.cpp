// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "constrained_run.h"

namespace QZOpt {
namespace {

constexpr int kMaxOuterIterations = 60;
// The penalty's curvature along a constraint beside that of the energy: the residual shrinks by
// about this factor in an outer iteration.
constexpr double kPenaltyRatio = 10.0;
constexpr double kPenaltyGrowth = 10.0;
constexpr double kLargestPenaltyGrowth = 1e6;
// A residual that shrinks less than this calls for a larger penalty.
constexpr double kSufficientShrinkage = 0.25;

// L(x) = E + sum of (lambda_i c_i + 1/2 mu_i c_i^2) (Hestenes, J. Optim. Theory Appl. 4, 303
// (1969); Nocedal and Wright, Numerical Optimization, 2nd ed., section 17.3).
class AugmentedFunction final : public QZFunc1 {
 public:
  AugmentedFunction(ConstrainedProblem& problem, std::vector<double> penalties)
      : problem_(problem),
        multipliers_(problem.NumConstraints(), 0.0),
        penalties_(std::move(penalties)) {}

  unsigned int NumVar() const override { return static_cast<unsigned int>(problem_.NumVar()); }
  double operator()(const double* x) override {
    std::vector<double> unused(NumVar());
    return (*this)(x, unused.data());
  }
  double operator()(const double* x, double* grad) override;
  QZSystem::QZIterBase<QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZFComponent>();
  }

  double& Multiplier(std::size_t i) { return multipliers_[i]; }
  double& Penalty(std::size_t i) { return penalties_[i]; }

 private:
  ConstrainedProblem& problem_;
  std::vector<double> multipliers_;
  std::vector<double> penalties_;
};

double AugmentedFunction::operator()(const double* x, double* grad) {
  if (!problem_.Evaluate(x)) {
    return problem_.Failed() ? std::numeric_limits<double>::quiet_NaN()
                             : std::numeric_limits<double>::infinity();
  }
  double value = problem_.Energy();
  for (std::size_t j = 0; j < problem_.NumVar(); ++j) grad[j] += problem_.Gradient()[j];
  for (std::size_t i = 0; i < multipliers_.size(); ++i) {
    const double c = problem_.Residuals()[i];
    const double slope = multipliers_[i] + penalties_[i] * c;
    value += c * (multipliers_[i] + 0.5 * penalties_[i] * c);
    const std::vector<double>& row = problem_.Row(i);
    for (std::size_t j = 0; j < row.size(); ++j) grad[j] += slope * row[j];
  }
  return value;
}

// The inner minimiser's iterations are the run's.
class InnerCheckpoint final : public QZCheckpoint1 {
 public:
  explicit InnerCheckpoint(ConstrainedRun& run) : run_(run) {}
  bool operator()(unsigned int, unsigned int, double, const double*, unsigned int) override {
    return true;
  }
  bool operator()(unsigned int iteration,
                  unsigned int,
                  double,
                  double,
                  const double* x,
                  const double*,
                  unsigned int) override {
    // Later inner runs start from a point that was an iterate already.
    const bool known = iteration == 0 && started_;
    started_ = true;
    return known || run_.Iterate(x);
  }

 private:
  ConstrainedRun& run_;
  bool started_ = false;
};

std::vector<double> StartingPenalties(ConstrainedProblem& problem) {
  std::vector<double> penalties;
  for (std::size_t i = 0; i < problem.NumConstraints(); ++i) {
    double length2 = 0.0;
    for (double entry : problem.Row(i)) length2 += entry * entry;
    const double curvature = std::abs(problem.CurvatureAlong(i));
    const double penalty = length2 > 0.0 ? kPenaltyRatio * curvature / length2 : 0.0;
    penalties.push_back(std::isfinite(penalty) && penalty > 0.0 ? penalty : kPenaltyRatio);
  }
  return penalties;
}

}  // namespace

void ConstrainedRun::SolveAugmented() {
  std::vector<double> x = start();
  if (!problem_.Evaluate(x.data())) {
    message_ = problem_.Failed() ? problem_.Failure() : "the energy is infinite at the start";
    return;
  }
  AugmentedFunction lagrangian(problem_, StartingPenalties(problem_));
  std::vector<double> growth(problem_.NumConstraints(), 1.0);
  std::vector<double> previous = problem_.Residuals();
  InnerCheckpoint inner(*this);
  QZOptOptions options;
  options.maxIterations = std::numeric_limits<unsigned int>::max() / 16;
  options.gradientTolerance =
      std::max(options_.gradientTolerance, 0.1 * RootMeanSquare(problem_.Gradient()));
  for (int outer = 0; outer < kMaxOuterIterations; ++outer) {
    QZMinimizer(options).Minimize(lagrangian, x.data(), &inner);
    if (Ended() || !problem_.Evaluate(x.data())) return;
    bool stuck = true;  // nothing shrinks and no penalty can grow
    for (std::size_t i = 0; i < previous.size(); ++i) {
      const double c = problem_.Residuals()[i];
      lagrangian.Multiplier(i) += lagrangian.Penalty(i) * c;
      const bool shrinks = std::abs(c) <= kSufficientShrinkage * std::abs(previous[i]) ||
                           std::abs(c) <= problem_.Tolerance(i);
      if (!shrinks && growth[i] < kLargestPenaltyGrowth) {
        growth[i] *= kPenaltyGrowth;
        lagrangian.Penalty(i) *= kPenaltyGrowth;
        stuck = false;
      } else if (shrinks && std::abs(c) > problem_.Tolerance(i)) {
        stuck = false;
      }
      previous[i] = c;
    }
    const bool tightest = options.gradientTolerance <= options_.gradientTolerance;
    if (stuck && tightest) return;
    options.gradientTolerance =
        std::max(options_.gradientTolerance, 0.1 * options.gradientTolerance);
  }
}

}  // namespace QZOpt
