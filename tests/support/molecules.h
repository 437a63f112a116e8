// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <random>
#include <vector>

#include "qzchem/mol.h"

namespace TestSupport {

/// Small molecules at sensible geometries, built by hand.
QZChem::QZGraphMol Water();
/// `n` carbons in a zigzag chain (1.53 Å, 112 degrees) without hydrogens.
QZChem::QZGraphMol CarbonChain(unsigned int n);
/// C4H10, gauche, hydrogens last.
QZChem::QZGraphMol Butane();
/// Two waters 3 Å apart, atoms ordered by molecule.
QZChem::QZGraphMol WaterDimer();
/// `n` atoms in line along x without holes, `spacing` Å apart, bonded in sequence.
QZChem::QZGraphMol LinearChain(unsigned int n, double spacing);

/// All coordinates of a molecule, 3 x AtomIndexBound().
std::vector<double> Coords(const QZChem::QZMolBase& mol);
/// Coordinates displaced by up to `amplitude` Å a component.
std::vector<double> Jittered(const std::vector<double>& coords,
                             double amplitude,
                             std::mt19937& rng);

}  // namespace TestSupport
