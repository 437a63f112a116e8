// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/geometry.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "kernels/angle.h"
#include "kernels/dihedral.h"
#include "kernels/rotation.h"
#include "topology/mol_impl.h"
#include "topology/walk.h"

namespace QZChem {
namespace {

using QZMolPotential::AddToAtom;
using QZMolPotential::AngleOf;
using QZMolPotential::Cross;
using QZMolPotential::Norm;
using QZMolPotential::Normalised;
using QZMolPotential::StoreAtom;
using QZMolPotential::Vec3;

// Å; closer atoms give no direction that rounding leaves meaningful.
constexpr double kCoincident = 1e-8;
// Sine of the angle below which two directions count as one line.
constexpr double kStraight = 1e-8;

template <class... Atoms>
bool OwnsAll(const QZMolImpl& mol, const Atoms*... atoms) {
  return (mol.Owns(atoms) && ...);
}

// Also false for coordinates that are not finite.
bool AreApart(const Vec3& a, const Vec3& b) {
  const double r = Norm(a - b);
  return std::isfinite(r) && r > kCoincident;
}

const QZBondBase* BondBetween(const QZAtomBase* a, const QZAtomBase* b) {
  for (const QZBondBase* bond : QZMolAccess::Bonds(*a)) {
    if (bond->GetNeighbour(a) == b) return bond;
  }
  return nullptr;
}

bool IsFree(const QZBondBase* bond) {
  return bond != nullptr && !bond->IsInRing();
}

bool Contains(const std::vector<QZAtomBase*>& atoms, const QZAtomBase* atom) {
  return std::ranges::find(atoms, atom) != atoms.end();
}

// `atom` and the groups that hang on it alone: what loses every anchor when `atom` is taken out.
std::vector<QZAtomBase*> HangingOn(QZAtomBase* atom,
                                   std::initializer_list<const QZAtomBase*> anchors) {
  std::vector<char> anchored(atom->GetMol().AtomIndexBound(), 0);
  for (const QZAtomBase* anchor : anchors) {
    if (anchored[anchor->GetIndex()] != 0) continue;
    for (const QZAtomBase* held : Subtree(anchor, atom)) anchored[held->GetIndex()] = 1;
  }
  std::vector<QZAtomBase*> hanging = Subtree(atom, nullptr);
  std::erase_if(hanging, [&anchored](const QZAtomBase* x) { return anchored[x->GetIndex()] != 0; });
  return hanging;
}

// What moves with `atom` when it is turned or pulled against `pivot`; `fixed` never does.
std::vector<QZAtomBase*> MovingSide(QZAtomBase* atom, QZAtomBase* pivot, const QZAtomBase* fixed) {
  if (IsFree(BondBetween(pivot, atom))) {
    std::vector<QZAtomBase*> side = Subtree(atom, pivot);
    if (!Contains(side, fixed)) return side;
  }
  return HangingOn(atom, {pivot, fixed});
}

void Turn(QZMolImpl& mol,
          const std::vector<QZAtomBase*>& atoms,
          const Vec3& origin,
          const Vec3& axis,
          double angle) {
  const QZMolPotential::AxisRotation turn(axis, angle);
  for (const QZAtomBase* atom : atoms) {
    StoreAtom(mol.coords.data(), atom->GetIndex(), origin + turn(Position(mol, atom) - origin));
  }
}

}  // namespace

double QZGetDistance(const QZMolBase& mol, const QZAtomBase* a, const QZAtomBase* b) {
  const QZMolImpl& impl = QZMolAccess::Impl(mol);
  return OwnsAll(impl, a, b) ? Norm(Position(impl, a) - Position(impl, b)) : 0.0;
}

double QZGetAngle(const QZMolBase& mol,
                  const QZAtomBase* a,
                  const QZAtomBase* b,
                  const QZAtomBase* c) {
  const QZMolImpl& impl = QZMolAccess::Impl(mol);
  if (!OwnsAll(impl, a, b, c)) return 0.0;
  return AngleOf(Position(impl, a), Position(impl, b), Position(impl, c));
}

double QZGetTorsion(const QZMolBase& mol,
                    const QZAtomBase* a,
                    const QZAtomBase* b,
                    const QZAtomBase* c,
                    const QZAtomBase* d) {
  const QZMolImpl& impl = QZMolAccess::Impl(mol);
  if (!OwnsAll(impl, a, b, c, d)) return 0.0;
  const auto point = [&impl](const QZAtomBase* atom) { return Position(impl, atom); };
  return QZMolPotential::DihedralCosine(point(a), point(b), point(c), point(d)).SignedAngle();
}

bool QZSetDistance(QZMolBase& mol, QZAtomBase* a, QZAtomBase* b, double distance) {
  QZMolImpl& impl = QZMolAccess::Impl(mol);
  if (!OwnsAll(impl, a, b) || !std::isfinite(distance) || !(distance > 0.0)) return false;
  const Vec3 pa = Position(impl, a);
  const Vec3 pb = Position(impl, b);
  if (!AreApart(pa, pb)) return false;

  const QZBondBase* bond = BondBetween(a, b);
  const std::vector<QZAtomBase*> moving = IsFree(bond) ? SmallerSide(*bond) : HangingOn(b, {a});
  // Away from the atom that stays.
  const Vec3 direction = Normalised(moving.front() == b ? pb - pa : pa - pb);
  const Vec3 shift = (distance - Norm(pb - pa)) * direction;
  for (const QZAtomBase* atom : moving) AddToAtom(impl.coords.data(), atom->GetIndex(), shift);
  return true;
}

bool QZSetAngle(
    QZMolBase& mol, QZAtomBase* a, QZAtomBase* b, QZAtomBase* c, double angle, double* coords) {
  QZMolImpl& impl = QZMolAccess::Impl(mol);
  if (!OwnsAll(impl, a, b, c) || a == c) return false;
  if (!(angle >= 0.0 && angle <= std::numbers::pi)) return false;
  const Vec3 apex = Position(impl, b);
  if (!AreApart(Position(impl, a), apex) || !AreApart(Position(impl, c), apex)) return false;

  const Vec3 u = Position(impl, a) - apex;
  const Vec3 v = Position(impl, c) - apex;
  const Vec3 normal = Cross(u, v);
  const bool isStraight = Norm(normal) <= kStraight * Norm(u) * Norm(v);
  const Vec3 axis = isStraight ? QZMolPotential::AnyPerpendicular(u) : Normalised(normal);
  const double change = angle - QZMolPotential::AngleBetween(u, v);
  // A ring bond is left alone where the other side can turn instead.
  if (!IsFree(BondBetween(b, c)) && IsFree(BondBetween(b, a))) {
    Turn(impl, MovingSide(a, b, c), apex, axis, -change);
  } else {
    Turn(impl, MovingSide(c, b, a), apex, axis, change);
  }
  if (coords != nullptr) mol.GetCoords(coords);
  return true;
}

bool QZSetTorsion(
    QZMolBase& mol, QZAtomBase* a, QZAtomBase* b, QZAtomBase* c, QZAtomBase* d, double torsion) {
  QZMolImpl& impl = QZMolAccess::Impl(mol);
  if (!OwnsAll(impl, a, b, c, d) || !std::isfinite(torsion)) return false;
  if (a == c || a == d || b == d) return false;
  const Vec3 pb = Position(impl, b);
  const Vec3 pc = Position(impl, c);
  if (!AreApart(Position(impl, a), pb) || !AreApart(pb, pc) || !AreApart(pc, Position(impl, d))) {
    return false;
  }
  const Vec3 axis = Normalised(pc - pb);
  const auto isInLine = [&axis](const Vec3& v) {
    return Norm(Cross(axis, v)) <= kStraight * Norm(v);
  };
  if (isInLine(Position(impl, a) - pb) || isInLine(Position(impl, d) - pc)) return false;

  const QZBondBase* bond = BondBetween(b, c);
  if (bond != nullptr && bond->IsInRing()) return false;
  std::vector<QZAtomBase*> moving;
  if (bond != nullptr) moving = Subtree(c, b);
  if (!Contains(moving, d) || Contains(moving, a)) moving = HangingOn(d, {a, b, c});
  Turn(impl, moving, pb, axis, torsion - QZGetTorsion(mol, a, b, c, d));
  return true;
}

}  // namespace QZChem
