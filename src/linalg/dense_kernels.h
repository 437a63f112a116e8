// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>
#include <cstddef>

// What is common to the dense solvers beside the vector loops of dense_loops.h.
namespace QZMolPotential::Dense {

/// Largest absolute value; NaN when there is one.
inline double MaxAbs(const double* x, std::size_t n) {
  double largest = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const double value = std::abs(x[i]);
    if (!(value <= largest)) largest = value;
    if (std::isnan(largest)) break;
  }
  return largest;
}

/// Power of two that brings numbers of size `largest` to about 1 without rounding; 1 for zero.
inline int ScaleExponent(double largest) {
  int exponent = 0;
  std::frexp(largest, &exponent);
  return exponent;
}

/// x *= 2^exponent. In two factors, since one alone may overflow.
inline void ScaleByPower(int exponent, double* x, std::size_t n) {
  if (exponent == 0) return;
  const double half = std::ldexp(1.0, exponent / 2);
  const double rest = std::ldexp(1.0, exponent - exponent / 2);
  for (std::size_t i = 0; i < n; ++i) x[i] = x[i] * half * rest;
}

/// A reflection x -> x + factor (u·x) u that takes the vector from which u was made to `value`
/// times one of its unit vectors; factor -2/|u|², 0 for none.
struct Reflector {
  double factor = 0.0;
  double value = 0.0;
};

/// The reflector that takes a vector with the squared norm `square` to a multiple of its unit
/// vector `pivot`, an element of it; u stands in its place afterwards. None, and the element's own
/// value, where |u|²/2 is below `negligible`.
inline Reflector MakeReflector(double square, double& pivot, double negligible) {
  const double value = -std::copysign(std::sqrt(square), pivot);
  const double half = value * (value - pivot);
  if (!(half > negligible)) return {0.0, pivot};
  pivot -= value;
  return {-1.0 / half, value};
}

}  // namespace QZMolPotential::Dense
