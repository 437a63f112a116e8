// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// Loops over contiguous vectors, for the dense solvers. Sums are taken in the order that suits the
// registers.

// No #pragma once: read again for each instruction set (kernels/simd.h).
#if defined(MOLPOTENTIAL_DENSE_LOOPS_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef MOLPOTENTIAL_DENSE_LOOPS_H_
#undef MOLPOTENTIAL_DENSE_LOOPS_H_
#else
#define MOLPOTENTIAL_DENSE_LOOPS_H_
#endif

#include <cstddef>

#include "kernels/simd.h"

HWY_BEFORE_NAMESPACE();
namespace QZMolPotential::HWY_NAMESPACE {

inline double Sum(hn::Vec<Doubles> v) {
  return hn::GetLane(hn::SumOfLanes(Doubles(), v));
}

inline double Dot(const double* HWY_RESTRICT x, const double* HWY_RESTRICT y, std::size_t n) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  auto sum0 = hn::Zero(d);
  auto sum1 = hn::Zero(d);
  std::size_t i = 0;
  for (; i + 2 * lanes <= n; i += 2 * lanes) {
    sum0 = hn::MulAdd(hn::LoadU(d, x + i), hn::LoadU(d, y + i), sum0);
    sum1 = hn::MulAdd(hn::LoadU(d, x + i + lanes), hn::LoadU(d, y + i + lanes), sum1);
  }
  double sum = Sum(hn::Add(sum0, sum1));
  for (; i < n; ++i) sum += x[i] * y[i];
  return sum;
}

/// y += s x
inline void Axpy(double s, const double* HWY_RESTRICT x, double* HWY_RESTRICT y, std::size_t n) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const auto factor = hn::Set(d, s);
  std::size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    hn::StoreU(hn::MulAdd(factor, hn::LoadU(d, x + i), hn::LoadU(d, y + i)), d, y + i);
  }
  for (; i < n; ++i) y[i] += s * x[i];
}

inline void Scale(double s, double* HWY_RESTRICT x, std::size_t n) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const auto factor = hn::Set(d, s);
  std::size_t i = 0;
  for (; i + lanes <= n; i += lanes) hn::StoreU(hn::Mul(factor, hn::LoadU(d, x + i)), d, x + i);
  for (; i < n; ++i) x[i] *= s;
}

/// x_k += factor (u·x_k) u for four vectors: one pass over u serves all.
inline void ReflectFour(const double* HWY_RESTRICT u,
                        double factor,
                        double* HWY_RESTRICT x0,
                        double* HWY_RESTRICT x1,
                        double* HWY_RESTRICT x2,
                        double* HWY_RESTRICT x3,
                        std::size_t n) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const std::size_t whole = n - n % lanes;
  auto v0 = hn::Zero(d);
  auto v1 = hn::Zero(d);
  auto v2 = hn::Zero(d);
  auto v3 = hn::Zero(d);
  for (std::size_t i = 0; i < whole; i += lanes) {
    const auto ui = hn::LoadU(d, u + i);
    v0 = hn::MulAdd(ui, hn::LoadU(d, x0 + i), v0);
    v1 = hn::MulAdd(ui, hn::LoadU(d, x1 + i), v1);
    v2 = hn::MulAdd(ui, hn::LoadU(d, x2 + i), v2);
    v3 = hn::MulAdd(ui, hn::LoadU(d, x3 + i), v3);
  }
  double s0 = Sum(v0);
  double s1 = Sum(v1);
  double s2 = Sum(v2);
  double s3 = Sum(v3);
  for (std::size_t i = whole; i < n; ++i) {
    s0 += u[i] * x0[i];
    s1 += u[i] * x1[i];
    s2 += u[i] * x2[i];
    s3 += u[i] * x3[i];
  }
  s0 *= factor;
  s1 *= factor;
  s2 *= factor;
  s3 *= factor;
  v0 = hn::Set(d, s0);
  v1 = hn::Set(d, s1);
  v2 = hn::Set(d, s2);
  v3 = hn::Set(d, s3);
  for (std::size_t i = 0; i < whole; i += lanes) {
    const auto ui = hn::LoadU(d, u + i);
    hn::StoreU(hn::MulAdd(v0, ui, hn::LoadU(d, x0 + i)), d, x0 + i);
    hn::StoreU(hn::MulAdd(v1, ui, hn::LoadU(d, x1 + i)), d, x1 + i);
    hn::StoreU(hn::MulAdd(v2, ui, hn::LoadU(d, x2 + i)), d, x2 + i);
    hn::StoreU(hn::MulAdd(v3, ui, hn::LoadU(d, x3 + i)), d, x3 + i);
  }
  for (std::size_t i = whole; i < n; ++i) {
    x0[i] += s0 * u[i];
    x1[i] += s1 * u[i];
    x2[i] += s2 * u[i];
    x3[i] += s3 * u[i];
  }
}

