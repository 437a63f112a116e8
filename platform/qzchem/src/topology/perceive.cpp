// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <GraphMol/RWMol.h>

#include <algorithm>

#include "perception/rdkit_bridge.h"
#include "qzchem/mol.h"
#include "topology/topology.h"

namespace QZChem {

std::shared_ptr<const QZTopology> QZPerceiveTopology(const QZMolBase& mol, QZRDKitMol&& perceived) {
  auto topology = std::make_shared<QZTopology>();
  topology->bondInRing.assign(mol.BondIndexBound(), 0);
  topology->bondAromatic.assign(mol.BondIndexBound(), 0);
  const RDKit::RWMol& seen = *perceived.mol;
  // RDKit's bonds follow ours in index order; asking it for a bond by its number is a search.
  const std::unique_ptr<QZSystem::QZIterBase<QZBondBase>> bond(mol.GetBonds());
  for (const RDKit::Bond* same : seen.bonds()) {
    const unsigned int index = (**bond).GetIndex();
    ++*bond;
    topology->bondInRing[index] = seen.getRingInfo()->numBondRings(same->getIdx()) > 0;
    topology->bondAromatic[index] = same->getIsAromatic();
  }
  for (const RDKit::Atom* atom : seen.atoms()) {
    topology->impliedHydrogens += static_cast<unsigned int>(atom->getNumImplicitHs());
    topology->largestDegree = std::max(topology->largestDegree, atom->getTotalDegree());
  }
  topology->perceived = std::make_shared<const QZRDKitMol>(std::move(perceived));
  topology->derived->Put(RDKitMolTag(), topology->perceived);
  return topology;
}

std::shared_ptr<const QZTopology> QZPerceiveTopology(const QZMolBase& mol) {
  return QZPerceiveTopology(mol, PerceiveRDKitMol(mol));
}

}  // namespace QZChem
