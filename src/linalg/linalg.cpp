// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/linalg.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "kernels/vec3.h"
#include "linalg/rows.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

namespace {

struct Pivot {
  std::size_t row;
  std::size_t column;
};

/// The largest element of the rows and columns from k on; the first by rows among equals.
Pivot FindPivot(const double* a, std::size_t n, std::size_t k) {
  Pivot best{k, k};
  double largest = std::abs(a[k * n + k]);
  for (std::size_t i = k; i < n; ++i) {
    for (std::size_t j = k; j < n; ++j) {
      if (std::abs(a[i * n + j]) > largest) {
        largest = std::abs(a[i * n + j]);
        best = {i, j};
      }
    }
  }
  return best;
}

void SwapRows(double* a, std::size_t n, std::size_t i, std::size_t j) {
  if (i != j) std::swap_ranges(a + i * n, a + (i + 1) * n, a + j * n);
}
void SwapColumns(double* a, std::size_t n, std::size_t i, std::size_t j) {
  if (i == j) return;
  for (std::size_t row = 0; row < n; ++row) std::swap(a[row * n + i], a[row * n + j]);
}

}  // namespace

void invert(double* a, int n, double& determinant) {
  constexpr double kSingular = 1e-8;
  constexpr double kLargestDeterminant = 1e10;
  const auto size = static_cast<std::size_t>(std::max(n, 0));
  determinant = 1.0;
  std::vector<Pivot> pivots;
  pivots.reserve(size);
  for (std::size_t k = 0; k < size; ++k) {
    const Pivot pivot = FindPivot(a, size, k);
    const double value = a[pivot.row * size + pivot.column];
    if (std::abs(value) < kSingular) {
      determinant = 0.0;
      return;
    }
    determinant = std::min(value * determinant, kLargestDeterminant);
    SwapRows(a, size, k, pivot.row);
    SwapColumns(a, size, k, pivot.column);
    pivots.push_back(pivot);
    Eliminate(a, size, k);
  }
  // A row interchange of the matrix is a column interchange of its inverse, and the reverse.
  for (std::size_t k = size; k-- > 0;) {
    SwapRows(a, size, k, pivots[k].column);
    SwapColumns(a, size, k, pivots[k].row);
  }
}

double invert(double* a, int n) {
  double determinant = 0.0;
  invert(a, n, determinant);
  return determinant;
}

void givens(double& a, double& b, double& c, double& s) {
  const double sigma = std::abs(a) + std::abs(b);
  if (sigma == 0.0) {
    c = 1.0;
    s = 0.0;
    a = 0.0;
    b = 0.0;
    return;
  }
  const double largerOfBoth = std::abs(a) > std::abs(b) ? a : b;
  const double x = a / sigma;
  const double y = b / sigma;
  const double r = std::copysign(sigma * std::sqrt(x * x + y * y), largerOfBoth);
  c = a / r;
  s = b / r;
  if (std::abs(a) > std::abs(b)) {
    b = s;
  } else {
    b = c != 0.0 ? 1.0 / c : 1.0;
  }
  a = r;
}

int CubicEquation(double a, double b, double c, double d, double* roots) {
  constexpr double kTripleRoot = 1e-10;
  constexpr double kThird = 2.0943951023931953;      // 2π/3
  constexpr double kTwoThirds = 4.1887902047863905;  // 4π/3
  if (a == 0.0) QZSystem::QZThrow.Fatal("Not a cubic equation");
  const double s = b / (3.0 * a);
  const double q = (c - s * b) / (3.0 * a);
  const double r = ((2.0 * a * s * s - c) * s + d) / (2.0 * a);
  const double discriminant = r * r + q * q * q;
  if (discriminant < 0.0) {
    const double rho = std::sqrt(-(q * q * q));
    const double theta = std::acos(std::clamp(-r / rho, -1.0, 1.0)) / 3.0;
    const double m = 2.0 * std::cbrt(rho);
    roots[0] = m * std::cos(theta) - s;
    roots[1] = m * std::cos(theta + kThird) - s;
    roots[2] = m * std::cos(theta + kTwoThirds) - s;
    return 3;
  }
  if (discriminant <= kTripleRoot) {
    std::fill(roots, roots + 3, -s);
    return 1;
  }
  const double u = std::pow(-r, 1.0 / 3.0);
  roots[0] = 2.0 * u - s;
  roots[1] = roots[2] = -u - s;
  return 2;
}

bool IsLinear(const double* points, unsigned n) {
  constexpr double kTolerance = 1e-6;
  if (n < 3) return true;
  const Vec3 origin = LoadAtom(points, 0);
  const Vec3 v = LoadAtom(points, 1) - origin;
  for (std::size_t i = 2; i < n; ++i) {
    const Vec3 w = LoadAtom(points, i) - origin;
    const double cosine = std::abs(Dot(v, w)) / std::sqrt(Dot(w, w) * Dot(v, v));
    if (std::abs(cosine - 1.0) > kTolerance) return false;
  }
  return true;
}

void fit(const std::vector<std::pair<double, double>>& points,
         unsigned n,
         double& intercept,
         double& slope) {
  double sumX = 0.0;
  double sumY = 0.0;
  for (const auto& [x, y] : points) {
    sumX += x;
    sumY += y;
  }
  const double meanX = sumX / n;
  double covariance = 0.0;
  double variance = 0.0;
  for (const auto& [x, y] : points) {
    const double deviation = x - meanX;
    covariance += deviation * y;
    variance += deviation * deviation;
  }
  slope = covariance / variance;
  intercept = (sumY - slope * sumX) / n;
}

}  // namespace QZMolPotential
