// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>

#include <exception>
#include <optional>

#include "files/records.h"
#include "perception/drawing.h"
#include "perception/rdkit_bridge.h"
#include "perception/rdkit_log.h"
#include "qzchem/io.h"
#include "qzchem/locale.h"
#include "qzchem/residue.h"
#include "qzchem/templates.h"
#include "qzsystem/error.h"
#include "topology/mol_impl.h"
#include "topology/topology.h"

namespace QZChem {
namespace {

// The z that all atoms share, if they do.
std::optional<double> CommonHeight(const QZMolBase& mol) {
  std::optional<double> height;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    double xyz[3];
    mol.GetCoords(&atom, xyz);
    if (height.value_or(xyz[2]) != xyz[2]) return std::nullopt;
    height = xyz[2];
  }
  return height;
}

// "HA" for the one hydrogen of "CA"; of several, numbers from 1, and from 2 for the pair of a
// residue's methylene, as the Protein Data Bank has them. The last hydrogen of `carrier` is named.
std::string NameOfHydrogen(const QZAtomBase& carrier,
                           const QZResidue& residue,
                           unsigned int total) {
  std::string name = "H";
  if (residue.atomName.size() > 1) name += residue.atomName.substr(1);
  unsigned int number = carrier.GetDegree() - carrier.GetHeavyDegree();
  if (total == 2 && carrier.GetAtomicNumber() == 6 && !residue.isHetero) ++number;
  if (total > 1) name += std::to_string(number);
  return name.substr(0, 4);
}

// Hydrogens bonded to an atom.
unsigned int CountHydrogens(const RDKit::ROMol& mol, const RDKit::Atom& atom) {
  unsigned int count = 0;
  for (const RDKit::Atom* next : mol.atomNeighbors(&atom))
    count += next->getAtomicNum() == 1 ? 1 : 0;
  return count;
}

// Appends what RDKit has beyond the atoms it was given; returns how many.
int TakeHydrogens(QZRDKitMol& converted, bool isDrawing, QZGraphMol& mol) {
  const double height = isDrawing ? CommonHeight(mol).value_or(0.0) : 0.0;
  const auto numGiven = static_cast<unsigned int>(converted.atomIndices.size());
  for (unsigned int i = numGiven; i < converted.mol->getNumAtoms(); ++i) {
    const RDKit::Atom* hydrogen = converted.mol->getAtomWithIdx(i);
    const RDKit::Atom* carrier = *converted.mol->atomNeighbors(hydrogen).begin();
    const RDGeom::Point3D& place = converted.mol->getConformer().getAtomPos(i);
    QZAtomBase* copy = mol.AddAtom(1, place.x, place.y, isDrawing ? height : place.z);
    converted.atomIndices.push_back(copy->GetIndex());
    QZAtomBase* centre = mol.GetAtom(converted.atomIndices[carrier->getIdx()]);
    const int wedges = SumOfWedges(*centre);
    QZBondBase* bond = mol.AddBond(centre, copy);
    // Against the drawn wedges: where it went in the plane says nothing about handedness.
    if (isDrawing) SetWedge(*bond, wedges > 0 ? -1 : (wedges < 0 ? 1 : 0));
    if (const QZResidue* residue = QZGetResidue(*centre); residue != nullptr) {
      QZResidue own = *residue;
      own.atomName = NameOfHydrogen(*centre, *residue, CountHydrogens(*converted.mol, *carrier));
      QZSetResidue(*copy, own);
    }
  }
  return static_cast<int>(converted.mol->getNumAtoms() - numGiven);
}

// Adds what is missing and counts it; "" or why it cannot be told what is.
std::string Complete(QZGraphMol& mol, int& count) {
  const QZClassicNumbers numbers;
  try {
    const bool isDrawing = QZLooksTwoDimensional(mol);
    QZRDKitMol converted = ToRDKitWithImpliedHydrogens(mol, /*coordinates=*/true);
    if (!converted.error.empty()) return converted.error;
    converted.mol->getConformer().set3D(!isDrawing);
    RDKit::MolOps::addHs(*converted.mol, /*explicitOnly=*/false, /*addCoords=*/true);
    count = TakeHydrogens(converted, isDrawing, mol);
    if (count == 0) return "";
    PerceiveCompleted(converted);
    QZMolAccess::Impl(mol).SetTopology(QZPerceiveTopology(mol, std::move(converted)));
    return "";
  } catch (const std::exception& error) {
    return InUsersWords(error.what());
  }
}

}  // namespace

int QZAddHydrogens(QZGraphMol& mol) {
  int count = 0;
  const std::string reason = QZHasBondOrders(mol) ? Complete(mol, count) : QZFindMissing(mol);
  if (reason.empty()) return count;
  QZSystem::QZThrow.Warning(
      "Hydrogens cannot be added to molecule \"%s\": %s", mol.GetTitle(), reason.c_str());
  return -1;
}

bool QZLacksHydrogens(const QZMolBase& mol) {
  return !QZHasBondOrders(mol) || QZMolAccess::Impl(mol).Topology()->impliedHydrogens > 0;
}

bool QZLooksTwoDimensional(const QZMolBase& mol) {
  if (mol.NumAtoms() < 2 || !CommonHeight(mol).has_value()) return false;
  switch (GetDimension(mol)) {
    case Dimension::Two:
      return true;
    case Dimension::Three:
      return false;
    case Dimension::Unknown:
      break;
  }
  constexpr unsigned int kTetrahedral = 4;  // four neighbours are never all in one plane
  return mol.NumAtoms() > 2 && QZMolAccess::Impl(mol).Topology()->largestDegree >= kTetrahedral;
}

}  // namespace QZChem
