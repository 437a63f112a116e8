// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "newton.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>
#include <vector>

#include "trust_region.h"

namespace QZOpt {
namespace {

// Fractions of the predicted gain (Nocedal and Wright, Numerical Optimization, 2nd ed., algorithm
// 4.1) below which a step is refused, the region shrinks, and above which it grows.
constexpr double kRefuse = 1e-4;
constexpr double kShrink = 0.25;
constexpr double kGrow = 0.75;
constexpr int kMaxRefusals = 40;

// What each variable alone may move in the first step, in its scale.
constexpr double kFirstMove = 0.1;

class NewtonRun {
 public:
  NewtonRun(RunState& state, Metric& metric, QZHessianModel* model)
      : state_(state), metric_(metric), model_(model), n_(state.Func().NumVar()) {}

  void Run();

 private:
  bool takeHessian();
  bool takeStep();
  double firstRadius();

  RunState& state_;
  Metric& metric_;
  QZHessianModel* model_;
  std::size_t n_;
  std::vector<double> packed_;
  Eigen::MatrixXd hessian_;
  TrustRegionStep step_;
  double radius_ = 0.0;
};

bool NewtonRun::takeHessian() {
  if (!state_.Func().EvaluateHessian(state_.Current().x.data(), packed_)) return false;
  hessian_ = LowerTriangle(packed_, n_);
  metric_.TakeModel(model_, state_.Current().x.data());
  return true;
}

double NewtonRun::firstRadius() {
  const Eigen::VectorXd diagonal = metric_.Diagonal();
  double sum = 0.0;
  for (std::size_t i = 0; i < n_; ++i) {
    const double move = kFirstMove * metric_.Scale(i);
    sum += diagonal[static_cast<Eigen::Index>(i)] * move * move;
  }
  return std::sqrt(sum);
}

// Tries steps from the current point, shorter and shorter ones, until one is taken.
bool NewtonRun::takeStep() {
  const Point& current = state_.Current();
  const auto n = static_cast<Eigen::Index>(n_);
  const Eigen::Map<const Eigen::VectorXd> grad(current.grad.data(), n);
  Point trial;
  trial.x.resize(n_);
  trial.grad.resize(n_);
  for (int refusals = 0; refusals < kMaxRefusals; ++refusals) {
    if (!step_.Solve(hessian_, grad, metric_, radius_)) return false;
    for (std::size_t i = 0; i < n_; ++i) {
      trial.x[i] = current.x[i] + step_.Step()[static_cast<Eigen::Index>(i)];
    }
    double ratio = -1.0;
    if (state_.Func().Evaluate(trial.x.data(), &trial.energy, trial.grad.data())) {
      const double change = trial.energy - current.energy;
      ratio = change / step_.PredictedChange();
      // Where rounding hides the gain, a smaller gradient is the gain.
      if (state_.IsWithinRounding(step_.PredictedChange()) && state_.IsWithinRounding(change)) {
        ratio = RootMeanSquare(trial.grad) < state_.GradientNorm() ? 1.0 : -1.0;
      }
    } else if (state_.Func().Failed() || state_.Func().Stopped() != nullptr) {
      return false;
    }
    if (!(ratio >= kShrink)) {
      radius_ = 0.25 * std::min(radius_, step_.Length());
    } else if (ratio > kGrow && step_.Length() > 0.8 * radius_) {
      radius_ *= 2.0;
    }
    if (ratio > kRefuse) return state_.Iterate(std::move(trial));
  }
  return false;
}

void NewtonRun::Run() {
  try {
    while (!state_.Ended() && takeHessian()) {
      if (radius_ == 0.0) radius_ = firstRadius();
      if (!takeStep()) return;
      std::vector<QZCurvatureStep> none;  // the next Hessian is computed
      if (state_.IsRevisionDue() && !state_.Revise(none)) return;
    }
  } catch (const std::bad_alloc&) {
    // As if there were no Hessian.
  }
}

}  // namespace

void RunNewton(RunState& state, Metric& metric, QZHessianModel* model) {
  NewtonRun(state, metric, model).Run();
}

}  // namespace QZOpt
