// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/geomconstr.h"
#include "qzchem/qzchem.h"

namespace Molpot {

/// Holds the distance (Å), angle or dihedral with its sign (radians) of two to four atoms, 0-based.
/// Without `SetTarget` that of the molecule at `Setup`.
std::unique_ptr<QZMolPotential::QZGeometryConstr> HoldInternal(
    const std::vector<unsigned int>& atoms);

/// The distance (Å), angle or dihedral (degrees) of two to four atoms.
double MeasureInternal(const QZChem::QZMolBase& mol, const std::vector<unsigned int>& atoms);

}  // namespace Molpot
