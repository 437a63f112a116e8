// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "guarded_function.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace QZOpt {

bool GuardedFunction::Evaluate(const double* x, double* energy, double* grad) {
  if (Failed()) return false;
  ++evaluations_;
  std::fill_n(grad, numVar_, 0.0);
  try {
    *energy = func_(x, grad);
  } catch (const std::exception& error) {
    return fail(std::string("the function failed: ") + error.what());
  }
  if (std::isinf(*energy) && *energy > 0.0) return false;
  if (std::isnan(*energy)) return fail("the energy is not a number");
  if (std::isinf(*energy)) return fail("the energy is not bounded below");
  if (!std::all_of(grad, grad + numVar_, [](double g) { return std::isfinite(g); })) {
    return fail("the gradient is not finite");
  }
  if (*energy < bestEnergy_) {
    bestEnergy_ = *energy;
    bestX_.assign(x, x + numVar_);
    bestGrad_.assign(grad, grad + numVar_);
  }
  return true;
}

bool GuardedFunction::fail(std::string reason) {
  failure_ = std::move(reason) + " at evaluation " + std::to_string(evaluations_);
  return false;
}

double RootMeanSquare(const std::vector<double>& values) {
  if (values.empty()) return 0.0;
  double sum = 0.0;
  for (double value : values) sum += value * value;
  return std::sqrt(sum / static_cast<double>(values.size()));
}

}  // namespace QZOpt
