// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzplatform/export.h"

namespace QZMolPotential {

/// What an internal coordinate measures: a length (Å), a valence angle or a dihedral (radians).
enum class QZInternalKind { Bond, Angle, Dihedral };

/// 1/√k of typical force constants, one for each variable, for `QZMinimizer::SetScales`: bonds 700
/// kcal/mol/Å², angles 150 and dihedrals 15 kcal/mol/rad², chosen by minimising molecules with
/// MMFF94. Without scales the stiff bonds rule the first steps and torsions creep.
QZ_API std::vector<double> QZInternalScales(const std::vector<QZInternalKind>& kinds);

}  // namespace QZMolPotential
