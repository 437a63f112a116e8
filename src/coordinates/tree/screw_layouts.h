// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "coordinates/map.h"
#include "coordinates/tree/screw_map.h"
#include "qzsystem/predicate.h"

namespace QZMolPotential {

using BondPredicate = QZSystem::QZUnaryPredicate<QZChem::QZBondBase>;

/// One unit a connected component, without torsions: still where it holds a fixed atom, else a
/// body. Holes belong to none.
ScrewLayout ComponentLayout(const MapRequest& request);

/// Consecutive blocks of so many atoms each, which turn about the origin.
ScrewLayout BlockLayout(const std::vector<unsigned int>& atomCounts);

/// Torsions on the bonds that `rotors` accepts in the units for which `turning` is true; never on
/// bonds in rings or with nothing behind them. Atoms for which `held` is nonzero rest, else each
/// component's largest rigid piece.
void AddTorsions(const MapRequest& request,
                 const BondPredicate& rotors,
                 const std::vector<bool>& turning,
                 const std::vector<unsigned char>& held,
                 ScrewLayout& layout);

/// Every component rests but for its torsions.
std::unique_ptr<CoordinateMap> MakeTorsionMap(const MapRequest& request,
                                              const BondPredicate& rotors);
/// Every component without a fixed atom moves with its torsions.
std::unique_ptr<CoordinateMap> MakeTorsionRigidMap(const MapRequest& request,
                                                   const BondPredicate& rotors);

}  // namespace QZMolPotential
