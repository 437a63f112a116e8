// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>

#include "linalg/dense_kernels.h"
#include "kernels/packed.h"
#include "linalg/tridiagonal.h"

namespace QZMolPotential {

namespace {

/// The reflector that takes x (length n) to a multiple of its last element, in place of x.
struct Reflector {
  double factor = 0.0;       // -2/|u|²; 0: nothing to do
  double offDiagonal = 0.0;  // what the last element of x becomes
};
Reflector MakeReflector(double* x, std::size_t n) {
  // |σ(σ + α)| below this is rounding of a matrix with entries of size 1: no transformation.
  constexpr double kNegligible = 1e-30;
  const double alpha = x[n - 1];
  const double sigma = -std::copysign(std::sqrt(Dense::Dot(x, x, n)), alpha);
  const double half = sigma * (sigma - alpha);  // |u|²/2
  if (!(half >= kNegligible)) return {0.0, alpha};
  x[n - 1] = alpha - sigma;
  return {-1.0 / half, sigma};
}

/// Rank-two update with (u, q) of the last step and product with the next vector v, two rows of the
/// packed matrix at a time: row -= u_j q + q_j u, then p_j = row·v and p += v_j row.
struct Step {
  const double* u;
  const double* q;
  const double* v;
  double* p;

  void One(double* __restrict row, std::size_t j) const {
    const double uj = u[j];
    const double qj = q[j];
    const double vj = v[j];
    double sum = 0.0;
    const double* __restrict us = u;
    const double* __restrict qs = q;
    const double* __restrict vs = v;
    double* __restrict ps = p;
#pragma omp simd reduction(+ : sum)
    for (std::size_t c = 0; c < j; ++c) {
      const double x = row[c] - uj * qs[c] - qj * us[c];
      row[c] = x;
      sum += x * vs[c];
      ps[c] += x * vj;
    }
    row[j] -= 2.0 * uj * qj;
    ps[j] = sum + row[j] * vj;
  }

  void Two(double* __restrict row, double* __restrict next, std::size_t j) const {
    const double uj = u[j];
    const double qj = q[j];
    const double vj = v[j];
    const double uk = u[j + 1];
    const double qk = q[j + 1];
    const double vk = v[j + 1];
    double sumJ = 0.0;
    double sumK = 0.0;
    const double* __restrict us = u;
    const double* __restrict qs = q;
    const double* __restrict vs = v;
    double* __restrict ps = p;
#pragma omp simd reduction(+ : sumJ, sumK)
    for (std::size_t c = 0; c < j; ++c) {
      const double x = row[c] - uj * qs[c] - qj * us[c];
      const double y = next[c] - uk * qs[c] - qk * us[c];
      row[c] = x;
      next[c] = y;
      sumJ += x * vs[c];
      sumK += y * vs[c];
      ps[c] += x * vj + y * vk;
    }
    row[j] -= 2.0 * uj * qj;
    next[j] -= uk * qj + qk * uj;
    next[j + 1] -= 2.0 * uk * qk;
    ps[j] = sumJ + row[j] * vj + next[j] * vk;
    ps[j + 1] = sumK + next[j] * vj + next[j + 1] * vk;
  }

  void Rows(double* packed, std::size_t count) const {
    std::size_t j = 0;
    for (; j + 2 <= count; j += 2) {
      Two(packed + PackedIndex(j, 0), packed + PackedIndex(j + 1, 0), j);
    }
    if (j < count) One(packed + PackedIndex(j, 0), j);
  }
};

}  // namespace

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
      const Reflector made = MakeReflector(row, i);
      e[i - 1] = made.offDiagonal;
      factor[i] = made.factor;
    }
    for (std::size_t c = 0; c < i; ++c) p[c] = 0.0;
    Step{u, q, row, p}.Rows(packed, i);
    // q = A u 2/|u|² - u (u·A u) 2/|u|⁴: A -= u ⊗ q + q ⊗ u is the similarity transformation.
    const double f = -factor[i];
    const double along = -0.5 * f * f * Dense::Dot(row, p, i);
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
      Dense::ReflectFour(packed + PackedIndex(i, 0),
                         factor[i],
                         {rows[k], rows[k + 1], rows[k + 2], rows[k + 3]},
                         i);
    }
  }
  for (; k < rows.size(); ++k) {
    for (std::size_t i = 2; i < n; ++i) {
      Dense::Reflect(packed + PackedIndex(i, 0), factor[i], rows[k], 0, 1, i);
    }
  }
}

}  // namespace QZMolPotential
