// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "coordinates/map.h"
#include "coordinates/tree/screw_map.h"
#include "molpotential/coordinates.h"

namespace QZMolPotential {

/// The map of any kind; with every atom fixed, one without variables. Null with a reason.
std::unique_ptr<CoordinateMap> MakeMap(QZCoordinates kind,
                                       const MapRequest& request,
                                       std::string& reason);

/// One unit a connected component, without torsions: still where it holds a fixed atom, else a
/// body. Holes belong to none.
ScrewLayout ComponentLayout(const MapRequest& request);

/// 1/√k of typical force constants, one for each variable; all 1 where all are Cartesian.
std::vector<double> ScalesOf(const std::vector<VariableKind>& kinds);

}  // namespace QZMolPotential
