// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace QZMolPotential {

/// Reduces a packed symmetric n x n matrix, entries of size 1 at most, to tridiagonal form
/// T = Qᵀ A Q. `d` (n) gets the diagonal, `e` (n) the off-diagonal, e[i] between i and i + 1,
/// e[n-1] = 0. The matrix is overwritten with the Householder vectors, the one of row i (2 <= i <
/// n) in its first i elements, and `factor[i]` is -2/|u|² of it, 0 for none. `work` holds 2n.
void Tridiagonalise(double* packed,
                    std::span<double> d,
                    std::span<double> e,
                    std::span<double> factor,
                    std::span<double> work);

/// Turns eigenvectors of T, rows of n, into those of A: y -> Q y.
void BackTransform(const double* packed, std::span<const double> factor, std::span<double*> rows);

/// Largest row sum of absolute values of T.
double TridiagonalNorm(std::span<const double> d, std::span<const double> e);

/// Eigenvalues of T by implicit QL, not sorted, in place of `d`; `e` is destroyed. The eigenvalues
/// of a block between two off-diagonals that are zero take that block's places. False when one
/// needs more than 60 sweeps.
bool TridiagonalEigenvalues(std::span<double> d, std::span<double> e, double norm);

/// Takes the components along `others` (orthonormal) out of x and normalises it. Returns its norm
/// before; 0 when nothing but rounding was left. Repeated while much is taken away, since what is
/// left then still holds rounding errors of what was.
double Orthogonalise(std::span<double> x, std::span<const double* const> others);

/// Eigenvectors of T by inverse iteration.
class InverseIteration {
 public:
  /// T is kept by reference for the life of the object.
  InverseIteration(std::span<const double> d, std::span<const double> e, double norm);

  /// Writes the eigenvectors of the block [begin, end), an unreduced part of T, for its eigenvalues
  /// `values[ranks[i]]`, i in the block, ascending, into `rows[ranks[i]]`, as many of these ranks
  /// as are below rows.size().
  void Block(std::size_t begin,
             std::size_t end,
             std::span<const double> values,
             std::span<const std::size_t> ranks,
             std::span<double*> rows);

 private:
  void factorise(std::size_t begin, std::size_t end, double shift);
  bool solve(std::span<double> x, bool forward) const;
  void randomise(std::span<double> x);
  void iterate(std::span<double> x, std::span<const double* const> others);

  std::span<const double> d_;
  std::span<const double> e_;
  double norm_;
  double floor_;  // smallest pivot
  unsigned int random_ = 1;
  std::vector<double> inverseDiagonal_;
  std::vector<double> upper_;
  std::vector<double> upper2_;
  std::vector<double> multiplier_;
  std::vector<unsigned char> swapped_;
  std::vector<const double*> chain_;
};

}  // namespace QZMolPotential
