// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

namespace QZMolPotential {

/// For each of n atoms (3 doubles each) the nearest one of smaller index, the lowest of several at
/// the same distance; 0 for the first, and for an atom with none within 1e5 Å. Cost: O(n) at usual
/// densities.
std::vector<unsigned int> NearestEarlierAtoms(const double* coords, std::size_t n);

}  // namespace QZMolPotential
