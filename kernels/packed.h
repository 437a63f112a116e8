// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

#include "kernels/mat3.h"

namespace QZMolPotential {

/// Where element (r, c), c <= r, of a packed symmetric matrix stands: lower triangle by rows.
constexpr std::size_t PackedIndex(std::size_t r, std::size_t c) {
  return r * (r + 1) / 2 + c;
}
/// Length of a packed symmetric n x n matrix.
constexpr std::size_t PackedSize(std::size_t n) {
  return n * (n + 1) / 2;
}

/// Adds the lower triangle of the symmetric `block` to that of atom `i` in the packed Hessian.
inline void AddDiagonalBlock(double* hessian, std::size_t i, const Mat3& block) {
  const std::size_t row = 3 * i;
  double* out = hessian + PackedIndex(row, row);
  out[0] += block.row0.x;
  out += row + 1;
  out[0] += block.row1.x;
  out[1] += block.row1.y;
  out += row + 2;
  AddToAtom(out, 0, block.row2);
}

/// Adds the second derivatives over atom `i` (rows of `block`) and atom `j` < i (columns) to the
/// packed Hessian.
inline void AddLowerBlock(double* hessian, std::size_t i, std::size_t j, const Mat3& block) {
  const std::size_t row = 3 * i;
  double* out = hessian + PackedIndex(row, 3 * j);
  AddToAtom(out, 0, block.row0);
  AddToAtom(out += row + 1, 0, block.row1);
  AddToAtom(out + row + 2, 0, block.row2);
}
/// The same for two atoms in either order.
inline void AddMixedBlock(double* hessian, std::size_t i, std::size_t j, const Mat3& block) {
  if (i > j) {
    AddLowerBlock(hessian, i, j, block);
  } else {
    AddLowerBlock(hessian, j, i, Transpose(block));
  }
}

}  // namespace QZMolPotential
