// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run_state.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace QZOpt {
namespace {

// Energies are sums of many terms, each rounded: digits beyond this many are not told apart.
constexpr double kEnergyRounding = 1e-11;

constexpr const char* kConverged = "converged: the gradient is below the tolerance";

}  // namespace

void RunState::Start(const double* x) {
  Point point;
  point.x.assign(x, x + func_.NumVar());
  point.grad.resize(func_.NumVar());
  if (!func_.Evaluate(x, &point.energy, point.grad.data())) {
    ended_ = true;
    message_ = func_.Failed() ? func_.Failure() : "the energy is infinite at the start";
    return;
  }
  current_ = std::move(point);
  gradientNorm_ = RootMeanSquare(current_.grad);
  judge();
  if (!continues_) reportIterate();
}

bool RunState::Iterate(Point point) {
  if (ended_) return false;
  func_.Limits().CountIteration();
  previousEnergy_ = current_.energy;
  current_ = std::move(point);
  gradientNorm_ = RootMeanSquare(current_.grad);
  judge();
  reportIterate();
  return !ended_;
}

bool RunState::Revise(std::vector<QZCurvatureStep>& steps) {
  if (!revisable_->Revise(current_.x.data(), steps)) {
    revisable_ = nullptr;
    return !ended_;
  }
  ++revisions_;
  func_.ForgetBest();
  if (!func_.Evaluate(current_.x.data(), &current_.energy, current_.grad.data())) {
    End("the energy is infinite in the variables chosen on the way");
    return false;
  }
  gradientNorm_ = RootMeanSquare(current_.grad);
  judgeGradient();
  return !ended_;
}

void RunState::reportIterate() {
  if (report(ended_ ? 1 : 0) || ended_) return;
  ended_ = stopped_ = reported_ = true;
  message_ = "stopped by the checkpoint";
}

bool RunState::judgeGradient() {
  if (!(gradientNorm_ <= options_.gradientTolerance)) return false;
  ended_ = converged_ = true;
  message_ = kConverged;
  return true;
}

void RunState::judge() {
  if (judgeGradient()) return;
  const char* limit = func_.Limits().ReachedAtIteration();
  if (limit != nullptr) {
    ended_ = stopped_ = true;
    message_ = limit;
  } else if (options_.energyTolerance > 0.0 &&
             std::abs(previousEnergy_ - current_.energy) < options_.energyTolerance) {
    ended_ = stopped_ = true;
    message_ = "stopped: the energy changes by less than the tolerance";
  }
}

void RunState::ReportEnd() {
  if (HasStarted() && !reported_) report(1);
}

bool RunState::report(unsigned int state) {
  reported_ = ended_;
  return checkpoint_ == nullptr || (*checkpoint_)(func_.Limits().Iterations(),
                                                  static_cast<unsigned int>(func_.NumVar()),
                                                  current_.energy,
                                                  gradientNorm_,
                                                  current_.x.data(),
                                                  current_.grad.data(),
                                                  state);
}

bool RunState::IsWithinRounding(double energyChange) const {
  return std::abs(energyChange) <= kEnergyRounding * std::max(1.0, std::abs(current_.energy));
}

void RunState::ReturnToBest() {
  if (!func_.HasBest() || !(func_.Best().energy < current_.energy)) return;
  // The lower of two energies that differ by rounding is no better: the gradient tells.
  const double norm = RootMeanSquare(func_.Best().grad);
  if (IsWithinRounding(func_.Best().energy - current_.energy) && norm > gradientNorm_) return;
  current_ = func_.Best();
  gradientNorm_ = norm;
}

void RunState::End(const std::string& message) {
  if (ended_) return;
  ended_ = true;
  ReturnToBest();
  if (func_.Stopped() != nullptr) {
    message_ = func_.Stopped();
    stopped_ = true;
  } else {
    message_ = func_.Failed() ? func_.Failure() : message;
  }
  converged_ = gradientNorm_ <= options_.gradientTolerance && !func_.Failed();
  if (converged_) message_ = kConverged;
}

}  // namespace QZOpt
