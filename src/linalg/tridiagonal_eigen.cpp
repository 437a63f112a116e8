// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>

#include "linalg/dense_kernels.h"
#include "linalg/tridiagonal.h"

namespace QZMolPotential {

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

/// One implicit QL sweep over the unreduced block [l, m] with the shift of its upper corner.
void Sweep(std::span<double> d, std::span<double> e, std::size_t l, std::size_t m) {
  const double slope = (d[l + 1] - d[l]) / (2.0 * e[l]);
  const double root = std::hypot(slope, 1.0);
  double g = d[m] - d[l] + e[l] / (slope + std::copysign(root, slope));
  double s = 1.0;
  double c = 1.0;
  double p = 0.0;
  for (std::size_t i = m; i-- > l;) {
    const double f = s * e[i];
    const double b = c * e[i];
    const double r = std::sqrt(f * f + g * g);
    e[i + 1] = r;
    if (r == 0.0) {
      d[i + 1] -= p;
      e[m] = 0.0;
      return;
    }
    const double inverse = 1.0 / r;
    s = f * inverse;
    c = g * inverse;
    g = d[i + 1] - p;
    const double t = (d[i] - g) * s + 2.0 * c * b;
    p = s * t;
    d[i + 1] = g + p;
    g = c * t - b;
  }
  d[l] -= p;
  e[l] = g;
  e[m] = 0.0;
}

}  // namespace

double TridiagonalNorm(std::span<const double> d, std::span<const double> e) {
  double norm = 0.0;
  double before = 0.0;
  for (std::size_t i = 0; i < d.size(); ++i) {
    norm = std::max(norm, before + std::abs(d[i]) + std::abs(e[i]));
    before = std::abs(e[i]);
  }
  return norm;
}

bool TridiagonalEigenvalues(std::span<double> d, std::span<double> e, double norm) {
  // Neglecting an off-diagonal element shifts an eigenvalue by the square of the element over the
  // gap to the next eigenvalue, and by the element itself when the gap closes. 1e-8 times the norm
  // would therefore do except for clusters. Elements are neglected only at rounding, which costs
  // one more sweep, since convergence is cubic by then.
  constexpr int kMaxSweeps = 60;
  const double rounding = kEpsilon * norm;
  for (std::size_t l = 0; l < d.size(); ++l) {
    for (int sweeps = 0;; ++sweeps) {
      std::size_t m = l;
      while (m + 1 < d.size() && std::abs(e[m]) > rounding) ++m;
      if (m == l) break;
      if (sweeps == kMaxSweeps) return false;
      Sweep(d, e, l, m);
    }
  }
  return true;
}

InverseIteration::InverseIteration(std::span<const double> d,
                                   std::span<const double> e,
                                   double norm)
    : d_(d),
      e_(e),
      norm_(norm),
      floor_(kEpsilon * norm),
      inverseDiagonal_(d.size()),
      upper_(d.size()),
      upper2_(d.size()),
      multiplier_(d.size()),
      swapped_(d.size()) {}

/// T - shift = P L U with partial pivoting; a pivot below the floor is raised to it.
void InverseIteration::factorise(std::size_t begin, std::size_t end, double shift) {
  const std::size_t n = end - begin;
  const double* d = d_.data() + begin;
  const double* e = e_.data() + begin;
  double diagonal = d[0] - shift;
  double upper = n > 1 ? e[0] : 0.0;
  for (std::size_t i = 0; i + 1 < n; ++i) {
    const double below = e[i];
    const double nextDiagonal = d[i + 1] - shift;
    const double nextUpper = i + 2 < n ? e[i + 1] : 0.0;
    if (std::abs(diagonal) >= std::abs(below)) {
      if (std::abs(diagonal) < floor_) diagonal = std::copysign(floor_, diagonal);
      const double inverse = 1.0 / diagonal;
      const double factor = below * inverse;
      inverseDiagonal_[i] = inverse;
      upper_[i] = upper;
      upper2_[i] = 0.0;
      multiplier_[i] = factor;
      swapped_[i] = 0;
      diagonal = nextDiagonal - factor * upper;
      upper = nextUpper;
    } else {
      const double inverse = 1.0 / below;
      const double factor = diagonal * inverse;
      inverseDiagonal_[i] = inverse;
      upper_[i] = nextDiagonal;
      upper2_[i] = nextUpper;
      multiplier_[i] = factor;
      swapped_[i] = 1;
      diagonal = upper - factor * nextDiagonal;
      upper = -factor * nextUpper;
    }
  }
  if (std::abs(diagonal) < floor_) diagonal = std::copysign(floor_, diagonal);
  inverseDiagonal_[n - 1] = 1.0 / diagonal;
}

