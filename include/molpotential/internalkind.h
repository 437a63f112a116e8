// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzplatform/export.h"

namespace QZMolPotential {

/// What an internal coordinate measures: a length (Å), a valence angle or a dihedral (radians).
enum class QZInternalKind { Bond, Angle, Dihedral };

/// Scales for `QZMinimizer::SetScales`: 1/√k for each variable, with k = 700 kcal/mol/Å² for bonds,
/// 150 kcal/mol/rad² for angles and 15 kcal/mol/rad² for dihedrals. These force constants were
/// chosen by minimising molecules with MMFF94. Without scales the stiff bonds determine the length
/// of the first steps, and torsions hardly move.
QZ_API std::vector<double> QZInternalScales(const std::vector<QZInternalKind>& kinds);

}  // namespace QZMolPotential
