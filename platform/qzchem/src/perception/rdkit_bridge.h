// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qzchem/mol.h"

namespace RDKit {
class ROMol;
class RWMol;
}  // namespace RDKit

namespace QZChem {

/// A molecule of RDKit with our atom indices for its atoms.
struct QZRDKitMol {
  std::unique_ptr<RDKit::RWMol> mol;      // dense, atoms in index order
  std::vector<unsigned int> atomIndices;  // our index by RDKit's
  /// Why chemistry could not be perceived; "" when valences, rings and aromaticity are in place.
  std::string error;
  /// Perceived, and no hydrogens are missing: none are implied.
  bool isComplete = false;
};

/// Atoms, bonds, charges and, with `coordinates`, a 3D conformer; nothing is perceived.
QZRDKitMol ConvertToRDKit(const QZMolBase& mol, bool coordinates, bool implyHydrogens);
/// The same with chemistry perceived as far as it can be; hydrogens stay explicit and none are
/// implied. A copy of `PerceivedRDKitMol` where that is complete or cannot be understood.
QZRDKitMol QZToRDKit(const QZMolBase& mol, bool coordinates);
/// The same where hydrogens that valence asks for are implied, as SMARTS patterns and the search
/// for missing hydrogens want it.
QZRDKitMol ToRDKitWithImpliedHydrogens(const QZMolBase& mol, bool coordinates);
/// Makes the molecule of `PerceivedRDKitMol`, without coordinates.
QZRDKitMol PerceiveRDKitMol(const QZMolBase& mol);
/// Makes what `PerceiveRDKitMol` would make of a molecule from its conversion before hydrogens were
/// added to both.
void PerceiveCompleted(QZRDKitMol& completed);
/// That molecule, converted and perceived once and kept with `mol` under
/// `RDKitMolTag`; never null.
std::shared_ptr<const QZRDKitMol> PerceivedRDKitMol(const QZMolBase& mol);
unsigned int RDKitMolTag();

// The following are the platform's own.

/// Atoms, isotopes, radicals, bonds, charges, coordinates and title as they are; nothing is
/// perceived.
QZRDKitMol ToRDKitUnperceived(const QZMolBase& mol);

/// Replaces `mol` by what RDKit holds: atoms in order with charges, isotopes, radicals and map
/// numbers, bonds as single, double or triple (other bonds become single, aromatic ones are
/// Kekulised), the first conformer and the name. Throws what RDKit throws when there is no Kekulé
/// structure.
void FromRDKit(RDKit::RWMol& source, QZGraphMol& mol);

}  // namespace QZChem
