// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/drawing.h"

#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>

#include <cmath>
#include <memory>
#include <vector>

#include "topology/mol_impl.h"

namespace QZChem {
namespace {

unsigned int WedgeTag() {
  static const unsigned int tag = QZSystem::QZGetTag("QZChem wedge");
  return tag;
}

// The direction of a neighbour from its centre when the drawing is raised to three dimensions: ends
// of wedges are one unit in front of or behind the paper, the other neighbours lean the other way.
// A wedged hydrogen points straight out of the paper, since its drawn position has no meaning.
RDGeom::Point3D Relief(const RDGeom::Point3D& step, const QZAtomBase& end, int wedge, int sum) {
  const double length = std::hypot(step.x, step.y);
  const bool isUpright = wedge != 0 && end.GetAtomicNumber() == 1;
  const double inPlane = length > 1e-6 ? (isUpright ? 0.1 : 1.0) / length : 0.0;
  return {inPlane * step.x, inPlane * step.y, wedge != 0 ? wedge : -sum / 3.0};
}

RDKit::Atom::ChiralType Handedness(const QZAtomBase& centre,
                                   const RDKit::Conformer& plane,
                                   const RDKit::Atom& converted) {
  std::vector<RDGeom::Point3D> steps;
  const RDGeom::Point3D& origin = plane.getAtomPos(converted.getIdx());
  const int sum = SumOfWedges(centre);
  // Bonds of an atom stand in the same order on both sides.
  const auto& bonds = QZMolAccess::Bonds(centre);
  const RDKit::ROMol& mol = converted.getOwningMol();
  for (const RDKit::Bond* drawn : mol.atomBonds(&converted)) {
    const QZBondBase* bond = bonds[steps.size()];
    const int wedge = bond->GetBegin() == &centre ? GetWedge(*bond) : 0;
    const RDGeom::Point3D step =
        plane.getAtomPos(drawn->getOtherAtomIdx(converted.getIdx())) - origin;
    steps.push_back(Relief(step, *bond->GetNeighbour(&centre), wedge, sum));
    if (steps.size() == bonds.size()) break;
  }
  if (steps.size() < 3 || steps.size() > 4) return RDKit::Atom::CHI_UNSPECIFIED;
  const double volume = steps[0].dotProduct(steps[1].crossProduct(steps[2]));
  constexpr double kFlat = 1e-3;
  if (std::fabs(volume) < kFlat) return RDKit::Atom::CHI_UNSPECIFIED;
  return volume > 0.0 ? RDKit::Atom::CHI_TETRAHEDRAL_CCW : RDKit::Atom::CHI_TETRAHEDRAL_CW;
}

bool HasWedge(const QZAtomBase& atom) {
  for (const QZBondBase* bond : QZMolAccess::Bonds(atom)) {
    if (bond->GetBegin() == &atom && GetWedge(*bond) != 0) return true;
  }
  return false;
}

}  // namespace

void SetWedge(QZBondBase& bond, int wedge) {
  if (wedge != 0) bond.SetData(WedgeTag(), wedge);
}

int GetWedge(const QZBondBase& bond) {
  const int* wedge = bond.GetData<int>(WedgeTag());
  return wedge != nullptr ? *wedge : 0;
}

int SumOfWedges(const QZAtomBase& atom) {
  int sum = 0;
  for (const QZBondBase* bond : QZMolAccess::Bonds(atom)) {
    if (bond->GetBegin() == &atom) sum += GetWedge(*bond);
  }
  return sum;
}

void AssignDrawnStereo(const QZMolBase& mol, RDKit::RWMol& converted) {
  converted.getConformer().set3D(false);
  unsigned int next = 0;  // RDKit's atoms follow ours in index order
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    RDKit::Atom* centre = converted.getAtomWithIdx(next++);
    if (HasWedge(atom)) centre->setChiralTag(Handedness(atom, converted.getConformer(), *centre));
  }
  RDKit::MolOps::assignStereochemistry(converted, /*cleanIt=*/true, /*force=*/true);
}

}  // namespace QZChem
