// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace QZMolPotential {

/// Singular value decomposition A = U diag(s) Vᵀ of an m x n matrix. Every vector is contiguous:
/// columns of A, left vectors (m long) and right vectors (n long) stand one after the other.
class GolubKahan {
 public:
  /// `leftCount`, min(m, n) .. m, is how many left vectors are wanted.
  GolubKahan(std::size_t m, std::size_t n, std::size_t leftCount);

  /// m*n, to be filled by the caller, column after column; destroyed by `Compute`.
  double* Matrix() { return x_; }
  /// False when an element is not finite or a value needs more than 30 sweeps.
  bool Compute();

  /// The min(m+1, n) singular values, not negative, not sorted.
  std::span<const double> Values() const { return {s_, count_}; }
  /// Where the k-th largest value stands, and its vectors; all left and right vectors are listed.
  std::span<const std::size_t> Order() const { return order_; }
  const double* Left(std::size_t k) const { return u_ + k * m_; }
  const double* Right(std::size_t k) const { return v_ + k * n_; }

 private:
  void bidiagonalise();
  void reflectRows(std::size_t k);
  void makeLeft();
  void makeRight();
  bool diagonalise();
  void deflate(std::size_t l, std::size_t last);
  void split(std::size_t l, std::size_t last);
  void sweep(std::size_t l, std::size_t last);
  void sort();

  std::size_t m_;
  std::size_t n_;
  std::size_t leftCount_;
  std::size_t count_;  // of singular values
  std::size_t leftSteps_;
  std::size_t rightSteps_;
  std::vector<double> store_;
  double* x_;
  double* u_;
  double* v_;
  double* s_;
  double* e_;           // superdiagonal, e[k] between k and k + 1
  double* leftFactor_;  // -2/|u|² of the reflectors, later cosines and sines of a sweep
  double* rightFactor_;
  double* work_;  // m + 4 count
  std::vector<std::size_t> order_;
};

}  // namespace QZMolPotential
