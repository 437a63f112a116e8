// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "rdkit_molecule.h"

#include <GraphMol/DistGeomHelpers/Embedder.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/ForceFieldHelpers/MMFF/MMFF.h>
#include <GraphMol/ForceFieldHelpers/UFF/UFF.h>
#include <GraphMol/MolOps.h>
#include <GraphMol/SmilesParse/SmilesParse.h>

namespace ForceFieldTest {
namespace {

QZChem::QZGraphMol Convert(const RDKit::RWMol& rdkit, bool hole) {
  RDKit::RWMol kekule(rdkit);
  RDKit::MolOps::Kekulize(kekule);
  QZChem::QZGraphMol mol;
  std::vector<QZChem::QZAtomBase*> atoms;
  QZChem::QZAtomBase* extra = nullptr;
  for (const RDKit::Atom* atom : kekule.atoms()) {
    if (hole && atoms.size() == 2) extra = mol.AddAtom(6);
    const RDGeom::Point3D& p = kekule.getConformer().getAtomPos(atom->getIdx());
    atoms.push_back(mol.AddAtom(static_cast<unsigned int>(atom->getAtomicNum()), p.x, p.y, p.z));
    atoms.back()->SetFormalCharge(atom->getFormalCharge());
  }
  for (const RDKit::Bond* bond : kekule.bonds()) {
    mol.AddBond(atoms[bond->getBeginAtomIdx()],
                atoms[bond->getEndAtomIdx()],
                static_cast<unsigned int>(bond->getBondTypeAsDouble()));
  }
  if (extra != nullptr) mol.DeleteAtom(extra);
  return mol;
}

}  // namespace

Molecule FromData(const std::string& name, bool hole) {
  const std::string path = std::string(MOLPOTENTIAL_DATA_DIR) + "/" + name + ".sdf";
  Molecule result;
  result.rdkit.reset(RDKit::MolFileToMol(path, /*sanitize=*/true, /*removeHs=*/false));
  result.mol = Convert(*result.rdkit, hole);
  return result;
}

Molecule FromSmiles(const std::string& smiles) {
  Molecule result;
  result.rdkit.reset(RDKit::SmilesToMol(smiles));
  RDKit::MolOps::addHs(*result.rdkit);
  RDKit::DGeomHelpers::EmbedParameters parameters(RDKit::DGeomHelpers::ETKDGv3);
  parameters.randomSeed = 7;
  RDKit::DGeomHelpers::EmbedMolecule(*result.rdkit, parameters);
  result.mol = Convert(*result.rdkit, false);
  return result;
}

std::unique_ptr<ForceFields::ForceField> MakeReference(const Molecule& molecule,
                                                       QZMolPotential::QZForceFieldKind kind) {
  using Kind = QZMolPotential::QZForceFieldKind;
  constexpr double kFar = 1000.0;
  RDKit::RWMol& mol = *molecule.rdkit;
  std::unique_ptr<ForceFields::ForceField> field;
  if (kind == Kind::UFF) {
    field.reset(RDKit::UFF::constructForceField(mol, kFar, -1, false));
  } else {
    // Typing rewrites the aromaticity of the molecule it is given.
    RDKit::RWMol typed(mol);
    RDKit::MMFF::MMFFMolProperties types(typed, QZMolPotential::QZGetForceFieldName(kind));
    if (!types.isValid()) return nullptr;
    field.reset(RDKit::MMFF::constructForceField(typed, &types, kFar, -1, false));
    for (unsigned int i = 0; i < mol.getNumAtoms(); ++i) {
      field->positions()[i] = &mol.getConformer().getAtomPos(i);
    }
  }
  field->initialize();
  return field;
}

}  // namespace ForceFieldTest
