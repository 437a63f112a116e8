// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "topology/perceived.h"

namespace QZChem {

class QZMolBase;
struct QZRDKitMol;

/// What is perceived from atoms, bonds and charges, independent of coordinates. Threads may share
/// it: apart from the data derived later, which are guarded, it is immutable.
struct QZTopology {
  std::vector<char> bondInRing;       // by bond index
  std::vector<char> bondAromatic;     // by bond index
  unsigned int impliedHydrogens = 0;  // that valence asks for beyond those present
  unsigned int largestDegree = 0;     // neighbours of an atom, implied hydrogens counted
  /// The molecule as RDKit sees it, for SMARTS and force fields; never null.
  std::shared_ptr<const QZRDKitMol> perceived;
  /// What else was derived from this topology, filled as it is asked for.
  std::shared_ptr<PerceivedByTag> derived = std::make_shared<PerceivedByTag>();
};

/// Never null; chemistry that cannot be perceived yields a topology without aromaticity.
std::shared_ptr<const QZTopology> QZPerceiveTopology(const QZMolBase& mol);
/// The same of a molecule that has been perceived already.
std::shared_ptr<const QZTopology> QZPerceiveTopology(const QZMolBase& mol, QZRDKitMol&& perceived);

}  // namespace QZChem