/// x -> U⁻¹ x, or U⁻¹ L⁻¹ P x with `forward`. Tells whether x had to be scaled down on the way.
bool InverseIteration::solve(std::span<double> x, bool forward) const {
  constexpr double kTooLarge = 1e120;  // two factors of 1/floor_ further there would be infinities
  const std::size_t n = x.size();
  if (forward) {
    for (std::size_t i = 0; i + 1 < n; ++i) {
      const double here = swapped_[i] ? x[i + 1] : x[i];
      const double other = swapped_[i] ? x[i] : x[i + 1];
      x[i] = here;
      x[i + 1] = other - multiplier_[i] * here;
    }
  }
  bool scaled = false;
  double next = 0.0;
  double next2 = 0.0;
  for (std::size_t i = n; i-- > 0;) {
    double value = x[i];
    if (i + 1 < n) value -= upper_[i] * next + (i + 2 < n ? upper2_[i] * next2 : 0.0);
    value *= inverseDiagonal_[i];
    x[i] = value;
    next2 = next;
    next = value;
    if (std::abs(value) > kTooLarge) {
      for (double& element : x) element *= 1.0 / kTooLarge;
      next *= 1.0 / kTooLarge;
      next2 *= 1.0 / kTooLarge;
      scaled = true;
    }
  }
  return scaled;
}

/// Pseudo-random start vectors: all different, but the same in every run.
void InverseIteration::randomise(std::span<double> x) {
  for (double& value : x) {
    random_ = random_ * 1664525U + 1013904223U;
    value = 0.5 + static_cast<double>(random_ >> 8U) / 16777216.0;
    if (random_ & 0x80U) value = -value;
  }
}

void InverseIteration::iterate(std::span<double> x, std::span<const double* const> others) {
  constexpr int kMaxRounds = 8;
  const std::size_t n = x.size();
  // |x| before normalisation is the inverse of the residual |(T - λ) x|.
  const double residual = 8.0 * std::sqrt(static_cast<double>(n)) * floor_;
  randomise(x);
  bool converged = false;
  for (int round = 0; round < kMaxRounds; ++round) {
    const bool scaled = solve(x, /*forward=*/round > 0);
    const double largest = Dense::MaxAbs(x.data(), n);
    if (Orthogonalise(x, others) == 0.0) {
      randomise(x);
      Orthogonalise(x, others);
      converged = false;
      continue;
    }
    if (converged) return;
    converged = round > 0 && (scaled || largest * residual >= 1.0);
  }
}

void InverseIteration::Block(std::size_t begin,
                             std::size_t end,
                             std::span<const double> values,
                             std::span<const std::size_t> ranks,
                             std::span<double*> rows) {
  // Vectors of eigenvalues closer than this (times the norm) are made orthogonal to each other;
  // those of others are so by their iteration, to rounding over the gap.
  constexpr double kCluster = 1e-4;
  const std::size_t n = end - begin;
  double shift = 0.0;
  chain_.clear();
  for (std::size_t i = 0; i < n && ranks[i] < rows.size(); ++i) {
    const double value = values[ranks[i]];
    double* row = rows[ranks[i]];
    if (i > 0 && value - values[ranks[i - 1]] > kCluster * norm_) chain_.clear();
    // Coincident shifts would give the same vector again.
    shift = chain_.empty() ? value : std::max(value, shift + floor_);
    std::fill(row, row + d_.size(), 0.0);
    if (n == 1) {
      row[begin] = 1.0;
      continue;
    }
    factorise(begin, end, shift);
    iterate({row + begin, n}, chain_);
    chain_.push_back(row + begin);
  }
}

}  // namespace QZMolPotential
