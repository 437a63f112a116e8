// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/rdkit_bridge.h"

#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>

#include <algorithm>
#include <exception>

#include "perception/elements.h"
#include "perception/rdkit_log.h"
#include "perception/rings.h"
#include "qzchem/locale.h"
#include "qzchem/perceived.h"

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

// Hydrogens that valence asks for beyond those present.
bool LacksHydrogens(const RDKit::ROMol& mol) {
  for (const RDKit::Atom* atom : mol.atoms()) {
    if (atom->getNumImplicitHs() > 0) return true;
  }
  return false;
}

// A molecule that lacks no hydrogens, and then true is returned, has none implied from here on, so
// that atoms short of valence (metals, radicals) get their unpaired electrons. Aromatic atoms keep
// theirs: the sum of aromatic bonds is not what RDKit counts from.
bool PerceiveElectrons(RDKit::RWMol& mol) {
  const bool isComplete = !LacksHydrogens(mol);
  if (isComplete) {
    for (RDKit::Atom* atom : mol.atoms()) atom->setNoImplicit(!atom->getIsAromatic());
  }
  RDKit::MolOps::assignRadicals(mol);
  if (isComplete) {
    for (RDKit::Atom* atom : mol.atoms()) atom->setNoImplicit(true);
  }
  return isComplete;
}

void PerceiveBonds(RDKit::RWMol& mol) {
  RDKit::MolOps::setConjugation(mol);
  RDKit::MolOps::setHybridization(mol);
}

// The steps of RDKit's sanitisation that matter to a Kekulé structure, with our ring search; true
// when no hydrogens are missing. `strict`: throws for unusual valences.
bool Perceive(RDKit::RWMol& mol, bool strict) {
  if (strict) RDKit::MolOps::cleanUp(mol);
  mol.updatePropertyCache(strict);
  FindRings(mol);
  const bool isComplete = PerceiveElectrons(mol);
  RDKit::MolOps::setAromaticity(mol);
  PerceiveBonds(mol);
  return isComplete;
}

QZRDKitMol Perceived(const QZMolBase& mol, bool implyHydrogens) {
  const QZClassicNumbers numbers;
  QZNoteConversion();
  QZRDKitMol result = ConvertToRDKit(mol, /*coordinates=*/false, implyHydrogens);
  std::string reason;
  try {
    result.isComplete = Perceive(*result.mol, /*strict=*/true);
    return result;
  } catch (const std::exception& error) {
    reason = InUsersWords(error.what());
  }
  // Without what the failure left behind.
  result = ConvertToRDKit(mol, /*coordinates=*/false, implyHydrogens);
  result.error = std::move(reason);
  try {
    Perceive(*result.mol, /*strict=*/false);
  } catch (const std::exception&) {
    // Rings are found all the same; aromaticity stays unknown.
  }
  return result;
}

QZRDKitMol Copy(const QZRDKitMol& perceived, const QZMolBase& mol, bool coordinates) {
  QZRDKitMol copy{std::make_unique<RDKit::RWMol>(*perceived.mol),
                  perceived.atomIndices,
                  perceived.error,
                  perceived.isComplete};
  if (coordinates) AddConformer(mol, copy);
  return copy;
}

}  // namespace

QZRDKitMol ConvertToRDKit(const QZMolBase& mol, bool coordinates, bool implyHydrogens) {
  QZRDKitMol result{std::make_unique<RDKit::RWMol>(), {}, {}, false};
  std::vector<unsigned int> rdkitIndex(mol.AtomIndexBound());
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    // RDKit has no properties for numbers beyond the table.
    const unsigned int number = atom.GetAtomicNumber();
    auto* copy = new RDKit::Atom(number <= kMaxAtomicNumber ? number : 0U);
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

QZRDKitMol QZToRDKit(const QZMolBase& mol, bool coordinates) {
  const auto perceived = PerceivedRDKitMol(mol);
  if (perceived->isComplete || !perceived->error.empty()) return Copy(*perceived, mol, coordinates);
  return Copy(Perceived(mol, /*implyHydrogens=*/false), mol, coordinates);
}

QZRDKitMol ToRDKitWithImpliedHydrogens(const QZMolBase& mol, bool coordinates) {
  return Copy(*PerceivedRDKitMol(mol), mol, coordinates);
}

QZRDKitMol PerceiveRDKitMol(const QZMolBase& mol) {
  return Perceived(mol, /*implyHydrogens=*/true);
}

void PerceiveCompleted(QZRDKitMol& completed) {
  completed.mol->clearConformers();
  completed.isComplete = PerceiveElectrons(*completed.mol);
  PerceiveBonds(*completed.mol);
}

unsigned int RDKitMolTag() {
  static const unsigned int tag = QZSystem::QZGetTag("QZChem RDKit molecule");
  return tag;
}

std::shared_ptr<const QZRDKitMol> PerceivedRDKitMol(const QZMolBase& mol) {
  // The topology puts it there.
  return std::static_pointer_cast<const QZRDKitMol>(QZGetPerceived(mol, RDKitMolTag(), {}));
}

}  // namespace QZChem
