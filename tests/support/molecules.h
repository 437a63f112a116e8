// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <random>
#include <string>
#include <vector>

#include "qzchem/mol.h"

namespace TestSupport {

/// A molecule of data/ by its file name, and all of them up to a size.
QZChem::QZGraphMol DataMolecule(const std::string& name);
std::vector<QZChem::QZGraphMol> DataMolecules(unsigned int maxAtoms = 1000);

/// With all its hydrogens, and with coordinates if asked for.
QZChem::QZGraphMol FromSmiles(const std::string& smiles, bool embed = false);

/// Small molecules at sensible geometries.
QZChem::QZGraphMol Water();
/// `n` carbons in a zigzag chain (1.53 Å, 112 degrees) without hydrogens.
QZChem::QZGraphMol CarbonChain(unsigned int n);
/// C4H10, gauche, hydrogens last, atom 0 at the origin.
QZChem::QZGraphMol Butane();
/// Two waters 3 Å apart, atoms ordered by molecule.
QZChem::QZGraphMol WaterDimer();
/// `n` atoms in line along x without holes, `spacing` Å apart, bonded in sequence.
QZChem::QZGraphMol LinearChain(unsigned int n, double spacing);

/// All coordinates of a molecule, 3 x AtomIndexBound().
std::vector<double> Coords(const QZChem::QZMolBase& mol);
/// Coordinates displaced by up to `amplitude` Å a component.
std::vector<double> Jittered(std::vector<double> x, double amplitude, std::mt19937& rng);
/// The largest deviation of an entry: infinite for different lengths, NaN when one occurs.
double LargestDifference(const std::vector<double>& a, const std::vector<double>& b);
/// RMSD in Å after superposition by a proper rigid motion.
double Deviation(const std::vector<double>& a, const std::vector<double>& b);

}  // namespace TestSupport
