// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

namespace QZMolPotential {

/// One Gauss-Jordan step on the pivot (k, k) of a full n x n matrix, in place: afterwards column k
/// is that of the inverse.
void Eliminate(double* a, std::size_t n, std::size_t k);

}  // namespace QZMolPotential
