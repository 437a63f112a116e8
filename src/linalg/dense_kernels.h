// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

// Loops over contiguous vectors. Sums may be taken in any order: that is what the directives allow,
// and all they do.
namespace QZMolPotential::Dense {

inline double Dot(const double* x, const double* y, std::size_t n) {
  double sum = 0.0;
#pragma omp simd reduction(+ : sum)
  for (std::size_t i = 0; i < n; ++i) sum += x[i] * y[i];
  return sum;
}

/// y += s x
inline void Axpy(double s, const double* __restrict x, double* __restrict y, std::size_t n) {
#pragma omp simd
  for (std::size_t i = 0; i < n; ++i) y[i] += s * x[i];
}

inline void Scale(double s, double* x, std::size_t n) {
#pragma omp simd
  for (std::size_t i = 0; i < n; ++i) x[i] *= s;
}

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
#pragma omp simd
  for (std::size_t i = 0; i < n; ++i) x[i] = x[i] * half * rest;
}

/// x_k += factor (u·x_k) u for four vectors: one pass over u serves all.
inline void ReflectFour(const double* __restrict u,
                        double factor,
                        const std::array<double*, 4>& x,
                        std::size_t n) {
  double* __restrict x0 = x[0];
  double* __restrict x1 = x[1];
  double* __restrict x2 = x[2];
  double* __restrict x3 = x[3];
  double s0 = 0.0;
  double s1 = 0.0;
  double s2 = 0.0;
  double s3 = 0.0;
#pragma omp simd reduction(+ : s0, s1, s2, s3)
  for (std::size_t i = 0; i < n; ++i) {
    s0 += u[i] * x0[i];
    s1 += u[i] * x1[i];
    s2 += u[i] * x2[i];
    s3 += u[i] * x3[i];
  }
  s0 *= factor;
  s1 *= factor;
  s2 *= factor;
  s3 *= factor;
#pragma omp simd
  for (std::size_t i = 0; i < n; ++i) {
    x0[i] += s0 * u[i];
    x1[i] += s1 * u[i];
    x2[i] += s2 * u[i];
    x3[i] += s3 * u[i];
  }
}

/// x_k += factor (u·x_k) u for `count` vectors that stand `stride` apart.
inline void Reflect(const double* u,
                    double factor,
                    double* x,
                    std::size_t stride,
                    std::size_t count,
                    std::size_t n) {
  std::size_t k = 0;
  for (; k + 4 <= count; k += 4) {
    double* first = x + k * stride;
    ReflectFour(u, factor, {first, first + stride, first + 2 * stride, first + 3 * stride}, n);
  }
  for (; k < count; ++k) {
    double* vector = x + k * stride;
    Axpy(factor * Dot(u, vector, n), u, vector, n);
  }
}

/// out += sum over k of c_k x_k for `count` vectors that stand `stride` apart.
inline void AddCombination(const double* c,
                           const double* x,
                           std::size_t stride,
                           std::size_t count,
                           std::size_t n,
                           double* __restrict out) {
  std::size_t k = 0;
  for (; k + 4 <= count; k += 4) {
    const double* __restrict x0 = x + k * stride;
    const double* __restrict x1 = x0 + stride;
    const double* __restrict x2 = x1 + stride;
    const double* __restrict x3 = x2 + stride;
    const double c0 = c[k];
    const double c1 = c[k + 1];
    const double c2 = c[k + 2];
    const double c3 = c[k + 3];
#pragma omp simd
    for (std::size_t i = 0; i < n; ++i) {
      out[i] += (c0 * x0[i] + c1 * x1[i]) + (c2 * x2[i] + c3 * x3[i]);
    }
  }
  for (; k < count; ++k) Axpy(c[k], x + k * stride, out, n);
}

/// x_k += factor c_k w for `count` vectors that stand `stride` apart.
inline void AddOuter(double factor,
                     const double* w,
                     const double* c,
                     double* x,
                     std::size_t stride,
                     std::size_t count,
                     std::size_t n) {
  for (std::size_t k = 0; k < count; ++k) Axpy(factor * c[k], w, x + k * stride, n);
}

/// (x, y) -> (c x + s y, c y - s x)
inline void Rotate(double c, double s, double* __restrict x, double* __restrict y, std::size_t n) {
#pragma omp simd
  for (std::size_t i = 0; i < n; ++i) {
    const double turned = c * x[i] + s * y[i];
    y[i] = c * y[i] - s * x[i];
    x[i] = turned;
  }
}

/// `count` rotations of neighbours, (x_0, x_1), (x_1, x_2), ..., in this order; the vectors of n
/// stand n apart. Four rotations share a pass, so that a vector is read and written once for them.
inline void RotateSequence(
    const double* c, const double* s, std::size_t count, double* x, std::size_t n) {
  std::size_t k = 0;
  for (; k + 4 <= count; k += 4) {
    double* __restrict x0 = x + k * n;
    double* __restrict x1 = x0 + n;
    double* __restrict x2 = x1 + n;
    double* __restrict x3 = x2 + n;
    double* __restrict x4 = x3 + n;
    const double c0 = c[k];
    const double c1 = c[k + 1];
    const double c2 = c[k + 2];
    const double c3 = c[k + 3];
    const double s0 = s[k];
    const double s1 = s[k + 1];
    const double s2 = s[k + 2];
    const double s3 = s[k + 3];
#pragma omp simd
    for (std::size_t i = 0; i < n; ++i) {
      const double y1 = c0 * x1[i] - s0 * x0[i];
      x0[i] = c0 * x0[i] + s0 * x1[i];
      const double y2 = c1 * x2[i] - s1 * y1;
      x1[i] = c1 * y1 + s1 * x2[i];
      const double y3 = c2 * x3[i] - s2 * y2;
      x2[i] = c2 * y2 + s2 * x3[i];
      const double y4 = c3 * x4[i] - s3 * y3;
      x3[i] = c3 * y3 + s3 * x4[i];
      x4[i] = y4;
    }
  }
  for (; k < count; ++k) Rotate(c[k], s[k], x + k * n, x + (k + 1) * n, n);
}

}  // namespace QZMolPotential::Dense
