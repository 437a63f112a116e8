// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>

#include "math/dihedral.h"

namespace QZMolPotential {

/// Adds to a packed Hessian, in which P0 .. P3 are the atoms `atoms`, the second derivatives of
/// f(cos φ),
///   f'' ∇cos ⊗ ∇cos + f' ∇²cos,
/// and, unless `grad` is null, f' ∇cos to a gradient. `first` is f' and `second` f'': a square
/// penalty k (cos φ - c0)² passes 2k (cos φ - c0) and 2k; the cosine itself 1 and 0. No guard
/// against atoms in line.
void AddDihedralDerivatives(double* hessian,
                            double* grad,
                            const std::array<unsigned int, 4>& atoms,
                            const DihedralCosine& dihedral,
                            double first,
                            double second);

}  // namespace QZMolPotential
