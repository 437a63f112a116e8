// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>
#include <vector>

#include "bonded.h"
#include "mmff/bend.h"
#include "mmff/out_of_plane.h"
#include "mmff/stretch.h"
#include "mmff/stretch_bend.h"
#include "mmff/torsion.h"
#include "pairs/input.h"

namespace QZMolPotential {

/// All that MMFF94 or MMFF94s says about a molecule. Angles come in the order of their centres,
/// torsions in that of their middle bonds, the three angles of a trigonal centre together.
struct MmffParameters {
  BondedArrays<MmffStretch> stretch;
  BondedArrays<MmffBend> bend;
  BondedArrays<MmffStretchBend> stretchBend;
  BondedArrays<MmffOutOfPlane> outOfPlane;
  BondedArrays<MmffTorsion> torsion;
  std::vector<unsigned int> torsionBonds;  // index of the middle bond, ascending
  std::vector<std::uint8_t> types;         // by atom index, 0 in holes
  std::vector<double> charges;             // by atom index, 0 in holes
  std::vector<std::uint16_t> pairTypes;    // by atom number: rows of `pairTable`
  std::size_t numPairTypes = 0;
  std::vector<PairParameters> pairTable;  // [i * numPairTypes + j]
};

}  // namespace QZMolPotential
