// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>

#include "perception/drawing.h"
#include "perception/rdkit_bridge.h"
#include "perception/stereo.h"

namespace QZChem {
namespace {

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

}  // namespace

QZRDKitMol ToRDKitUnperceived(const QZMolBase& mol) {
  QZRDKitMol result = ConvertToRDKit(mol, /*coordinates=*/true, /*implyHydrogens=*/true);
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

}  // namespace QZChem