/// x_k += factor (u·x_k) u for `count` vectors that stand `stride` apart.
inline void Reflect(const double* HWY_RESTRICT u,
                    double factor,
                    double* x,
                    std::size_t stride,
                    std::size_t count,
                    std::size_t n) {
  std::size_t k = 0;
  for (; k + 4 <= count; k += 4) {
    double* first = x + k * stride;
    ReflectFour(u, factor, first, first + stride, first + 2 * stride, first + 3 * stride, n);
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
                           double* HWY_RESTRICT out) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const std::size_t whole = n - n % lanes;
  std::size_t k = 0;
  for (; k + 4 <= count; k += 4) {
    const double* HWY_RESTRICT x0 = x + k * stride;
    const double* HWY_RESTRICT x1 = x0 + stride;
    const double* HWY_RESTRICT x2 = x1 + stride;
    const double* HWY_RESTRICT x3 = x2 + stride;
    const auto c0 = hn::Set(d, c[k]);
    const auto c1 = hn::Set(d, c[k + 1]);
    const auto c2 = hn::Set(d, c[k + 2]);
    const auto c3 = hn::Set(d, c[k + 3]);
    for (std::size_t i = 0; i < whole; i += lanes) {
      const auto even = hn::MulAdd(
          c1, hn::LoadU(d, x1 + i), hn::MulAdd(c0, hn::LoadU(d, x0 + i), hn::LoadU(d, out + i)));
      const auto odd = hn::MulAdd(c3, hn::LoadU(d, x3 + i), hn::Mul(c2, hn::LoadU(d, x2 + i)));
      hn::StoreU(hn::Add(even, odd), d, out + i);
    }
    for (std::size_t i = whole; i < n; ++i) {
      out[i] += (c[k] * x0[i] + c[k + 1] * x1[i]) + (c[k + 2] * x2[i] + c[k + 3] * x3[i]);
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
inline void Rotate(
    double c, double s, double* HWY_RESTRICT x, double* HWY_RESTRICT y, std::size_t n) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const std::size_t whole = n - n % lanes;
  const auto cs = hn::Set(d, c);
  const auto sn = hn::Set(d, s);
  for (std::size_t i = 0; i < whole; i += lanes) {
    const auto xi = hn::LoadU(d, x + i);
    const auto yi = hn::LoadU(d, y + i);
    hn::StoreU(hn::MulAdd(cs, xi, hn::Mul(sn, yi)), d, x + i);
    hn::StoreU(hn::MulSub(cs, yi, hn::Mul(sn, xi)), d, y + i);
  }
  for (std::size_t i = whole; i < n; ++i) {
    const double turned = c * x[i] + s * y[i];
    y[i] = c * y[i] - s * x[i];
    x[i] = turned;
  }
}

/// `count` rotations of neighbours, (x_0, x_1), (x_1, x_2), ..., in this order; the vectors of n
/// stand n apart. Four rotations share a pass, so that a vector is read and written once for them.
inline void RotateSequence(
    const double* c, const double* s, std::size_t count, double* x, std::size_t n) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const std::size_t whole = n - n % lanes;
  std::size_t k = 0;
  for (; k + 4 <= count; k += 4) {
    double* HWY_RESTRICT x0 = x + k * n;
    double* HWY_RESTRICT x1 = x0 + n;
    double* HWY_RESTRICT x2 = x1 + n;
    double* HWY_RESTRICT x3 = x2 + n;
    double* HWY_RESTRICT x4 = x3 + n;
    for (std::size_t i = 0; i < whole; i += lanes) {
      auto y = hn::LoadU(d, x0 + i);
      const auto turn = [&](std::size_t r, double* HWY_RESTRICT to, const double* HWY_RESTRICT from)
                            HWY_ATTR {
                              const auto cr = hn::Set(d, c[k + r]);
                              const auto sr = hn::Set(d, s[k + r]);
                              const auto next = hn::LoadU(d, from + i);
                              hn::StoreU(hn::MulAdd(cr, y, hn::Mul(sr, next)), d, to + i);
                              y = hn::MulSub(cr, next, hn::Mul(sr, y));
                            };
      turn(0, x0, x1);
      turn(1, x1, x2);
      turn(2, x2, x3);
      turn(3, x3, x4);
      hn::StoreU(y, d, x4 + i);
    }
    for (std::size_t r = 0; r < 4; ++r) {
      Rotate(c[k + r], s[k + r], x0 + r * n + whole, x0 + (r + 1) * n + whole, n - whole);
    }
  }
  for (; k < count; ++k) Rotate(c[k], s[k], x + k * n, x + (k + 1) * n, n);
}

}  // namespace QZMolPotential::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
