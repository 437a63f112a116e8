// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "linalg/golub_kahan.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>

#include "linalg/dense_kernels.h"

namespace QZMolPotential {

namespace {

/// Turns x (length n) into the vector u of a reflector that takes it to `value` times its first
/// element; `factor` is -2/|u|², 0 for x = 0.
struct Reflector {
  double factor = 0.0;
  double value = 0.0;
};
Reflector MakeReflector(double* x, std::size_t n) {
  const double norm = std::sqrt(Dense::Dot(x, x, n));
  if (norm == 0.0) return {};
  const double value = -std::copysign(norm, x[0]);
  const double half = value * (value - x[0]);
  if (!(half > std::numeric_limits<double>::min())) return {0.0, x[0]};
  x[0] -= value;
  return {-1.0 / half, value};
}

/// Cosine and sine of the rotation that takes (f, g) to (r, 0); none for f = g = 0.
struct Rotation {
  double c = 1.0;
  double s = 0.0;
  double r = 0.0;

  Rotation(double f, double g) {
    constexpr double kSafe = 1e-280;  // above, the squares have not lost digits to underflow
    const double square = f * f + g * g;
    r = square > kSafe ? std::sqrt(square) : std::hypot(f, g);
    if (r == 0.0) return;
    c = f / r;
    s = g / r;
  }
};

}  // namespace

GolubKahan::GolubKahan(std::size_t m, std::size_t n, std::size_t leftCount)
    : m_(m),
      n_(n),
      leftCount_(leftCount),
      count_(std::min(m + 1, n)),
      leftSteps_(m == 0 ? 0 : std::min(m - 1, n)),
      rightSteps_(n < 2 ? 0 : std::min(m, n - 2)),
      store_(m * n + leftCount * m + n * n + 8 * count_ + m) {
  x_ = store_.data();
  u_ = x_ + m * n;
  v_ = u_ + leftCount * m;
  s_ = v_ + n * n;
  e_ = s_ + count_;
  leftFactor_ = e_ + count_;
  rightFactor_ = leftFactor_ + count_;
  work_ = rightFactor_ + count_;
}

bool GolubKahan::Compute() {
  const double largest = Dense::MaxAbs(x_, m_ * n_);
  if (!std::isfinite(largest)) return false;
  // Entries of size 1 keep squares in range.
  const int exponent = Dense::ScaleExponent(largest);
  Dense::ScaleByPower(-exponent, x_, m_ * n_);
  bidiagonalise();
  makeLeft();
  makeRight();
  if (!diagonalise()) return false;
  Dense::ScaleByPower(exponent, s_, count_);
  sort();
  return true;
}

/// Householder vectors from the left and from the right in turn: column k below the diagonal, then
/// row k beyond the superdiagonal. The left vectors stay in the columns of A, the right one of row
/// k goes into right vector k.
void GolubKahan::bidiagonalise() {
  const std::size_t steps = std::max(leftSteps_, rightSteps_);
  for (std::size_t k = 0; k < steps; ++k) {
    if (k < leftSteps_) {
      double* column = x_ + k * m_ + k;
      const Reflector made = MakeReflector(column, m_ - k);
      s_[k] = made.value;
      leftFactor_[k] = made.factor;
      Dense::Reflect(column, made.factor, column + m_, m_, n_ - k - 1, m_ - k);
    }
    if (k < rightSteps_) reflectRows(k);
  }
  if (leftSteps_ < std::min(m_, n_)) s_[leftSteps_] = x_[leftSteps_ * m_ + leftSteps_];
  if (m_ < count_) s_[m_] = 0.0;
  if (rightSteps_ + 1 < count_) e_[rightSteps_] = x_[(count_ - 1) * m_ + rightSteps_];
  if (count_ > 0) e_[count_ - 1] = 0.0;
}

void GolubKahan::reflectRows(std::size_t k) {
  const std::size_t length = n_ - k - 1;
  double* right = v_ + k * n_ + k + 1;
  double* row = x_ + (k + 1) * m_ + k;
  for (std::size_t j = 0; j < length; ++j) right[j] = row[j * m_];
  const Reflector made = MakeReflector(right, length);
  e_[k] = made.value;
  rightFactor_[k] = made.factor;
  if (k + 1 >= m_ || made.factor == 0.0) return;
  // A -> A (1 + f r ⊗ r) as A + f (A r) ⊗ r.
  const std::size_t below = m_ - k - 1;
  double* block = row + 1;
  std::fill(work_, work_ + below, 0.0);
  Dense::AddCombination(right, block, m_, length, below, work_);
  Dense::AddOuter(made.factor, work_, right, block, m_, length, below);
}

void GolubKahan::makeLeft() {
  std::fill(u_, u_ + leftCount_ * m_, 0.0);
  for (std::size_t k = 0; k < leftCount_; ++k) u_[k * m_ + k] = 1.0;
  for (std::size_t k = std::min(leftSteps_, leftCount_); k-- > 0;) {
    Dense::Reflect(x_ + k * m_ + k, leftFactor_[k], u_ + k * m_ + k, m_, leftCount_ - k, m_ - k);
  }
}

void GolubKahan::makeRight() {
  const auto unit = [this](std::size_t k) {
    std::fill(v_ + k * n_, v_ + (k + 1) * n_, 0.0);
    v_[k * n_ + k] = 1.0;
  };
  for (std::size_t k = rightSteps_; k < n_; ++k) unit(k);
  for (std::size_t k = rightSteps_; k-- > 0;) {
    const std::size_t length = n_ - k - 1;
    const double* right = v_ + k * n_ + k + 1;
    Dense::Reflect(right, rightFactor_[k], v_ + (k + 1) * n_ + k + 1, n_, length, length);
    unit(k);
  }
}

/// QR sweeps on the bidiagonal matrix until every superdiagonal element is rounding. A diagonal
/// element that is rounding is chased out first, so that a sweep always works on a block without.
bool GolubKahan::diagonalise() {
  constexpr int kMaxSweeps = 30;
  constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
  constexpr double kTiny = 0x1p-966;  // what rounding of entries of size 1 cannot reach
  int sweeps = 0;
  for (std::size_t size = count_; size > 0;) {
    const std::size_t last = size - 1;
    std::size_t l = last;
    while (l > 0 &&
           std::abs(e_[l - 1]) > kTiny + kEpsilon * (std::abs(s_[l - 1]) + std::abs(s_[l]))) {
      --l;
    }
    if (l > 0) e_[l - 1] = 0.0;
    if (l == last) {
      if (s_[last] < 0.0) {
        s_[last] = -s_[last];
        Dense::Scale(-1.0, v_ + last * n_, n_);
      }
      sweeps = 0;
      --size;
      continue;
    }
    std::size_t zero = size;  // ends at l - 1 when there is none
    while (zero-- > l) {
      const double around =
          (zero < last ? std::abs(e_[zero]) : 0.0) + (zero > l ? std::abs(e_[zero - 1]) : 0.0);
      if (std::abs(s_[zero]) <= kTiny + kEpsilon * around) break;
    }
    if (zero + 1 == l) {
      if (sweeps++ == kMaxSweeps) return false;
      sweep(l, last);
    } else {
      s_[zero] = 0.0;
      if (zero == last) {
        deflate(l, last);
      } else {
        split(zero + 1, last);
      }
    }
  }
  return true;
}

/// s[last] = 0: rotates e[last - 1] out of the block from the right.
void GolubKahan::deflate(std::size_t l, std::size_t last) {
  double f = e_[last - 1];
  e_[last - 1] = 0.0;
  for (std::size_t j = last; j-- > l;) {
    const Rotation turn(s_[j], f);
    s_[j] = turn.r;
    if (j > l) {
      f = -turn.s * e_[j - 1];
      e_[j - 1] *= turn.c;
    }
    Dense::Rotate(turn.c, turn.s, v_ + j * n_, v_ + last * n_, n_);
  }
}

/// s[l - 1] = 0: rotates e[l - 1] out of its row from the left.
void GolubKahan::split(std::size_t l, std::size_t last) {
  double f = e_[l - 1];
  e_[l - 1] = 0.0;
  for (std::size_t j = l; j <= last; ++j) {
    const Rotation turn(s_[j], f);
    s_[j] = turn.r;
    f = -turn.s * e_[j];
    e_[j] *= turn.c;
    Dense::Rotate(turn.c, turn.s, u_ + j * m_, u_ + (l - 1) * m_, m_);
  }
}

/// One implicit QR sweep over [l, last] with the shift of the lower corner of BᵀB.
void GolubKahan::sweep(std::size_t l, std::size_t last) {
  const double scale = std::max({std::abs(s_[last]),
                                 std::abs(s_[last - 1]),
                                 std::abs(e_[last - 1]),
                                 std::abs(s_[l]),
                                 std::abs(e_[l])});
  const double sp = s_[last] / scale;
  const double sq = s_[last - 1] / scale;
  const double eq = e_[last - 1] / scale;
  const double sl = s_[l] / scale;
  const double el = e_[l] / scale;
  const double b = 0.5 * ((sq + sp) * (sq - sp) + eq * eq);
  const double c = sp * eq * (sp * eq);
  double shift = 0.0;
  if (b != 0.0 || c != 0.0) shift = c / (b + std::copysign(std::sqrt(b * b + c), b));
  double f = (sl + sp) * (sl - sp) + shift;
  double g = sl * el;

  double* rightC = work_;
  double* rightS = rightC + count_;
  double* leftC = rightS + count_;
  double* leftS = leftC + count_;
  for (std::size_t j = l; j < last; ++j) {
    const Rotation right(f, g);
    if (j > l) e_[j - 1] = right.r;
    f = right.c * s_[j] + right.s * e_[j];
    e_[j] = right.c * e_[j] - right.s * s_[j];
    g = right.s * s_[j + 1];
    s_[j + 1] *= right.c;
    const Rotation left(f, g);
    s_[j] = left.r;
    f = left.c * e_[j] + left.s * s_[j + 1];
    s_[j + 1] = left.c * s_[j + 1] - left.s * e_[j];
    g = left.s * e_[j + 1];
    e_[j + 1] *= left.c;
    rightC[j] = right.c;
    rightS[j] = right.s;
    leftC[j] = left.c;
    leftS[j] = left.s;
  }
  e_[last - 1] = f;
  Dense::RotateSequence(rightC + l, rightS + l, last - l, v_ + l * n_, n_);
  Dense::RotateSequence(leftC + l, leftS + l, last - l, u_ + l * m_, m_);
}

/// Descending, equal values in their order. A wide matrix's extra zero stays last.
void GolubKahan::sort() {
  order_.resize(std::max({leftCount_, n_, count_}));
  std::iota(order_.begin(), order_.end(), std::size_t{0});
  std::stable_sort(order_.begin(),
                   order_.begin() + static_cast<std::ptrdiff_t>(count_),
                   [this](std::size_t i, std::size_t j) { return s_[i] > s_[j]; });
}

}  // namespace QZMolPotential
