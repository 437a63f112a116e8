// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace QZMolPotential {

/// A number with its derivatives along `N` directions, for forward differentiation: a formula
/// written as a template over its number type also computes derivatives when the type is this one.
template <std::size_t N>
struct Dual {
  double value = 0.0;
  std::array<double, N> slope{};

  constexpr Dual() = default;
  constexpr Dual(double v) : value(v) {}  // a constant; implicit, so that formulas read as usual

  constexpr Dual& operator+=(const Dual& b) { return *this = *this + b; }
  constexpr Dual& operator-=(const Dual& b) { return *this = *this - b; }

  friend constexpr Dual operator+(Dual a, const Dual& b) {
    a.value += b.value;
    for (std::size_t k = 0; k < N; ++k) a.slope[k] += b.slope[k];
    return a;
  }
  friend constexpr Dual operator-(Dual a, const Dual& b) {
    a.value -= b.value;
    for (std::size_t k = 0; k < N; ++k) a.slope[k] -= b.slope[k];
    return a;
  }
  friend constexpr Dual operator-(const Dual& a) { return a.chained(-a.value, -1.0); }
  friend constexpr Dual operator*(const Dual& a, const Dual& b) {
    Dual c(a.value * b.value);
    for (std::size_t k = 0; k < N; ++k) c.slope[k] = a.slope[k] * b.value + a.value * b.slope[k];
    return c;
  }
  friend constexpr Dual operator/(const Dual& a, const Dual& b) {
    const double per = 1.0 / b.value;
    Dual c(a.value * per);
    for (std::size_t k = 0; k < N; ++k) c.slope[k] = (a.slope[k] - c.value * b.slope[k]) * per;
    return c;
  }
  friend Dual sqrt(const Dual& a) {
    const double root = std::sqrt(a.value);
    return a.chained(root, root > 0.0 ? 0.5 / root : 0.0);
  }
  friend Dual sin(const Dual& a) { return a.chained(std::sin(a.value), std::cos(a.value)); }
  friend Dual cos(const Dual& a) { return a.chained(std::cos(a.value), -std::sin(a.value)); }

 private:
  constexpr Dual chained(double v, double derivative) const {
    Dual c(v);
    for (std::size_t k = 0; k < N; ++k) c.slope[k] = derivative * slope[k];
    return c;
  }
};

template <std::size_t N>
double ValueOf(const Dual<N>& a) {
  return a.value;
}

}  // namespace QZMolPotential
