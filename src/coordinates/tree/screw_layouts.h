// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "coordinates/map.h"
#include "coordinates/tree/screw_map.h"
#include "qzsystem/predicate.h"

namespace QZMolPotential {

using BondPredicate = QZSystem::QZUnaryPredicate<QZChem::QZBondBase>;

/// One unit for each connected component, without torsions. A component with a fixed atom does not
/// move; any other is a body. Holes belong to no unit.
ScrewLayout ComponentLayout(const MapRequest& request);

/// Consecutive blocks of so many atoms each, which turn about the origin.
ScrewLayout BlockLayout(const std::vector<unsigned int>& atomCounts);

/// Adds torsions on the bonds that `rotors` accepts, in the units for which `turning` is true,
/// except bonds in rings and bonds to terminal atoms. Atoms for which `held` is nonzero stay in
/// place; in components without such atoms the largest rigid piece does.
void AddTorsions(const MapRequest& request,
                 const BondPredicate& rotors,
                 const std::vector<bool>& turning,
                 const std::vector<unsigned char>& held,
                 ScrewLayout& layout);

/// Every component has torsions but no translation and rotation.
std::unique_ptr<CoordinateMap> MakeTorsionMap(const MapRequest& request,
                                              const BondPredicate& rotors);
/// Every component without a fixed atom moves with its torsions.
std::unique_ptr<CoordinateMap> MakeTorsionRigidMap(const MapRequest& request,
                                                   const BondPredicate& rotors);

}  // namespace QZMolPotential
