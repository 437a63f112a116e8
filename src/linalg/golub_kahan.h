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

  /// Sizes, and where everything stands.
  struct Workspace {
    std::size_t m;
    std::size_t n;
    std::size_t leftCount;
    std::size_t count;  // of singular values
    std::size_t leftSteps;
    std::size_t rightSteps;
    double* x;
    double* u;
    double* v;
    double* s;
    double* e;           // superdiagonal, e[k] between k and k + 1
    double* leftFactor;  // -2/|u|² of the reflectors, later cosines and sines of a sweep
    double* rightFactor;
    double* work;  // m + 4 count
  };

  /// m*n, to be filled by the caller, column after column; destroyed by `Compute`.
  double* Matrix() { return w_.x; }
  /// False when an element is not finite or a value needs more than 30 sweeps.
  bool Compute();

  /// The min(m+1, n) singular values, not negative, not sorted.
  std::span<const double> Values() const { return {w_.s, w_.count}; }
  /// Where the k-th largest value stands, and its vectors; all left and right vectors are listed.
  std::span<const std::size_t> Order() const { return order_; }
  const double* Left(std::size_t k) const { return w_.u + k * w_.m; }
  const double* Right(std::size_t k) const { return w_.v + k * w_.n; }

 private:
  Workspace w_;
  std::vector<double> store_;
  std::vector<std::size_t> order_;
};

}  // namespace QZMolPotential
