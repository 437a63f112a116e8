// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "molpotential/molpotential.h"

namespace Molpot {

/// The names that --coordinates accepts, the preferred ones first.
std::vector<std::string> CoordinateNames();
/// Every coordinate system.
std::vector<QZMolPotential::QZCoordinates> AllCoordinates();
/// Why these coordinates cannot hold atoms fixed, whatever the molecule; "" where they can.
std::string WhyNotFixed(QZMolPotential::QZCoordinates kind);

/// Presents `energy` in a coordinate system, started at the molecule's coordinates. `fixed` are
/// 0-based atom indices; `energy` and `mol` outlive the result. Throws RecordError with the
/// library's reason where the system does not apply.
std::unique_ptr<QZMolPotential::QZCoordinateFunc> Present(QZMolPotential::QZMolFunc2& energy,
                                                          const QZChem::QZMolBase& mol,
                                                          QZMolPotential::QZCoordinates kind,
                                                          const std::vector<unsigned int>& fixed);

}  // namespace Molpot
