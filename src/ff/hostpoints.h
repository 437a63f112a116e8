// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace QZMolPotential {

using GridPoint = std::array<double, 3>;

/// A box of cell centres, faces included.
struct CentreBox {
  GridPoint low;
  GridPoint high;
};

/// Points with their atom indices as one array a component, for loops over all of them. The arrays
/// only grow and may be longer than `size`.
struct HostPoints {
  std::array<std::vector<double>, 3> x;
  std::vector<unsigned int> atom;
  std::size_t size = 0;

  void MakeRoom(std::size_t count) {
    if (count <= atom.size()) return;
    for (auto& component : x) component.resize(count);
    atom.resize(count);
  }
  void Append(const GridPoint& point, unsigned int index) {
    if (size == atom.size()) MakeRoom(std::max<std::size_t>(64, 2 * size));
    for (std::size_t k = 0; k < 3; ++k) x[k][size] = point[k];
    atom[size++] = index;
  }
  GridPoint At(std::size_t i) const { return {x[0][i], x[1][i], x[2][i]}; }
};

}  // namespace QZMolPotential
