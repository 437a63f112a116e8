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

/// A molecule as RDKit sees it, and the way back to our atom indices.
struct QZRDKitMol {
  std::unique_ptr<RDKit::RWMol> mol;      // dense, atoms in index order
  std::vector<unsigned int> atomIndices;  // our index by RDKit's
  /// Why chemistry could not be perceived; "" when valences, rings and aromaticity are in place.
  std::string error;
};

/// Converts atoms, bonds, charges and, with `coordinates`, a 3D conformer; hydrogens stay explicit
/// and none are implied. Chemistry is perceived as far as it can be. Exported for the companions of
/// this library; not installed.
QZ_API QZRDKitMol QZToRDKit(const QZMolBase& mol, bool coordinates);

/// The same where hydrogens that valence asks for are implied, as SMARTS patterns and the search
/// for missing hydrogens want it.
QZRDKitMol ToRDKitWithImpliedHydrogens(const QZMolBase& mol, bool coordinates);
/// Atoms, isotopes, radicals, bonds, charges, coordinates and title as they are; nothing is
/// perceived.
QZRDKitMol ToRDKitUnperceived(const QZMolBase& mol);

/// Replaces `mol` by what RDKit holds: atoms in order with charges, isotopes,
/// radicals and map numbers, bonds
/// as single, double or triple (other bonds become single, aromatic ones are Kekulised), the first
/// conformer and the name. Throws what RDKit throws when there is no Kekulé structure.
void FromRDKit(RDKit::RWMol& source, QZGraphMol& mol);

}  // namespace QZChem
