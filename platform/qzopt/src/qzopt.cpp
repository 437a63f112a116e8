// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzopt/qzopt.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "kernels/packed.h"

namespace QZOpt {

QZFunc0::~QZFunc0() = default;
QZAdaptor::~QZAdaptor() = default;
QZAdaptor0::~QZAdaptor0() = default;
QZCheckpoint0::~QZCheckpoint0() = default;
QZConstrFunc::~QZConstrFunc() = default;
QZConstrHessian::~QZConstrHessian() = default;
QZConstrFallBack::~QZConstrFallBack() = default;
QZHessianModel::~QZHessianModel() = default;
QZRestartable::~QZRestartable() = default;
bool QZRestartable::IsRevisionDue(const double* /*x*/) {
  return false;
}
bool QZRestartable::Revise(double* /*x*/, std::vector<QZCurvatureStep>& /*steps*/) {
  return false;
}

bool QZFunc1::CheckVariablesValidity(const double* x) {
  return std::all_of(x, x + NumVar(), [](double value) { return std::isfinite(value); });
}

bool QZFunc1::IsRedundant(const double* x1, const double* x2, double tolerance) const {
  const unsigned int n = NumVar();
  double sum = 0.0;
  for (unsigned int i = 0; i < n; ++i) sum += (x1[i] - x2[i]) * (x1[i] - x2[i]);
  return n == 0 || std::sqrt(sum / n) < tolerance;
}

double NumericHessian(QZFunc1& func, const double* x, double* hessian, double step) {
  const std::size_t n = func.NumVar();
  std::vector<double> shifted(x, x + n);
  std::vector<double> forward(n);
  std::vector<double> backward(n);
  for (std::size_t i = 0; i < n; ++i) {
    // The step as it is represented beside x, so that the quotient's divisor is exact.
    const double up = x[i] + step;
    const double down = x[i] - step;
    std::ranges::fill(forward, 0.0);
    std::ranges::fill(backward, 0.0);
    shifted[i] = up;
    func(shifted.data(), forward.data());
    shifted[i] = down;
    func(shifted.data(), backward.data());
    shifted[i] = x[i];
    for (std::size_t j = 0; j < n; ++j) {
      const double derivative = (forward[j] - backward[j]) / (up - down);
      // Each off-diagonal element is met twice, as (i, j) and (j, i): half from each.
      hessian[QZMolPotential::PackedIndex(std::max(i, j), std::min(i, j))] +=
          i == j ? derivative : 0.5 * derivative;
    }
  }
  return func(x);
}

}  // namespace QZOpt
