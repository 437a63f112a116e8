// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "kernels/rotation.h"
#include "perception/elements.h"
#include "qzchem/topology.h"
#include "topology/mol_impl.h"

namespace QZChem {
namespace {

using QZMolPotential::Norm;
using QZMolPotential::Normalised;
using QZMolPotential::Vec3;

// Unit vectors along which `order` hydrogens replace a bond that pointed along `axis`: along it for
// a single bond, else spread about it, a pair perpendicular to the plane of the remaining bonds.
std::vector<Vec3> CapDirections(const Vec3& axis, unsigned int order, Vec3 inPlane) {
  if (order == 1) return {axis};
  inPlane -= Dot(inPlane, axis) * axis;
  if (Norm(inPlane) < 1e-6) inPlane = QZMolPotential::AnyPerpendicular(axis);
  const Vec3 first = Normalised(Cross(inPlane, axis));
  // Half the H-C-H angle of a methylene; a methyl's hydrogens lean 70.5 degrees off its axis.
  const double lean = (order == 2 ? 54.75 : 70.5) * std::numbers::pi / 180.0;
  std::vector<Vec3> directions;
  for (unsigned int i = 0; i < order; ++i) {
    const Vec3 side = QZMolPotential::AxisRotation(axis, 2.0 * std::numbers::pi * i / order)(first);
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
  const Vec3 centre = Position(src, source);
  const Vec3 cut = Position(src, bond->GetNeighbour(source)) - centre;
  const Vec3 axis = Norm(cut) > 1e-6 ? Normalised(cut) : Vec3{1.0, 0.0, 0.0};
  Vec3 inPlane;
  for (const QZBondBase* other : QZMolAccess::Bonds(*source)) {
    if (other != bond) inPlane = Position(src, other->GetNeighbour(source)) - centre;
  }
  const double length = CovalentRadius(source->GetAtomicNumber()) + CovalentRadius(1);
  for (const Vec3& direction : CapDirections(axis, bond->GetOrder(), inPlane)) {
    double place[3];
    QZMolPotential::StoreAtom(place, 0, centre + length * direction);
    dst.AddBond(kept, dst.AddAtom(1, place), 1);
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
    double place[3];
    QZMolPotential::StoreAtom(place, 0, Position(from, atom));
    copies[i] = to.AddCopy(*atom, place);
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
