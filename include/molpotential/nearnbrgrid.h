// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "qzplatform/export.h"

namespace QZChem {
class QZMolBase;
}  // namespace QZChem

namespace QZMolPotential {

/// Uniform grid of cells of edge e = 0.5 Å over the atoms of one molecule, the region; each cell
/// lists the atoms of another, the hosts, whose squared distance from the cell's centre
///   c = lower + (i + 1/2) e      is strictly less than      (e + radius)^2.
/// The lists therefore hold every host within `radius` of any point of the cell, and some beyond,
/// by atom index in the hosts' iteration order. The box is half-open: lower faces belong to it,
/// upper faces do not.
/// A repeated `Init` does not clear: a cell that receives no host keeps the list that it had at its
/// place in the array, and callers rely on it. Build a fresh grid to start afresh.
/// Cost: `Init` grows with cells + hosts + entries written; a lookup is one index computation.
/// Holds 24 bytes a cell and 4 an entry.
class QZ_API QZNearNbrGrid {
 public:
  QZNearNbrGrid() = default;

  /// Builds the grid over `region` for hosts within `radius` (Å) of its cells. Fails: false for a
  /// grid without cells, that is a region without atoms, one whose coordinates are not finite, or
  /// one too large for memory; every point then lies outside.
  bool Init(const QZChem::QZMolBase& hosts, const QZChem::QZMolBase& region, double radius);

  /// The host atom indices of the cell that holds `point` (x, y, z in Å); empty outside the box.
  /// Valid until the next `Init`.
  const std::vector<unsigned int>& GetHostAtoms(const double* point) const;

 protected:
  /// The box around the atoms of `region`, its upper corner moved up to a whole number of cells. An
  /// axis whose cells cannot be counted gets none.
  void SetupBounds(const QZChem::QZMolBase& region);

 private:
  bool countCells(std::size_t& count) const;
  void collapse();

  std::array<double, 3> lower_{};
  std::array<double, 3> upper_{};
  std::array<unsigned int, 3> dims_{};
  // Cell (ix, iy, iz) is element (iz ny + iy) nx + ix.
  std::vector<std::vector<unsigned int>> cells_;
  std::vector<unsigned int> noHosts_;
  double scale_ = 2.0;  // cells per Å
};

inline const std::vector<unsigned int>& QZNearNbrGrid::GetHostAtoms(const double* point) const {
  std::array<std::size_t, 3> cell{};
  for (std::size_t k = 0; k < 3; ++k) {
    if (!(lower_[k] <= point[k] && point[k] < upper_[k])) return noHosts_;
    // The difference may round up to the length of the box.
    const auto along = static_cast<unsigned int>((point[k] - lower_[k]) * scale_);
    cell[k] = std::min(along, dims_[k] - 1);
  }
  return cells_[(cell[2] * dims_[1] + cell[1]) * dims_[0] + cell[0]];
}

}  // namespace QZMolPotential
