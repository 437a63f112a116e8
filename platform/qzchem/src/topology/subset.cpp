// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "perception/elements.h"
#include "qzchem/topology.h"
#include "topology/mol_impl.h"

namespace QZChem {
namespace {

using Eigen::Vector3d;

Vector3d Position(const QZMolImpl& mol, const QZAtomBase* atom) {
  return Vector3d(&mol.coords[std::size_t{3} * atom->GetIndex()]);
}

// Unit vectors along which `order` hydrogens replace a bond that pointed along `axis`: along it for
// a single bond, else spread about it, a pair perpendicular to the plane of the remaining bonds.
std::vector<Vector3d> CapDirections(const Vector3d& axis, unsigned int order, Vector3d inPlane) {
  if (order == 1) return {axis};
  inPlane -= inPlane.dot(axis) * axis;
  if (inPlane.norm() < 1e-6) inPlane = axis.unitOrthogonal();
  const Vector3d first = inPlane.cross(axis).normalized();
  // Half the H-C-H angle of a methylene; a methyl's hydrogens lean 70.5 degrees off its axis.
  const double lean = (order == 2 ? 54.75 : 70.5) * std::numbers::pi / 180.0;
  std::vector<Vector3d> directions;
  for (unsigned int i = 0; i < order; ++i) {
    const Vector3d side = Eigen::AngleAxisd(2.0 * std::numbers::pi * i / order, axis) * first;
    directions.push_back(std::cos(lean) * axis + std::sin(lean) * side);
  }
  return directions;
}

// `bond` was cut at `source`, whose copy is `kept`.
void CapBond(QZMolImpl& dst,
             QZAtomBase* kept,
             const QZMolImpl& src,
             const QZAtomBase* source,
             const QZBondBase* bond) {
  const Vector3d centre = Position(src, source);
  const Vector3d cut = Position(src, bond->GetNeighbour(source)) - centre;
  const Vector3d axis = cut.norm() > 1e-6 ? Vector3d(cut.normalized()) : Vector3d::UnitX();
  Vector3d inPlane = Vector3d::Zero();
  for (const QZBondBase* other : QZMolAccess::Bonds(*source)) {
    if (other != bond) inPlane = Position(src, other->GetNeighbour(source)) - centre;
  }
  const double length = CovalentRadius(source->GetAtomicNumber()) + CovalentRadius(1);
  for (const Vector3d& direction : CapDirections(axis, bond->GetOrder(), inPlane)) {
    const Vector3d place = centre + length * direction;
    dst.AddBond(kept, dst.AddAtom(1, place.data()), 1);
  }
}

}  // namespace

bool QZSubsetMol(QZMolBase& dst,
                 const QZMolBase& src,
                 const QZSystem::QZUnaryPredicate<QZAtomBase>& pred,
                 bool adjustHydrogens,
                 bool keepMapIndex,
                 QZAtomBase** atomMap,
                 QZBondBase** bondMap) {
  const QZMolImpl& from = QZMolAccess::Impl(src);
  QZMolImpl& to = QZMolAccess::Impl(dst);
  const std::size_t numBonds = from.bonds.size();
  std::vector<QZAtomBase*> copies(from.atoms.size(), nullptr);
  if (bondMap != nullptr) std::fill_n(bondMap, numBonds, nullptr);

  for (std::size_t i = 0; i < copies.size(); ++i) {
    const QZAtomBase* atom = from.atoms[i].get();
    if (atom == nullptr || !pred(*atom)) continue;
    const Vector3d place = Position(from, atom);
    copies[i] = to.AddCopy(*atom, place.data());
    if (!keepMapIndex) copies[i]->SetMapIndex(0);
  }
  for (std::size_t i = 0; i < numBonds; ++i) {
    const QZBondBase* bond = from.bonds[i].get();
    if (bond == nullptr) continue;
    QZAtomBase* begin = copies[bond->GetBegin()->GetIndex()];
    QZAtomBase* end = copies[bond->GetEnd()->GetIndex()];
    if (begin != nullptr && end != nullptr) {
      QZBondBase* copy = to.AddCopy(*bond, begin, end);
      if (bondMap != nullptr) bondMap[i] = copy;
    } else if (adjustHydrogens && begin != nullptr) {
      CapBond(to, begin, from, bond->GetBegin(), bond);
    } else if (adjustHydrogens && end != nullptr) {
      CapBond(to, end, from, bond->GetEnd(), bond);
    }
  }
  if (atomMap != nullptr) std::ranges::copy(copies, atomMap);
  if (std::ranges::all_of(copies, [](const QZAtomBase* copy) { return copy == nullptr; })) {
    return false;
  }
  if (to.title.empty()) to.title = from.title;
  return true;
}

}  // namespace QZChem
