// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "linalg/golub_kahan.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>

#include "linalg/dense_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "linalg/golub_kahan.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "linalg/dense_loops.h"

HWY_BEFORE_NAMESPACE();
namespace QZMolPotential::HWY_NAMESPACE {

/// Makes the reflector of x (length n) for its first element, in place.
inline Dense::Reflector ReflectorOf(double* x, std::size_t n) {
  return Dense::MakeReflector(Dot(x, x, n), x[0], std::numeric_limits<double>::min());
}

/// Cosine and sine of the rotation that takes (f, g) to (r, 0); none for f = g = 0.
struct PlaneRotation {
  double c = 1.0;
  double s = 0.0;
  double r = 0.0;

  PlaneRotation(double f, double g) {
    constexpr double kSafe = 1e-280;  // above, the squares have not lost digits to underflow
    const double square = f * f + g * g;
    r = square > kSafe ? std::sqrt(square) : std::hypot(f, g);
    if (r == 0.0) return;
    c = f / r;
    s = g / r;
  }
};

/// The steps of a decomposition, on the workspace of its class.
class GolubKahanSteps : private GolubKahan::Workspace {
 public:
  explicit GolubKahanSteps(const GolubKahan::Workspace& w) : Workspace(w) {}
  void Bidiagonalise();
  void MakeLeft();
  void MakeRight();
  bool Diagonalise();

