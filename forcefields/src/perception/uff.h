// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bonded.h"
#include "pairs/input.h"
#include "uff/bend.h"
#include "uff/inversion.h"
#include "uff/stretch.h"
#include "uff/torsion.h"

namespace QZChem {
class QZMolBase;
}  // namespace QZChem

namespace QZMolPotential {

struct AtomGraph;

/// All that UFF says about a molecule, each kind in the order of RDKit's builder, torsions in that
/// of their middle bonds. Atoms in bends have the centre in the middle, those in inversions second.
struct UffParameters {
  BondedArrays<UffStretch> stretch;
  BondedArrays<UffBend> bend;
  BondedArrays<UffInversion> inversion;
  BondedArrays<UffTorsion> torsion;
  std::vector<std::uint16_t> pairTypes;  // by atom number: rows of `pairTable`
  std::size_t numPairTypes = 0;
  std::vector<PairParameters> pairTable;  // [i * numPairTypes + j]
  bool dependsOnCoordinates = false;      // a centre is a trigonal bipyramid
};

/// UFF's parameters for `mol` as RDKit's typer and builder find them, from its coordinates too:
/// which ligands of a trigonal bipyramid are axial. Null with the reason in `error` when there are
/// none.
std::unique_ptr<const UffParameters> PerceiveUff(const QZChem::QZMolBase& mol,
                                                 const AtomGraph& graph,
                                                 std::string& error);

}  // namespace QZMolPotential
