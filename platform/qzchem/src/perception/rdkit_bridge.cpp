// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/rdkit_bridge.h"

#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>

#include <algorithm>
#include <exception>

#include "perception/drawing.h"
#include "perception/elements.h"
#include "perception/rdkit_log.h"
#include "perception/rings.h"
#include "perception/stereo.h"
#include "qzchem/locale.h"
#include "topology/topology.h"

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

bool HasAromaticBonds(const RDKit::ROMol& mol) {
  for (const RDKit::Bond* bond : mol.bonds()) {
    if (bond->getBondType() == RDKit::Bond::AROMATIC) return true;
  }
  return false;
}

// 1 for a wedge, -1 for a dash, by the marks that RDKit's parser leaves on a bond.
int WedgeOf(const RDKit::Bond& bond) {
  int mark = 0;
  const bool isV2000 = bond.getPropIfPresent(RDKit::common_properties::_MolFileBondStereo, mark);
  if (!isV2000) bond.getPropIfPresent(RDKit::common_properties::_MolFileBondCfg, mark);
  if (mark == 1) return 1;
  return mark == (isV2000 ? 6 : 3) ? -1 : 0;
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

QZRDKitMol Convert(const QZMolBase& mol, bool coordinates, bool implyHydrogens) {
  QZRDKitMol result{std::make_unique<RDKit::RWMol>(), {}, {}};
  std::vector<unsigned int> rdkitIndex(mol.AtomIndexBound());
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    // RDKit has no properties for numbers beyond the table.
    const unsigned int number = atom.GetAtomicNumber();
    auto* copy = new RDKit::Atom(number <= kMaxAtomicNumber ? static_cast<int>(number) : 0);
    copy->setFormalCharge(atom.GetFormalCharge());
    copy->setIsotope(atom.GetIsotope());
    copy->setNumRadicalElectrons(atom.GetRadicalElectrons());
    copy->setNoImplicit(!implyHydrogens);
    rdkitIndex[atom.GetIndex()] = result.mol->addAtom(copy, false, true);
    result.atomIndices.push_back(atom.GetIndex());
  }
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    result.mol->addBond(rdkitIndex[bond.GetBegin()->GetIndex()],
                        rdkitIndex[bond.GetEnd()->GetIndex()],
                        BondType(bond.GetOrder()));
  }
  if (coordinates) AddConformer(mol, result);
  return result;
}

// The steps of RDKit's sanitisation that matter to a Kekulé structure, with our ring search.
// `strict`: throws for unusual valences.
void Perceive(RDKit::RWMol& mol, bool strict) {
  if (strict) RDKit::MolOps::cleanUp(mol);
  mol.updatePropertyCache(strict);
  FindRings(mol);
  RDKit::MolOps::assignRadicals(mol);
  RDKit::MolOps::setAromaticity(mol);
  RDKit::MolOps::setConjugation(mol);
  RDKit::MolOps::setHybridization(mol);
}

QZRDKitMol Perceived(const QZMolBase& mol, bool coordinates, bool implyHydrogens) {
  const QZClassicNumbers numbers;
  QZRDKitMol result = Convert(mol, coordinates, implyHydrogens);
  std::string reason;
  try {
    Perceive(*result.mol, /*strict=*/true);
    return result;
  } catch (const std::exception& error) {
    reason = InUsersWords(error.what());
  }
  result = Convert(mol, coordinates, implyHydrogens);  // without what the failure left behind
  result.error = std::move(reason);
  try {
    Perceive(*result.mol, /*strict=*/false);
  } catch (const std::exception&) {
    // Rings are found all the same; aromaticity stays unknown.
  }
  return result;
}

}  // namespace

QZRDKitMol QZToRDKit(const QZMolBase& mol, bool coordinates) {
  return Perceived(mol, coordinates, /*implyHydrogens=*/false);
}

QZRDKitMol ToRDKitWithImpliedHydrogens(const QZMolBase& mol, bool coordinates) {
  return Perceived(mol, coordinates, /*implyHydrogens=*/true);
}

QZRDKitMol ToRDKitUnperceived(const QZMolBase& mol) {
  QZRDKitMol result = Convert(mol, /*coordinates=*/true, /*implyHydrogens=*/true);
  result.mol->setProp(RDKit::common_properties::_Name, std::string(mol.GetTitle()));
  result.mol->updatePropertyCache(false);
  return result;
}

void FromRDKit(RDKit::RWMol& source, QZGraphMol& mol) {
  if (HasAromaticBonds(source)) {
    source.updatePropertyCache(false);
    RDKit::MolOps::Kekulize(source, true);
  }
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
    copy->SetIsotope(atom->getIsotope());
    copy->SetRadicalElectrons(atom->getNumRadicalElectrons());
    KeepStereo(*atom, *copy);
  }
  for (const RDKit::Bond* bond : source.bonds()) {
    QZBondBase* copy = result.AddBond(result.GetAtom(bond->getBeginAtomIdx()),
                                      result.GetAtom(bond->getEndAtomIdx()),
                                      BondOrder(bond->getBondType()));
    if (copy == nullptr) continue;
    SetWedge(*copy, WedgeOf(*bond));
    KeepStereo(*bond, *copy);
  }
  std::string name;
  if (source.getPropIfPresent(RDKit::common_properties::_Name, name)) result.SetTitle(name.c_str());
  mol = std::move(result);
}

std::shared_ptr<const QZTopology> QZPerceiveTopology(const QZMolBase& mol) {
  auto topology = std::make_shared<QZTopology>();
  topology->bondInRing.assign(mol.BondIndexBound(), 0);
  topology->bondAromatic.assign(mol.BondIndexBound(), 0);
  QZRDKitMol converted = ToRDKitWithImpliedHydrogens(mol, false);
  // RDKit's bonds follow ours in index order; asking it for a bond by its number is a search.
  const std::unique_ptr<QZSystem::QZIterBase<QZBondBase>> bond(mol.GetBonds());
  for (const RDKit::Bond* perceived : converted.mol->bonds()) {
    const unsigned int index = (**bond).GetIndex();
    ++*bond;
    topology->bondInRing[index] =
        converted.mol->getRingInfo()->numBondRings(perceived->getIdx()) > 0;
    topology->bondAromatic[index] = perceived->getIsAromatic();
  }
  for (const RDKit::Atom* atom : converted.mol->atoms()) {
    topology->impliedHydrogens += static_cast<unsigned int>(atom->getNumImplicitHs());
    topology->largestDegree = std::max(topology->largestDegree, atom->getTotalDegree());
  }
  topology->atomIndexOfTarget = std::move(converted.atomIndices);
  topology->target = std::move(converted.mol);
  return topology;
}

}  // namespace QZChem
