// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "coordinates/map.h"

namespace QZMolPotential {

/// A map where it stands: `vars`, a geometry of `Place` or `Start`.
struct PlacedMap {
  CoordinateMap& map;
  const std::vector<double>& vars;
};

/// Turns steps in the variables v of `from` and the changes of the gradient over them into those in
/// v' of `to`, at the same geometry: with J = ∂x/∂v S for scales S, and J' likewise,
///   move' = S' J'⁺ J S⁻¹ move,   change' = S'⁻¹ (J⁺ J')ᵀ S change
/// `atoms` are those that move. Cost: O(n N²) for n variables and N coordinates of these atoms.
void CarrySteps(const PlacedMap& from,
                const PlacedMap& to,
                const std::vector<unsigned int>& atoms,
                std::vector<QZOpt::QZCurvatureStep>& steps);

}  // namespace QZMolPotential
