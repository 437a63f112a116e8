// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/checkfunc.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace QZMolPotential {
namespace {

double RelativeError(double analytic, double numeric) {
  const double scale = std::max({1.0, std::abs(analytic), std::abs(numeric)});
  const double error = std::abs(analytic - numeric) / scale;
  return std::isfinite(error) ? error : std::numeric_limits<double>::infinity();
}

void Compare(
    QZDerivativeError& worst, std::size_t i, std::size_t j, double analytic, double numeric) {
  const double error = RelativeError(analytic, numeric);
  if (!(error > worst.error)) return;
  worst = {error,
           static_cast<unsigned int>(std::max(i, j)),
           static_cast<unsigned int>(std::min(i, j)),
           analytic,
           numeric};
}

// Calls visit(i, h) with x shifted by h and by -h along each variable in turn; the shifted array is
// handed to `visit` by the caller's capture.
template <class Forward, class Backward, class Visit>
void ForEachDifference(
    std::vector<double>& x, double step, Forward forward, Backward backward, Visit visit) {
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double centre = x[i];
    const double h = step * std::max(1.0, std::abs(centre));
    const double up = centre + h;
    const double down = centre - h;
    x[i] = up;
    forward();
    x[i] = down;
    backward();
    x[i] = centre;
    visit(i, up - down);
  }
}

void CheckGradient(QZDerivativeError& worst,
                   QZOpt::QZFunc1& f,
                   std::vector<double>& x,
                   double step,
                   const std::vector<double>& gradient) {
  double up = 0.0;
  double down = 0.0;
  ForEachDifference(
      x,
      step,
      [&] { up = f(x.data()); },
      [&] { down = f(x.data()); },
      [&](std::size_t i, double width) { Compare(worst, i, i, gradient[i], (up - down) / width); });
}

void CheckHessian(QZDerivativeError& worst,
                  QZOpt::QZFunc1& f,
                  std::vector<double>& x,
                  double step,
                  const std::vector<double>& hessian) {
  const std::size_t n = x.size();
  std::vector<double> up(n);
  std::vector<double> down(n);
  const auto gradientInto = [&](std::vector<double>& gradient) {
    std::ranges::fill(gradient, 0.0);
    f(x.data(), gradient.data());
  };
  ForEachDifference(
      x,
      step,
      [&] { gradientInto(up); },
      [&] { gradientInto(down); },
      [&](std::size_t i, double width) {
        for (std::size_t j = 0; j < n; ++j) {
          const std::size_t row = std::max(i, j);
          const std::size_t column = std::min(i, j);
          Compare(worst, i, j, hessian[row * (row + 1) / 2 + column], (up[j] - down[j]) / width);
        }
      });
}

}  // namespace

bool QZCheckFuncResult::Passes(double tolerance) const {
  return !hessianFailed && energyMismatch <= tolerance && gradient.error <= tolerance &&
         hessian.error <= tolerance && hessianGradient.error <= tolerance;
}

QZCheckFunc::QZCheckFunc() = default;
QZCheckFunc::QZCheckFunc(const QZCheckFunc& other) = default;
QZCheckFunc& QZCheckFunc::operator=(const QZCheckFunc& other) = default;
QZCheckFunc::~QZCheckFunc() = default;

bool QZCheckFunc::SetStep(double step) {
  if (!std::isfinite(step) || !(step > 0.0)) return false;
  step_ = step;
  return true;
}

QZCheckFuncResult QZCheckFunc::Check(QZOpt::QZFunc1& f, const double* x) const {
  const std::size_t n = length_ != 0 ? length_ : f.NumVar();
  std::vector<double> point(x, x + n);
  std::vector<double> gradient(n, 0.0);
  QZCheckFuncResult result;
  result.energy = f(point.data());
  result.energyMismatch = RelativeError(f(point.data(), gradient.data()), result.energy);
  CheckGradient(result.gradient, f, point, step_, gradient);

  auto* f2 = checkHessian_ ? dynamic_cast<QZOpt::QZFunc2*>(&f) : nullptr;
  if (f2 == nullptr) return result;
  std::vector<double> hessian(n * (n + 1) / 2, 0.0);
  std::vector<double> gradientOfHessian(n, 0.0);
  result.hasHessian = (*f2)(point.data(), hessian.data(), gradientOfHessian.data());
  result.hessianFailed = !result.hasHessian;
  if (!result.hasHessian) return result;
  CheckHessian(result.hessian, f, point, step_, hessian);
  for (std::size_t i = 0; i < n; ++i) {
    Compare(result.hessianGradient, i, i, gradientOfHessian[i], gradient[i]);
  }
  return result;
}

}  // namespace QZMolPotential
