// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "coordinates/map.h"
#include "molpotential/coordinates.h"

namespace QZMolPotential {

/// The map of any kind; with every atom fixed, one without variables. Null with a reason.
std::unique_ptr<CoordinateMap> MakeMap(QZCoordinates kind,
                                       const MapRequest& request,
                                       std::string& reason);

/// 1/√k of typical force constants, one for each variable; all 1 where all are Cartesian.
std::vector<double> ScalesOf(const std::vector<VariableKind>& kinds);

}  // namespace QZMolPotential
