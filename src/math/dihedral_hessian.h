// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "math/dihedral.h"

namespace QZMolPotential {

/// Second derivatives of f(cos φ) over the twelve coordinates of P0 .. P3, from the first and
/// second derivative of f with respect to the cosine:
///   f'' ∇cos ⊗ ∇cos + f' ∇²cos.
/// `hessian` gets 78 doubles, the packed lower triangle, overwritten. A square penalty
/// k (cos φ - c0)² passes f' = 2k (cos φ - c0), f'' = 2k and is spared a second pass. No guard
/// against atoms in line.
void DihedralFunctionHessian(const DihedralCosine& dihedral,
                             double first,
                             double second,
                             double* hessian);

/// Second derivatives of cos φ itself, packed, 78 doubles, overwritten.
inline void DihedralCosineHessian(const DihedralCosine& dihedral, double* hessian) {
  DihedralFunctionHessian(dihedral, 1.0, 0.0, hessian);
}

}  // namespace QZMolPotential
