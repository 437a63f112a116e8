// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

namespace QZMolPotential {

/// Where element (r, c), c <= r, of a packed symmetric matrix stands: lower triangle by rows.
constexpr std::size_t PackedIndex(std::size_t r, std::size_t c) {
  return r * (r + 1) / 2 + c;
}
/// Length of a packed symmetric n x n matrix.
constexpr std::size_t PackedSize(std::size_t n) {
  return n * (n + 1) / 2;
}

}  // namespace QZMolPotential
