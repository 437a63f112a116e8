// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <vector>

#include "ff/hostpoints.h"
#include "kernels/cells.h"

namespace QZMolPotential {

/// Hosts sorted into cells, to collect those near a box without looking at all of them.
class HostBins {
 public:
  /// Keeps the hosts that lie within the square root of `reach2` of `around`; those that are not
  /// finite drop out.
  HostBins(const HostPoints& hosts, const CentreBox& around, double reach2);

  /// The hosts that a centre in `box` may have in reach, in their original order.
  void Collect(const CentreBox& box, HostPoints& out);

 private:
  double reach2_;
  double reach_;
  HostPoints hosts_;
  CellList cells_;  // of positions in hosts_
  std::vector<unsigned int> found_;
};

}  // namespace QZMolPotential
