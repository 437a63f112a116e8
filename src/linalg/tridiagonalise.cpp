// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>

#include "kernels/packed.h"
#include "linalg/dense_kernels.h"
#include "linalg/tridiagonal.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "linalg/tridiagonalise.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "linalg/dense_loops.h"

HWY_BEFORE_NAMESPACE();
namespace QZMolPotential::HWY_NAMESPACE {

/// Rank-two update with (u, q) of the last step and product with the next vector v, two rows of the
/// packed matrix at a time: row -= u_j q + q_j u, then p_j = row·v and p += v_j row.
struct Step {
  const double* u;
  const double* q;
  const double* v;
  double* p;

  HWY_INLINE void One(double* HWY_RESTRICT row, std::size_t j) const {
    const Doubles d;
    const std::size_t lanes = hn::Lanes(d);
    const std::size_t whole = j - j % lanes;
    const auto uj = hn::Set(d, u[j]);
    const auto qj = hn::Set(d, q[j]);
    const auto vj = hn::Set(d, v[j]);
    auto sums = hn::Zero(d);
    for (std::size_t c = 0; c < whole; c += lanes) {
      auto x = hn::NegMulAdd(uj, hn::LoadU(d, q + c), hn::LoadU(d, row + c));
      x = hn::NegMulAdd(qj, hn::LoadU(d, u + c), x);
      hn::StoreU(x, d, row + c);
      sums = hn::MulAdd(x, hn::LoadU(d, v + c), sums);
      hn::StoreU(hn::MulAdd(x, vj, hn::LoadU(d, p + c)), d, p + c);
    }
    double sum = Sum(sums);
    for (std::size_t c = whole; c < j; ++c) {
      const double x = row[c] - u[j] * q[c] - q[j] * u[c];
      row[c] = x;
      sum += x * v[c];
      p[c] += x * v[j];
    }
    row[j] -= 2.0 * u[j] * q[j];
    p[j] = sum + row[j] * v[j];
  }

  HWY_INLINE void Two(double* HWY_RESTRICT row, double* HWY_RESTRICT next, std::size_t j) const {
    const Doubles d;
    const std::size_t lanes = hn::Lanes(d);
    const std::size_t whole = j - j % lanes;
    const std::size_t k = j + 1;
    const auto uj = hn::Set(d, u[j]);
    const auto qj = hn::Set(d, q[j]);
    const auto vj = hn::Set(d, v[j]);
    const auto uk = hn::Set(d, u[k]);
    const auto qk = hn::Set(d, q[k]);
    const auto vk = hn::Set(d, v[k]);
    auto sumsJ = hn::Zero(d);
    auto sumsK = hn::Zero(d);
    for (std::size_t c = 0; c < whole; c += lanes) {
      const auto uc = hn::LoadU(d, u + c);
      const auto qc = hn::LoadU(d, q + c);
      const auto vc = hn::LoadU(d, v + c);
      const auto x = hn::NegMulAdd(qj, uc, hn::NegMulAdd(uj, qc, hn::LoadU(d, row + c)));
      const auto y = hn::NegMulAdd(qk, uc, hn::NegMulAdd(uk, qc, hn::LoadU(d, next + c)));
      hn::StoreU(x, d, row + c);
      hn::StoreU(y, d, next + c);
      sumsJ = hn::MulAdd(x, vc, sumsJ);
      sumsK = hn::MulAdd(y, vc, sumsK);
      hn::StoreU(hn::MulAdd(y, vk, hn::MulAdd(x, vj, hn::LoadU(d, p + c))), d, p + c);
    }
    double sumJ = Sum(sumsJ);
    double sumK = Sum(sumsK);
    for (std::size_t c = whole; c < j; ++c) {
      const double x = row[c] - u[j] * q[c] - q[j] * u[c];
      const double y = next[c] - u[k] * q[c] - q[k] * u[c];
      row[c] = x;
      next[c] = y;
      sumJ += x * v[c];
      sumK += y * v[c];
      p[c] += x * v[j] + y * v[k];
    }
    row[j] -= 2.0 * u[j] * q[j];
    next[j] -= u[k] * q[j] + q[k] * u[j];
    next[k] -= 2.0 * u[k] * q[k];
    p[j] = sumJ + row[j] * v[j] + next[j] * v[k];
    p[k] = sumK + next[j] * v[j] + next[k] * v[k];
  }

