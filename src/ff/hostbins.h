// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "ff/hostpoints.h"

namespace QZMolPotential {

/// Hosts sorted into bins, to collect those near a box without looking at all of them.
class HostBins {
 public:
  /// Keeps the hosts that lie within the square root of `reach2` of `around`; those that are not
  /// finite drop out.
  HostBins(const HostPoints& hosts, const CentreBox& around, double reach2);

  /// The hosts that a centre in `box` may have in reach, in their original order.
  void Collect(const CentreBox& box, HostPoints& out);

 private:
  void sortIntoBins();
  std::size_t binAlong(std::size_t axis, double x) const;

  double reach2_;
  double reach_;
  HostPoints hosts_;
  Point origin_{};
  Point inverseEdge_{};
  std::array<std::size_t, 3> dims_{1, 1, 1};
  std::vector<unsigned int> binStart_;
  std::vector<unsigned int> binned_;  // positions in hosts_, bin by bin
  std::vector<unsigned int> found_;
};

}  // namespace QZMolPotential
