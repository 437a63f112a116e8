// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace QZMolPotential {

/// A 3 x 3 block by rows.
using Block3 = std::array<double, 9>;

/// L D Lᵀ of a sparse symmetric positive semidefinite matrix of 3 x 3 blocks, one block row a node.
/// Single coordinates can be held: their row and column are left out and their solution is 0.
/// `Analyse` once for a pattern; then as often as needed fill `Diagonal` and `Blocks`, `Factor` and
/// `Solve`. Fill-reducing order: approximate minimum degree. Up-looking factorisation along the
/// elimination tree: Davis, Direct Methods for Sparse Linear Systems (SIAM 2006), ch. 4.
class BlockLdlt {
 public:
  using Edge = std::pair<unsigned int, unsigned int>;

  /// `edges`: node pairs with a block off the diagonal, each pair once, no self-pairs.
  void Analyse(unsigned int numNodes, std::span<const Edge> edges);

  unsigned int NumNodes() const { return static_cast<unsigned int>(diagonal_.size()); }
  /// The place of a node in the order of elimination.
  unsigned int Position(unsigned int node) const { return position_[node]; }
  /// Where in `Blocks` the block of two nodes stands. Its rows belong to the node of the lower
  /// position, its columns to the other.
  std::size_t Slot(unsigned int nodeA, unsigned int nodeB) const;
  /// By position / by slot; input of `Factor`, which leaves them alone.
  std::vector<Block3>& Diagonal() { return diagonal_; }
  std::vector<Block3>& Blocks() { return blocks_; }

  /// What a coordinate is in `Factor`.
  enum Hold : char { kFree, kHeld, kWeak };
  /// `hold`: one a coordinate, by position. Where a pivot does not exceed `tiny` times the
  /// diagonal element, the coordinate is held too and becomes `kWeak`.
  void Factor(std::vector<Hold>& hold, double tiny);
  /// x (3 a position) becomes the solution, held coordinates 0.
  void Solve(double* x) const;

 private:
  struct PivotBlock {
    std::array<double, 3> inverse;  // of D, 0 where held
    double l10, l20, l21;           // the block of L on the diagonal, unit lower triangular
  };

  void analyseFill();
  PivotBlock factorPivot(const Block3& s, std::size_t position, Hold* hold, double tiny) const;

  std::vector<unsigned int> position_;
  // Strict upper triangle by columns of the permuted matrix, rows ascending.
  std::vector<std::size_t> columnStart_;
  std::vector<unsigned int> columnRows_;
  std::vector<Block3> diagonal_;
  std::vector<Block3> blocks_;
  // L by columns with its rows ascending, and its pattern by rows.
  std::vector<std::size_t> start_;
  std::vector<unsigned int> rows_;
  std::vector<Block3> l_;
  std::vector<std::size_t> patternStart_;
  std::vector<unsigned int> pattern_;
  std::vector<PivotBlock> pivots_;
  // Work of Factor: the row being computed, and the end of each column so far.
  std::vector<Block3> work_;
  std::vector<std::size_t> next_;
};

}  // namespace QZMolPotential