  void Rows(double* packed, std::size_t count) const {
    std::size_t j = 0;
    for (; j + 2 <= count; j += 2) {
      Two(packed + PackedIndex(j, 0), packed + PackedIndex(j + 1, 0), j);
    }
    if (j < count) One(packed + PackedIndex(j, 0), j);
  }
};

void Tridiagonalise(double* packed,
                    std::span<double> d,
                    std::span<double> e,
                    std::span<double> factor,
                    std::span<double> work) {
  const std::size_t n = d.size();
  double* q = work.data();
  double* p = q + n;
  // The update by row i's reflector waits until the next product passes over the matrix. Vectors of
  // zeros stand for "no update" and, in the last two rounds, for "no product".
  for (std::size_t c = 0; c < n; ++c) q[c] = 0.0;
  const double* u = q;
  e[n - 1] = 0.0;
  for (std::size_t i = n; i-- > 0;) {
    double* row = packed + PackedIndex(i, 0);
    for (std::size_t c = 0; c <= i; ++c) row[c] -= u[i] * q[c] + q[i] * u[c];
    d[i] = row[i];
    factor[i] = 0.0;
    if (i == 0) break;
    if (i == 1) {
      e[0] = row[0];
    } else {
      // Below this a transformation of a matrix with entries of size 1 is but rounding.
      constexpr double kNegligible = 1e-30;
      const auto made = Dense::MakeReflector(Dot(row, row, i), row[i - 1], kNegligible);
      e[i - 1] = made.value;
      factor[i] = made.factor;
    }
    for (std::size_t c = 0; c < i; ++c) p[c] = 0.0;
    Step{u, q, row, p}.Rows(packed, i);
    // q = A u 2/|u|² - u (u·A u) 2/|u|⁴: A -= u ⊗ q + q ⊗ u is the similarity transformation.
    const double f = -factor[i];
    const double along = -0.5 * f * f * Dot(row, p, i);
    for (std::size_t c = 0; c < i; ++c) p[c] = f * p[c] + along * row[c];
    std::swap(p, q);
    u = row;
  }
}

void BackTransform(const double* packed, std::span<const double> factor, std::span<double*> rows) {
  const std::size_t n = factor.size();
  std::size_t k = 0;
  for (; k + 4 <= rows.size(); k += 4) {
    for (std::size_t i = 2; i < n; ++i) {
      if (factor[i] == 0.0) continue;
      ReflectFour(
          packed + PackedIndex(i, 0), factor[i], rows[k], rows[k + 1], rows[k + 2], rows[k + 3], i);
    }
  }
  for (; k < rows.size(); ++k) {
    for (std::size_t i = 2; i < n; ++i) {
      Reflect(packed + PackedIndex(i, 0), factor[i], rows[k], 0, 1, i);
    }
  }
}

}  // namespace QZMolPotential::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace QZMolPotential {

HWY_EXPORT(Tridiagonalise);
HWY_EXPORT(BackTransform);

void Tridiagonalise(double* packed,
                    std::span<double> d,
                    std::span<double> e,
                    std::span<double> factor,
                    std::span<double> work) {
  HWY_DYNAMIC_DISPATCH(Tridiagonalise)(packed, d, e, factor, work);
}

void BackTransform(const double* packed, std::span<const double> factor, std::span<double*> rows) {
  HWY_DYNAMIC_DISPATCH(BackTransform)(packed, factor, rows);
}

}  // namespace QZMolPotential
#endif
