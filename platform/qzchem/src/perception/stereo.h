// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

#include "qzchem/mol.h"

namespace RDKit {
class Atom;
class Bond;
class Conformer;
class RWMol;
}  // namespace RDKit

namespace QZChem {

/// Handedness of centres and sides of double bonds, by atom number of the converted molecule.
struct Stereo {
  struct Centre {
    unsigned int atom;
    std::vector<unsigned int> neighbours;  // 3 or 4
    int sign;                              // of the volume that the first three span from the atom
  };
  struct DoubleBond {
    unsigned int atoms[4];  // a-b=c-d
    bool isCis;
  };
  std::vector<Centre> centres;
  std::vector<DoubleBond> doubleBonds;
};

/// The stereochemistry that `converted`, made from `mol`, must keep when its coordinates change:
/// that of a drawing's wedges and coordinates, of 3D coordinates, or of SMILES. Also sets the marks
/// that RDKit's embedding follows.
Stereo AssignStereo(const QZMolBase& mol, RDKit::RWMol& converted);
/// "" or which centre or double bond is another in a conformer.
std::string FindChange(const Stereo& expected,
                       const RDKit::RWMol& mol,
                       const RDKit::Conformer& conformer);

/// Keeps what SMILES say of an atom or bond, and that a double bond's sides are left open.
void KeepStereo(const RDKit::Atom& source, QZAtomBase& atom);
void KeepStereo(const RDKit::Bond& source, QZBondBase& bond);

}  // namespace QZChem
