// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <span>
#include <vector>

#include "kernels/packed.h"
#include "linalg/dense_kernels.h"
#include "linalg/tridiagonal.h"
#include "molpotential/linalg.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

namespace {

bool SizesFit(int n, int nvec) {
  if (n < 2) {
    QZSystem::QZThrow.Fatal("Size of the matrix is smaller tnan 2");
    return false;
  }
  if (nvec > n) {
    QZSystem::QZThrow.Fatal("Number of requested eigenvectors exceeds matrix dimension");
    return false;
  }
  return true;
}

/// False, with a Warning, for a packed matrix with an element that is not finite. `largest`
/// receives the largest absolute value.
bool IsFinite(const double* a, std::size_t n, double& largest) {
  largest = Dense::MaxAbs(a, PackedSize(n));
  if (std::isfinite(largest)) return true;
  QZSystem::QZThrow.Warning("Diagonalization failed: a matrix element is not finite");
  return false;
}

bool NotConverged() {
  QZSystem::QZThrow.Warning("Diagonalization failed: the eigenvalues do not converge");
  return false;
}

/// The five vectors of length n that a call works with.
struct WorkSpace {
  explicit WorkSpace(std::size_t n) : n_(n), store_(5 * n) {}
  std::span<double> Vector(std::size_t k, std::size_t count = 1) {
    return {store_.data() + k * n_, count * n_};
  }

 private:
  std::size_t n_;
  std::vector<double> store_;
};

/// The eigenvectors of T for eigenvalues in ascending order; `position[k]` is where eigenvalue k
/// stood before they were sorted, which tells its block.
void TridiagonalVectors(std::span<const double> d,
                        std::span<const double> e,
                        double norm,
                        std::span<const double> values,
                        std::span<const std::size_t> position,
                        std::span<double*> rows) {
  const std::size_t n = d.size();
  std::vector<std::size_t> ranks(n);
  for (std::size_t k = 0; k < n; ++k) ranks[position[k]] = k;
  InverseIteration iteration(d, e, norm);
  for (std::size_t begin = 0, end = 0; begin < n; begin = end) {
    end = begin + 1;
    while (e[end - 1] != 0.0) ++end;
    const std::span<std::size_t> block(ranks.data() + begin, end - begin);
    std::sort(block.begin(), block.end());
    iteration.Block(begin, end, values, block, rows);
  }
}

}  // namespace

bool diagonalize(double* a, double* eigenvalues, double** eigenvectors, int n, int nvec) {
  if (!SizesFit(n, nvec)) return false;
  const auto size = static_cast<std::size_t>(n);
  double largest = 0.0;
  if (!IsFinite(a, size, largest)) return false;

  // Entries of size 1 keep squares in range and make every tolerance relative.
  const int exponent = Dense::ScaleExponent(largest);
  Dense::ScaleByPower(-exponent, a, PackedSize(size));
  WorkSpace work(size);
  const auto d = work.Vector(0);
  const auto e = work.Vector(1);
  const auto factor = work.Vector(2);
  Tridiagonalise(a, d, e, factor, work.Vector(3, 2));
  const double norm = TridiagonalNorm(d, e);
  for (double& value : e) {
    if (std::abs(value) <= 0x1p-53 * norm) value = 0.0;
  }

  const auto values = work.Vector(3);
  const auto destroyed = work.Vector(4);
  std::copy(d.begin(), d.end(), values.begin());
  std::copy(e.begin(), e.end(), destroyed.begin());
  if (!TridiagonalEigenvalues(values, destroyed, norm)) return NotConverged();
  std::vector<std::size_t> position(size);
  std::iota(position.begin(), position.end(), std::size_t{0});
  std::stable_sort(position.begin(), position.end(), [&](std::size_t i, std::size_t j) {
    return values[i] < values[j];
  });
  for (std::size_t k = 0; k < size; ++k) eigenvalues[k] = values[position[k]];

  if (nvec > 0) {
    const std::span<double*> rows(eigenvectors, static_cast<std::size_t>(nvec));
    TridiagonalVectors(d, e, norm, {eigenvalues, size}, position, rows);
    BackTransform(a, factor, rows);
  }
  Dense::ScaleByPower(exponent, eigenvalues, size);
  return true;
}

bool eigendiagonalize(double* a, double* eigenvalues, double** eigenvectors, int n, int nvec) {
  if (!SizesFit(n, nvec)) return false;
  const auto size = static_cast<std::size_t>(n);
  double largest = 0.0;
  if (!IsFinite(a, size, largest)) return false;
  // Row i of the lower triangle is column i of the upper one, and Eigen reads the lower: fill both.
  Eigen::MatrixXd dense(n, n);
  const double* element = a;
  for (Eigen::Index i = 0; i < n; ++i) {
    for (Eigen::Index j = 0; j <= i; ++j) dense(i, j) = dense(j, i) = *element++;
  }
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(dense, Eigen::ComputeEigenvectors);
  if (solver.info() != Eigen::Success) return NotConverged();
  const double* values = solver.eigenvalues().data();
  std::copy(values, values + size, eigenvalues);
  for (int k = 0; k < nvec; ++k) {
    const double* column = solver.eigenvectors().col(k).data();
    std::copy(column, column + size, eigenvectors[k]);
  }
  return true;
}

}  // namespace QZMolPotential
