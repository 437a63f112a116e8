// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

namespace QZMolPotential {

/// Spare entries that `CompactColumn` needs behind the last one it may write.
inline constexpr std::size_t kCompactionSlack = 4;

/// Writes the atoms of those hosts j, in order, for which
///   planar2[j] + (z[j] - cz)*(z[j] - cz) < reach2
/// to `out` (count + kCompactionSlack entries) and returns their number. The comparison is rounded
/// alike on every processor.
std::size_t CompactColumn(const double* planar2,
                          const double* z,
                          const unsigned int* atom,
                          std::size_t count,
                          double cz,
                          double reach2,
                          unsigned int* out);

}  // namespace QZMolPotential
