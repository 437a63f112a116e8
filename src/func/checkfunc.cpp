// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/checkfunc.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "kernels/packed.h"

namespace QZMolPotential {
namespace {

// The largest relative error of a central difference of a smooth function; mistakes in derivatives
// are larger.
constexpr double kPlain = 1e-6;

// A derivative by differences and its estimated error.
struct Estimate {
  double value = 0.0;
  double uncertainty = 0.0;
};

double RelativeError(double analytic, const Estimate& numeric) {
  const double off = std::abs(analytic - numeric.value);
  const double scale = std::max({1.0, std::abs(analytic), std::abs(numeric.value)});
  const double error = std::max(0.0, off - numeric.uncertainty) / scale;
  return std::isfinite(off) ? error : std::numeric_limits<double>::infinity();
}

void Compare(QZDerivativeError& worst,
             std::size_t i,
             std::size_t j,
             double analytic,
             const Estimate& numeric) {
  const double error = RelativeError(analytic, numeric);
  if (!(error > worst.error)) return;
  worst = {error,
           static_cast<unsigned int>(std::max(i, j)),
           static_cast<unsigned int>(std::min(i, j)),
           analytic,
           numeric.value,
           numeric.uncertainty};
}

// Difference quotients of one quantity at halved steps h, extrapolated to h = 0 by polynomials in
// h²: column j of a row is free of the error terms up to h^2j. The best entry is the one that
// differs least from its two neighbours, and this difference is its uncertainty.
class Extrapolation {
 public:
  static constexpr std::size_t kLevels = 10;

  void Add(double difference) {
    if (!std::isfinite(difference)) return;
    const std::array<double, kLevels> before = row_;
    row_[0] = difference;
    double factor = 1.0;
    for (std::size_t j = 1; j <= count_; ++j) {
      factor *= 4.0;
      row_[j] = (factor * row_[j - 1] - before[j - 1]) / (factor - 1.0);
      const double off =
          std::max(std::abs(row_[j] - row_[j - 1]), std::abs(row_[j] - before[j - 1]));
      if (off <= best_.uncertainty) best_ = {row_[j], off};
    }
    ++count_;
  }
  // Not finite unless two differences were.
  Estimate Best() const { return best_; }

 private:
  std::array<double, kLevels> row_{};
  std::size_t count_ = 0;
  Estimate best_{std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::max()};
};

// Compares given derivatives of a vector of quantities (the energy, or the gradient), which
// evaluate(x, out) computes, with differences along each variable.
template <class Evaluate>
class Differences {
 public:
  Differences(std::vector<double>& x, std::size_t quantities, double step, Evaluate evaluate)
      : x_(x),
        step_(step),
        evaluate_(evaluate),
        up_(quantities),
        down_(quantities),
        noise_(quantities),
        plain_(quantities) {}

  // Calls found(i, q, estimate) for each variable i and quantity q; analytic(i, q) is what the
  // estimate should be.
  template <class Analytic, class Found>
  void ForEach(Analytic analytic, Found found) {
    for (std::size_t i = 0; i < x_.size(); ++i) {
      const double step = step_ * std::max(1.0, std::abs(x_[i]));
      takeDifference(i, step);
      bool good = true;
      for (std::size_t q = 0; q < plain_.size(); ++q) {
        plain_[q] = {up_[q], noise_[q] > kPlain ? noise_[q] : 0.0};
        good = good && RelativeError(analytic(i, q), plain_[q]) <= kPlain;
      }
      if (!good) extrapolate(i, step);
      for (std::size_t q = 0; q < plain_.size(); ++q) {
        Estimate best = plain_[q];
        if (!good) {
          const Estimate other = table_[q].Best();
          if (RelativeError(analytic(i, q), other) < RelativeError(analytic(i, q), best)) {
            best = other;
          }
        }
        found(i, q, best);
      }
    }
  }

 private:
  // Leaves (f(x + h) - f(x - h)) / 2h in up_, and what rounding may make of it in noise_: the sum
  // of many terms is right to a few units in its last digits.
  void takeDifference(std::size_t i, double h) {
    const double centre = x_[i];
    const double above = centre + h;
    const double below = centre - h;
    x_[i] = above;
    evaluate_(x_, up_);
    x_[i] = below;
    evaluate_(x_, down_);
    x_[i] = centre;
    constexpr double kRounding = 32.0 * std::numeric_limits<double>::epsilon();
    for (std::size_t q = 0; q < up_.size(); ++q) {
      noise_[q] = kRounding * std::max(std::abs(up_[q]), std::abs(down_[q])) / (above - below);
      up_[q] = (up_[q] - down_[q]) / (above - below);
    }
  }
  void extrapolate(std::size_t i, double step) {
    table_.assign(up_.size(), {});
    for (std::size_t level = 0; level < Extrapolation::kLevels; ++level) {
      takeDifference(i, step * std::ldexp(4.0, -static_cast<int>(level)));
      for (std::size_t q = 0; q < up_.size(); ++q) table_[q].Add(up_[q]);
    }
  }

  std::vector<double>& x_;
  double step_;
  Evaluate evaluate_;
  std::vector<double> up_;
  std::vector<double> down_;
  std::vector<double> noise_;
  std::vector<Estimate> plain_;
  std::vector<Extrapolation> table_;
};

void CheckGradient(QZDerivativeError& worst,
                   QZOpt::QZFunc1& f,
                   std::vector<double>& x,
                   double step,
                   const std::vector<double>& gradient) {
  const auto energy = [&f](const std::vector<double>& at, std::vector<double>& out) {
    out[0] = f(at.data());
  };
  Differences(x, 1, step, energy)
      .ForEach([&](std::size_t i, std::size_t) { return gradient[i]; },
               [&](std::size_t i, std::size_t, const Estimate& e) {
                 Compare(worst, i, i, gradient[i], e);
               });
}

void CheckHessian(QZDerivativeError& worst,
                  QZOpt::QZFunc1& f,
                  std::vector<double>& x,
                  double step,
                  const std::vector<double>& hessian) {
  const auto gradient = [&f](const std::vector<double>& at, std::vector<double>& out) {
    std::ranges::fill(out, 0.0);
    f(at.data(), out.data());
  };
  const auto element = [&hessian](std::size_t i, std::size_t j) {
    return hessian[PackedIndex(std::max(i, j), std::min(i, j))];
  };
  Differences(x, x.size(), step, gradient)
      .ForEach(element, [&](std::size_t i, std::size_t j, const Estimate& e) {
        Compare(worst, i, j, element(i, j), e);
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
  result.energyMismatch = RelativeError(f(point.data(), gradient.data()), {result.energy, 0.0});
  CheckGradient(result.gradient, f, point, step_, gradient);

  auto* f2 = checkHessian_ ? dynamic_cast<QZOpt::QZFunc2*>(&f) : nullptr;
  if (f2 == nullptr) return result;
  std::vector<double> hessian(PackedSize(n), 0.0);
  std::vector<double> gradientOfHessian(n, 0.0);
  result.hasHessian = (*f2)(point.data(), hessian.data(), gradientOfHessian.data());
  result.hessianFailed = !result.hasHessian;
  if (!result.hasHessian) return result;
  CheckHessian(result.hessian, f, point, step_, hessian);
  for (std::size_t i = 0; i < n; ++i) {
    Compare(result.hessianGradient, i, i, gradientOfHessian[i], {gradient[i], 0.0});
  }
  return result;
}

}  // namespace QZMolPotential
