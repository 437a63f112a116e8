// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "rdkit_bridge.h"

#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>

#include <exception>

#include "topology.h"

namespace QZChem {
namespace {

RDKit::Bond::BondType BondType(unsigned int order) {
  switch (order) {
    case 2:
      return RDKit::Bond::DOUBLE;
    case 3:
      return RDKit::Bond::TRIPLE;
    default:
      return RDKit::Bond::SINGLE;
  }
}

unsigned int BondOrder(RDKit::Bond::BondType type) {
  switch (type) {
    case RDKit::Bond::DOUBLE:
      return 2;
    case RDKit::Bond::TRIPLE:
      return 3;
    default:
      return 1;
  }
}

void AddConformer(const QZMolBase& mol, QZRDKitMol& result) {
  auto* conformer = new RDKit::Conformer(result.mol->getNumAtoms());
  conformer->set3D(true);
  for (unsigned int i = 0; i < result.atomIndices.size(); ++i) {
    double xyz[3];
    mol.GetCoords(mol.GetAtom(result.atomIndices[i]), xyz);
    conformer->setAtomPos(i, RDGeom::Point3D(xyz[0], xyz[1], xyz[2]));
  }
  result.mol->addConformer(conformer, true);
}

}  // namespace

QZRDKitMol QZToRDKit(const QZMolBase& mol, bool coordinates) {
  QZRDKitMol result{std::make_unique<RDKit::RWMol>(), {}, {}};
  std::vector<unsigned int> rdkitIndex(mol.AtomIndexBound());
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    auto* copy = new RDKit::Atom(static_cast<int>(atom.GetAtomicNumber()));
    copy->setFormalCharge(atom.GetFormalCharge());
    copy->setNoImplicit(true);
    rdkitIndex[atom.GetIndex()] = result.mol->addAtom(copy, false, true);
    result.atomIndices.push_back(atom.GetIndex());
  }
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    result.mol->addBond(rdkitIndex[bond.GetBegin()->GetIndex()],
                        rdkitIndex[bond.GetEnd()->GetIndex()],
                        BondType(bond.GetOrder()));
  }
  if (coordinates) AddConformer(mol, result);
  try {
    RDKit::MolOps::sanitizeMol(*result.mol);
  } catch (const std::exception& error) {
    result.error = error.what();
    // What does not depend on valences still holds.
    result.mol->updatePropertyCache(false);
    RDKit::MolOps::fastFindRings(*result.mol);
  }
  return result;
}

void QZFromRDKit(const RDKit::ROMol& source, QZGraphMol& mol) {
  QZGraphMol result(source.getNumAtoms());
  const RDKit::Conformer* conformer =
      source.getNumConformers() > 0 ? &source.getConformer() : nullptr;
  for (const RDKit::Atom* atom : source.atoms()) {
    RDGeom::Point3D place;
    if (conformer != nullptr) place = conformer->getAtomPos(atom->getIdx());
    QZAtomBase* copy =
        result.AddAtom(static_cast<unsigned int>(atom->getAtomicNum()), place.x, place.y, place.z);
    copy->SetFormalCharge(atom->getFormalCharge());
    copy->SetMapIndex(static_cast<unsigned int>(atom->getAtomMapNum()));
  }
  for (const RDKit::Bond* bond : source.bonds()) {
    result.AddBond(result.GetAtom(bond->getBeginAtomIdx()),
                   result.GetAtom(bond->getEndAtomIdx()),
                   BondOrder(bond->getBondType()));
  }
  std::string name;
  if (source.getPropIfPresent(RDKit::common_properties::_Name, name)) result.SetTitle(name.c_str());
  mol = std::move(result);
}

std::shared_ptr<const QZTopology> QZPerceiveTopology(const QZMolBase& mol) {
  auto topology = std::make_shared<QZTopology>();
  topology->bondInRing.assign(mol.BondIndexBound(), 0);
  topology->bondAromatic.assign(mol.BondIndexBound(), 0);
  QZRDKitMol converted = QZToRDKit(mol, false);
  unsigned int next = 0;  // RDKit's bonds follow ours in index order
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    const RDKit::Bond* perceived = converted.mol->getBondWithIdx(next++);
    topology->bondInRing[bond.GetIndex()] =
        converted.mol->getRingInfo()->numBondRings(perceived->getIdx()) > 0;
    topology->bondAromatic[bond.GetIndex()] = perceived->getIsAromatic();
  }
  topology->atomIndexOfTarget = std::move(converted.atomIndices);
  topology->target = std::move(converted.mol);
  return topology;
}

}  // namespace QZChem
