// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <ForceField/ForceField.h>
#include <GraphMol/RWMol.h>

#include <memory>
#include <string>
#include <vector>

#include "forcefields/forcefields.h"
#include "qzchem/mol.h"

namespace ForceFieldTest {

/// A molecule twice: as RDKit made it, and built from that atom by atom. With `hole` a deleted atom
/// leaves a hole at index 2 of ours.
struct Molecule {
  std::unique_ptr<RDKit::RWMol> rdkit;
  QZChem::QZGraphMol mol;
};
/// From a file of data/ (without extension), or embedded from SMILES.
Molecule FromData(const std::string& name, bool hole = false);
Molecule FromSmiles(const std::string& smiles);

/// RDKit's own force field of all pairs on the molecule; null when it has no parameters.
std::unique_ptr<ForceFields::ForceField> MakeReference(const Molecule& molecule,
                                                       QZMolPotential::QZForceFieldKind kind);

}  // namespace ForceFieldTest
