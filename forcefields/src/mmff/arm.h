// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "kernels/vec3.h"

namespace QZMolPotential {

/// MMFF's energy unit: kcal/mol of a md·Å. RDKit's digits; Halgren writes 143.9325 and, drawn into
/// the angle terms, roundings of its products with π/180.
inline constexpr double kMdyneAngstrom = 143.9325;

/// The vector from atom `from` to atom `to`. Atoms in one place have no direction: they are taken a
/// little apart, so that energies and derivatives stay finite. NaN stays NaN.
inline Vec3 Arm(const double* x, unsigned int from, unsigned int to) {
  const Vec3 arm = LoadAtom(x, to) - LoadAtom(x, from);
  constexpr double kApart = 1e-8;  // Å
  return Dot(arm, arm) == 0.0 ? Vec3{kApart, 0.0, 0.0} : arm;
}

}  // namespace QZMolPotential
