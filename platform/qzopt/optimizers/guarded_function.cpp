// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "guarded_function.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

#include "kernels/packed.h"

namespace QZOpt {
namespace {

bool AreFinite(const double* values, std::size_t count) {
  return std::all_of(values, values + count, [](double value) { return std::isfinite(value); });
}

}  // namespace

GuardedFunction::GuardedFunction(QZFunc1& func, RunLimits& limits)
    : func_(func), func2_(dynamic_cast<QZFunc2*>(&func)), limits_(limits), numVar_(func.NumVar()) {}

bool GuardedFunction::Evaluate(const double* x, double* energy, double* grad) {
  if (Failed() || stopped_ != nullptr) return false;
  // The first evaluation is always made: a result has an energy.
  if (HasBest()) stopped_ = limits_.ReachedAtEvaluation();
  if (stopped_ != nullptr) return false;
  limits_.CountEvaluation();
  std::fill_n(grad, numVar_, 0.0);
  try {
    *energy = func_(x, grad);
  } catch (const std::exception& error) {
    return fail(std::string("the function failed: ") + error.what());
  }
  if (std::isinf(*energy) && *energy > 0.0) return false;
  if (std::isnan(*energy)) return fail("the energy is not a number");
  if (std::isinf(*energy)) return fail("the energy is not bounded below");
  if (!AreFinite(grad, numVar_)) return fail("the gradient is not finite");
  if (*energy < best_.energy) {
    best_.energy = *energy;
    best_.x.assign(x, x + numVar_);
    best_.grad.assign(grad, grad + numVar_);
  }
  return true;
}

bool GuardedFunction::EvaluateHessian(const double* x, std::vector<double>& hessian) {
  if (func2_ == nullptr) return false;
  hessian.assign(QZMolPotential::PackedSize(numVar_), 0.0);
  try {
    if ((*func2_)(x, hessian.data(), nullptr) && AreFinite(hessian.data(), hessian.size())) {
      return true;
    }
  } catch (const std::exception&) {
    // The run can go on with energy and gradient.
  }
  func2_ = nullptr;
  return false;
}

bool GuardedFunction::fail(std::string reason) {
  failure_ = std::move(reason) + " at evaluation " + std::to_string(limits_.Evaluations());
  return false;
}

double RootMeanSquare(const std::vector<double>& values) {
  if (values.empty()) return 0.0;
  double sum = 0.0;
  for (double value : values) sum += value * value;
  return std::sqrt(sum / static_cast<double>(values.size()));
}

}  // namespace QZOpt
