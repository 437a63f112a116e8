// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <GraphMol/RWMol.h>

#include <algorithm>

#include "perception/rdkit_bridge.h"
#include "qzchem/mol.h"
#include "topology/topology.h"

namespace QZChem {

std::shared_ptr<const QZTopology> QZPerceiveTopology(const QZMolBase& mol) {
  auto topology = std::make_shared<QZTopology>();
  topology->bondInRing.assign(mol.BondIndexBound(), 0);
  topology->bondAromatic.assign(mol.BondIndexBound(), 0);
  // Also the molecule that force fields will ask for.
  const auto perceive = [&mol]() -> QZPerceived {
    return std::make_shared<const QZRDKitMol>(PerceiveRDKitMol(mol));
  };
  const auto converted =
      std::static_pointer_cast<const QZRDKitMol>(topology->derived->Get(RDKitMolTag(), perceive));
  // RDKit's bonds follow ours in index order; asking it for a bond by its number is a search.
  const std::unique_ptr<QZSystem::QZIterBase<QZBondBase>> bond(mol.GetBonds());
  for (const RDKit::Bond* perceived : converted->mol->bonds()) {
    const unsigned int index = (**bond).GetIndex();
    ++*bond;
    topology->bondInRing[index] =
        converted->mol->getRingInfo()->numBondRings(perceived->getIdx()) > 0;
    topology->bondAromatic[index] = perceived->getIsAromatic();
  }
  for (const RDKit::Atom* atom : converted->mol->atoms()) {
    topology->impliedHydrogens += static_cast<unsigned int>(atom->getNumImplicitHs());
    topology->largestDegree = std::max(topology->largestDegree, atom->getTotalDegree());
  }
  topology->atomIndexOfTarget = converted->atomIndices;
  topology->target = std::shared_ptr<const RDKit::ROMol>(converted, converted->mol.get());
  return topology;
}

}  // namespace QZChem
