// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <span>

#include "coordinates/redundant/coordinates.h"

namespace QZMolPotential {

/// A⁺ = V Σ⁻² Vᵀ, A = BᵀB, of one fragment of n coordinates from the singular values Σ and right
/// vectors V of its rows of B, those below the cut-off dropped. B itself is decomposed (rows are
/// folded into a triangle, n x n, whose singular value decomposition follows), since A would lose
/// half of the digits. Cost: O(m n²) for m rows; holds n² doubles, 2n² while it is made.
class DenseWilsonInverse {
 public:
  DenseWilsonInverse();
  ~DenseWilsonInverse();
  DenseWilsonInverse(DenseWilsonInverse&&) noexcept;
  DenseWilsonInverse& operator=(DenseWilsonInverse&&) noexcept;

  /// `rowsOfFragment`: which rows; `columnOf`: the fragment's first column of each atom. False:
  /// the decomposition failed.
  bool Compute(const WilsonRows& rows,
               std::span<const unsigned int> rowsOfFragment,
               std::span<const unsigned int> columnOf,
               unsigned int numColumns,
               double cutOff);
  /// x (n values) becomes A⁺ x.
  void Apply(std::span<double> x);

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

}  // namespace QZMolPotential
