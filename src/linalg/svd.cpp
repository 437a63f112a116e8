// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <Eigen/Core>
#include <algorithm>
#include <cstddef>
#include <vector>

#include "linalg/golub_kahan.h"
#include "molpotential/linalg.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

namespace {

/// Columns of the m x n matrix `a`, given by rows, one after the other.
void CopyColumns(const double* a, std::size_t m, std::size_t n, double* columns) {
  for (std::size_t i = 0; i < m; ++i) {
    for (std::size_t j = 0; j < n; ++j) columns[j * m + i] = a[i * n + j];
  }
}

using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

bool IsSymmetric(const double* a, std::size_t m, std::size_t n) {
  if (m != n) return false;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (a[i * n + j] != a[j * n + i]) return false;
    }
  }
  return true;
}

/// Takes the `count` largest singular values into account, or all for a larger number.
bool PseudoInverse(
    const double* a, double* inverse, std::size_t m, std::size_t n, std::size_t count) {
  constexpr double kZero = 1e-12;
  // Decomposed with the long side as rows: the square factor is then the small one. The columns of
  // the transposed matrix are the rows of `a`.
  const bool tall = m >= n;
  const std::size_t rows = std::max(m, n);
  const std::size_t columns = std::min(m, n);
  GolubKahan decomposition(rows, columns, columns);
  if (tall) {
    CopyColumns(a, m, n, decomposition.Matrix());
  } else {
    std::copy(a, a + m * n, decomposition.Matrix());
  }
  // The inverse of a symmetric matrix is symmetric, so that half of it is enough. This does not
  // hold when singular values are left out: of two opposite eigenvalues only one may be kept.
  const bool symmetric = count >= columns && IsSymmetric(a, m, n);
  if (!decomposition.Compute()) {
    QZSystem::QZThrow.Warning("Pseudoinvert calculation failed");
    return false;
  }
  // inverse = X Yᵀ, X being the vectors of one side divided by their singular values and Y those of
  // the other side. X is stored in place of the matrix, which is no longer needed.
  double* scaled = decomposition.Matrix();
  std::fill_n(scaled, columns * n, 0.0);
  const double* ofRows = tall ? decomposition.Left(0) : decomposition.Right(0);
  const double* ofColumns = tall ? decomposition.Right(0) : decomposition.Left(0);
  for (const std::size_t k : decomposition.Order().first(std::min(count, columns))) {
    const double value = decomposition.Values()[k];
    if (!(value >= kZero)) break;
    for (std::size_t j = 0; j < n; ++j) scaled[k * n + j] = ofColumns[k * n + j] / value;
  }

  const auto asIndex = [](std::size_t i) { return static_cast<Eigen::Index>(i); };
  const Eigen::Map<const RowMajor> x(scaled, asIndex(columns), asIndex(n));
  const Eigen::Map<const RowMajor> y(ofRows, asIndex(columns), asIndex(m));
  Eigen::Map<RowMajor> result(inverse, asIndex(n), asIndex(m));
  if (!symmetric) {
    result.noalias() = x.transpose() * y;
    return true;
  }
  constexpr Eigen::Index kRows = 96;  // a strip at a time, up to the diagonal
  for (Eigen::Index i = 0; i < result.rows(); i += kRows) {
    const Eigen::Index end = std::min(i + kRows, result.rows());
    result.block(i, 0, end - i, end).noalias() =
        x.middleCols(i, end - i).transpose() * y.leftCols(end);
  }
  for (Eigen::Index i = 0; i < result.rows(); ++i) {
    for (Eigen::Index j = 0; j < i; ++j) result(j, i) = result(i, j);
  }
  return true;
}

}  // namespace

bool svd(const double* a, unsigned m, unsigned n, double* s, double** u, double** v) {
  GolubKahan decomposition(m, n, m);
  CopyColumns(a, m, n, decomposition.Matrix());
  if (!decomposition.Compute()) return false;
  const auto values = decomposition.Values();
  const auto order = decomposition.Order();
  for (std::size_t k = 0; k < values.size(); ++k) s[k] = values[order[k]];
  for (std::size_t i = 0; i < m; ++i) {
    for (std::size_t k = 0; k < m; ++k) u[i][k] = decomposition.Left(order[k])[i];
  }
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t k = 0; k < n; ++k) v[j][k] = decomposition.Right(order[k])[j];
  }
  return true;
}

bool mpinvert(const double* a, double* inverse, unsigned m, unsigned n) {
  return PseudoInverse(a, inverse, m, n, m);
}

bool mpinvert(double* a, unsigned m, unsigned n) {
  const std::vector<double> copy(a, a + std::size_t{m} * n);
  return mpinvert(copy.data(), a, m, n);
}

bool mpinvert1(const double* a, double* inverse, unsigned m, unsigned n, unsigned k) {
  if (k > std::min(m + 1, n)) {
    QZSystem::QZThrow.Warning("Requested number of singular values is too big");
    return false;
  }
  return PseudoInverse(a, inverse, m, n, k == 0 ? m : k);
}

}  // namespace QZMolPotential