 private:
  void reflectRows(std::size_t k);
  void deflate(std::size_t l, std::size_t last);
  void split(std::size_t l, std::size_t last);
  void sweep(std::size_t l, std::size_t last);
};

/// Householder vectors from the left and from the right in turn: column k below the diagonal, then
/// row k beyond the superdiagonal. The left vectors stay in the columns of A, the right one of row
/// k goes into right vector k.
void GolubKahanSteps::Bidiagonalise() {
  const std::size_t steps = std::max(leftSteps, rightSteps);
  for (std::size_t k = 0; k < steps; ++k) {
    if (k < leftSteps) {
      double* column = x + k * m + k;
      const auto made = ReflectorOf(column, m - k);
      s[k] = made.value;
      leftFactor[k] = made.factor;
      Reflect(column, made.factor, column + m, m, n - k - 1, m - k);
    }
    if (k < rightSteps) reflectRows(k);
  }
  if (leftSteps < std::min(m, n)) s[leftSteps] = x[leftSteps * m + leftSteps];
  if (m < count) s[m] = 0.0;
  if (rightSteps + 1 < count) e[rightSteps] = x[(count - 1) * m + rightSteps];
  if (count > 0) e[count - 1] = 0.0;
}

void GolubKahanSteps::reflectRows(std::size_t k) {
  const std::size_t length = n - k - 1;
  double* right = v + k * n + k + 1;
  double* row = x + (k + 1) * m + k;
  for (std::size_t j = 0; j < length; ++j) right[j] = row[j * m];
  const auto made = ReflectorOf(right, length);
  e[k] = made.value;
  rightFactor[k] = made.factor;
  if (k + 1 >= m || made.factor == 0.0) return;
  // A -> A (1 + f r ⊗ r) as A + f (A r) ⊗ r.
  const std::size_t below = m - k - 1;
  double* block = row + 1;
  std::fill(work, work + below, 0.0);
  AddCombination(right, block, m, length, below, work);
  AddOuter(made.factor, work, right, block, m, length, below);
}

void GolubKahanSteps::MakeLeft() {
  std::fill(u, u + leftCount * m, 0.0);
  for (std::size_t k = 0; k < leftCount; ++k) u[k * m + k] = 1.0;
  for (std::size_t k = std::min(leftSteps, leftCount); k-- > 0;) {
    Reflect(x + k * m + k, leftFactor[k], u + k * m + k, m, leftCount - k, m - k);
  }
}

void GolubKahanSteps::MakeRight() {
  const auto unit = [this](std::size_t k) {
    std::fill(v + k * n, v + (k + 1) * n, 0.0);
    v[k * n + k] = 1.0;
  };
  for (std::size_t k = rightSteps; k < n; ++k) unit(k);
  for (std::size_t k = rightSteps; k-- > 0;) {
    const std::size_t length = n - k - 1;
    const double* right = v + k * n + k + 1;
    Reflect(right, rightFactor[k], v + (k + 1) * n + k + 1, n, length, length);
    unit(k);
  }
}

/// QR sweeps on the bidiagonal matrix until every superdiagonal element is rounding. A diagonal
/// element that is rounding is chased out first, so that a sweep always works on a block without.
bool GolubKahanSteps::Diagonalise() {
  constexpr int kMaxSweeps = 30;
  constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
  constexpr double kTiny = 0x1p-966;  // what rounding of entries of size 1 cannot reach
  int sweeps = 0;
  for (std::size_t size = count; size > 0;) {
    const std::size_t last = size - 1;
    std::size_t l = last;
    while (l > 0 && std::abs(e[l - 1]) > kTiny + kEpsilon * (std::abs(s[l - 1]) + std::abs(s[l]))) {
      --l;
    }
    if (l > 0) e[l - 1] = 0.0;
    if (l == last) {
      if (s[last] < 0.0) {
        s[last] = -s[last];
        Scale(-1.0, v + last * n, n);
      }
      sweeps = 0;
      --size;
      continue;
    }
    std::size_t zero = size;  // ends at l - 1 when there is none
    while (zero-- > l) {
      const double around =
          (zero < last ? std::abs(e[zero]) : 0.0) + (zero > l ? std::abs(e[zero - 1]) : 0.0);
      if (std::abs(s[zero]) <= kTiny + kEpsilon * around) break;
    }
    if (zero + 1 == l) {
      if (sweeps++ == kMaxSweeps) return false;
      sweep(l, last);
    } else {
      s[zero] = 0.0;
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
void GolubKahanSteps::deflate(std::size_t l, std::size_t last) {
  double f = e[last - 1];
  e[last - 1] = 0.0;
  for (std::size_t j = last; j-- > l;) {
    const PlaneRotation turn(s[j], f);
    s[j] = turn.r;
    if (j > l) {
      f = -turn.s * e[j - 1];
      e[j - 1] *= turn.c;
    }
    Rotate(turn.c, turn.s, v + j * n, v + last * n, n);
  }
}

/// s[l - 1] = 0: rotates e[l - 1] out of its row from the left.
void GolubKahanSteps::split(std::size_t l, std::size_t last) {
  double f = e[l - 1];
  e[l - 1] = 0.0;
  for (std::size_t j = l; j <= last; ++j) {
    const PlaneRotation turn(s[j], f);
    s[j] = turn.r;
    f = -turn.s * e[j];
    e[j] *= turn.c;
    Rotate(turn.c, turn.s, u + j * m, u + (l - 1) * m, m);
  }
}

/// One implicit QR sweep over [l, last] with the shift of the lower corner of BᵀB.
void GolubKahanSteps::sweep(std::size_t l, std::size_t last) {
  const double scale = std::max({std::abs(s[last]),
                                 std::abs(s[last - 1]),
                                 std::abs(e[last - 1]),
                                 std::abs(s[l]),
                                 std::abs(e[l])});
  const double sp = s[last] / scale;
  const double sq = s[last - 1] / scale;
  const double eq = e[last - 1] / scale;
  const double sl = s[l] / scale;
  const double el = e[l] / scale;
  const double b = 0.5 * ((sq + sp) * (sq - sp) + eq * eq);
  const double c = sp * eq * (sp * eq);
  double shift = 0.0;
  if (b != 0.0 || c != 0.0) shift = c / (b + std::copysign(std::sqrt(b * b + c), b));
  double f = (sl + sp) * (sl - sp) + shift;
  double g = sl * el;

  double* rightC = work;
  double* rightS = rightC + count;
  double* leftC = rightS + count;
  double* leftS = leftC + count;
  for (std::size_t j = l; j < last; ++j) {
    const PlaneRotation right(f, g);
    if (j > l) e[j - 1] = right.r;
    f = right.c * s[j] + right.s * e[j];
    e[j] = right.c * e[j] - right.s * s[j];
    g = right.s * s[j + 1];
    s[j + 1] *= right.c;
    const PlaneRotation left(f, g);
    s[j] = left.r;
    f = left.c * e[j] + left.s * s[j + 1];
    s[j + 1] = left.c * s[j + 1] - left.s * e[j];
    g = left.s * e[j + 1];
    e[j + 1] *= left.c;
    rightC[j] = right.c;
    rightS[j] = right.s;
    leftC[j] = left.c;
    leftS[j] = left.s;
  }
  e[last - 1] = f;
  RotateSequence(rightC + l, rightS + l, last - l, v + l * n, n);
  RotateSequence(leftC + l, leftS + l, last - l, u + l * m, m);
}

bool Decompose(const GolubKahan::Workspace& w) {
  GolubKahanSteps steps(w);
  steps.Bidiagonalise();
  steps.MakeLeft();
  steps.MakeRight();
  return steps.Diagonalise();
}

}  // namespace QZMolPotential::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace QZMolPotential {

HWY_EXPORT(Decompose);

GolubKahan::GolubKahan(std::size_t m, std::size_t n, std::size_t leftCount) : w_{} {
  w_.m = m;
  w_.n = n;
  w_.leftCount = leftCount;
  w_.count = std::min(m + 1, n);
  w_.leftSteps = m == 0 ? 0 : std::min(m - 1, n);
  w_.rightSteps = n < 2 ? 0 : std::min(m, n - 2);
  store_.resize(m * n + leftCount * m + n * n + 8 * w_.count + m);
  w_.x = store_.data();
  w_.u = w_.x + m * n;
  w_.v = w_.u + leftCount * m;
  w_.s = w_.v + n * n;
  w_.e = w_.s + w_.count;
  w_.leftFactor = w_.e + w_.count;
  w_.rightFactor = w_.leftFactor + w_.count;
  w_.work = w_.rightFactor + w_.count;
}

bool GolubKahan::Compute() {
  const std::size_t size = w_.m * w_.n;
  const double largest = Dense::MaxAbs(w_.x, size);
  if (!std::isfinite(largest)) return false;
  // Entries of size 1 keep squares in range.
  const int exponent = Dense::ScaleExponent(largest);
  Dense::ScaleByPower(-exponent, w_.x, size);
  if (!HWY_DYNAMIC_DISPATCH(Decompose)(w_)) return false;
  Dense::ScaleByPower(exponent, w_.s, w_.count);
  // Descending, equal values in their order. A wide matrix's extra zero stays last.
  order_.resize(std::max({w_.leftCount, w_.n, w_.count}));
  std::iota(order_.begin(), order_.end(), std::size_t{0});
  std::stable_sort(order_.begin(),
                   order_.begin() + static_cast<std::ptrdiff_t>(w_.count),
                   [this](std::size_t i, std::size_t j) { return w_.s[i] > w_.s[j]; });
  return true;
}

}  // namespace QZMolPotential
#endif
