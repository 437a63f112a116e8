// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "topology/perceived.h"

namespace RDKit {
class ROMol;
}

namespace QZChem {

class QZMolBase;

/// What is perceived from atoms, bonds and charges, independent of coordinates. Threads may share
/// it: apart from the data derived later, which are guarded, it is immutable.
struct QZTopology {
  std::vector<char> bondInRing;       // by bond index
  std::vector<char> bondAromatic;     // by bond index
  unsigned int impliedHydrogens = 0;  // that valence asks for beyond those present
  unsigned int largestDegree = 0;     // neighbours of an atom, implied hydrogens counted
  /// The molecule as a SMARTS target: sanitised where the chemistry allows it, rings and
  /// aromaticity perceived.
  std::shared_ptr<const RDKit::ROMol> target;
  std::vector<unsigned int> atomIndexOfTarget;  // our atom index by target atom
  /// What else was derived from this topology, filled as it is asked for.
  std::shared_ptr<PerceivedByTag> derived = std::make_shared<PerceivedByTag>();
};

/// Never null; chemistry that cannot be perceived yields a topology without aromaticity.
std::shared_ptr<const QZTopology> QZPerceiveTopology(const QZMolBase& mol);

}  // namespace QZChem
