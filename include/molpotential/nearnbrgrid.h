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

/// A uniform grid of cells with edge e = 0.5 Å over the atoms of one molecule, the region. Each
/// cell lists the atoms of another molecule, the hosts, whose squared distance from the centre of
/// the cell
///   c = lower + (i + 1/2) e      is strictly less than      (e + radius)^2.
/// The list of a cell therefore holds every host within `radius` of any point of the cell, and some
/// hosts further away, as atom indices in the iteration order of the hosts. The lower faces of the
/// grid belong to it, the upper faces do not.
/// **A repeated `Init` does not clear**: a cell that receives no host keeps the list that stood at
/// its place in the array before, and callers rely on it. Build a new grid to start afresh. Copies:
/// deep. Cost: `Init` is linear in cells, hosts and entries together; a lookup computes one index.
/// Holds 24 bytes for each cell and 4 for each entry.
class QZ_API QZNearNbrGrid {
 public:
  QZNearNbrGrid() = default;

  /// Builds the grid over `region` for hosts within `radius` (Å) of its cells. Neither molecule is
  /// kept. Fails: false when the grid has no cells, because the region has no atoms, has
  /// coordinates that are not finite, or is too large for memory; every point then lies outside the
  /// grid.
  bool Init(const QZChem::QZMolBase& hosts, const QZChem::QZMolBase& region, double radius);

  /// The host atom indices of the cell that holds `point` (x, y, z in Å); empty outside the box.
  /// Valid until the next `Init`.
  const std::vector<unsigned int>& GetHostAtoms(const double* point) const;

 protected:
  /// Sets the box of the grid: the bounding box of the atoms of `region`, extended upwards to a
  /// whole number of cells. An axis with too many cells to count gets none.
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
