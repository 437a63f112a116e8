// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace QZMolPotential {

using Point = std::array<double, 3>;

/// A box of cell centres, faces included.
struct CentreBox {
  Point low;
  Point high;
};

/// Points with their atom indices as one array a component, for loops over all of them.
struct HostPoints {
  std::array<std::vector<double>, 3> x;
  std::vector<unsigned int> atom;

  std::size_t Size() const { return atom.size(); }
  void Resize(std::size_t count);
  void Append(const Point& point, unsigned int index);
};

/// The hosts of `in` that may lie within the square root of `reach2` of a centre in `box`, in the
/// same order. Compares by the arithmetic of the cell test,
///   (dx*dx + dy*dy) + dz*dz < reach2,
/// at the nearest point of the box: rounding is monotonic, so no host that passes the test at a
/// centre inside is lost.
void FilterByBox(const HostPoints& in, const CentreBox& box, double reach2, HostPoints& out);

/// Hosts sorted into bins, to collect those near a box without looking at all of them.
class HostBins {
 public:
  /// Keeps the hosts that lie within `reach` of `around`; those that are not finite drop out.
  HostBins(const HostPoints& hosts, const CentreBox& around, double reach);

  /// The hosts near `box`, at least those within `reach` of it, in their original order.
  void Collect(const CentreBox& box, double reach, HostPoints& out);

 private:
  std::size_t binAlong(std::size_t axis, double x) const;

  HostPoints hosts_;
  Point origin_{};
  Point inverseEdge_{};
  std::array<std::size_t, 3> dims_{1, 1, 1};
  std::vector<unsigned int> binStart_;
  std::vector<unsigned int> binned_;  // positions in hosts_, bin by bin
  std::vector<unsigned int> found_;
};

}  // namespace QZMolPotential
