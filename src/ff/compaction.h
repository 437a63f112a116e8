// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "ff/hostpoints.h"

namespace QZMolPotential {

// The inner loops of the near-neighbour grid: which hosts are in reach, by
//   (dx*dx + dy*dy) + dz*dz < reach2
// rounded alike on every processor, and kept in order.

/// The distance from `x` to the range [low, high], zero inside.
inline double Outside(double x, double low, double high) {
  return std::max(0.0, std::max(low - x, x - high));
}

/// Whether a centre in `box` may have `p` in reach: the test at the nearest point of the box.
/// Rounding is monotonic, so no host that passes at a centre inside is lost.
inline bool MayReach(const GridPoint& p, const CentreBox& box, double reach2) {
  const double dx = Outside(p[0], box.low[0], box.high[0]);
  const double dy = Outside(p[1], box.low[1], box.high[1]);
  const double dz = Outside(p[2], box.low[2], box.high[2]);
  return dx * dx + dy * dy + dz * dz < reach2;
}

/// The hosts of `in` for which `MayReach` holds, into `out`.
void FilterByBox(const HostPoints& in, const CentreBox& box, double reach2, HostPoints& out);

/// The atoms of those hosts at height z[j] for which planar2[j] + (z[j] - cz)^2 < reach2, into
/// `out`, which grows as needed. Returns their number.
std::size_t CompactColumn(const HostPoints& hosts,
                          const std::vector<double>& planar2,
                          double cz,
                          double reach2,
                          std::vector<unsigned int>& out);

}  // namespace QZMolPotential
