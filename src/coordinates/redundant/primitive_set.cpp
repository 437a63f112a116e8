// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/redundant/primitive_set.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "qzchem/mol.h"

namespace QZMolPotential {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
// An angle above the first limit becomes straight; an angle below the second is no longer straight.
// Between the limits it keeps its form, so that the form does not change back and forth.
constexpr double kBecomesStraight = 170.0 * kDegree;
constexpr double kStaysStraight = 165.0 * kDegree;
// Angles of ring atoms and of atoms of more than two neighbours have room for bends if they are
// wider than this when set up.
constexpr double kNearlyStraight = 150.0 * kDegree;
// Bond orders of an atom of two neighbours that sum to this are those of a straight one.
constexpr unsigned int kLinearOrders = 4;
// A reference direction closer to the line than this sine tells no plane.
constexpr double kReferenceSine = 0.2;
// One that has come closer than this is to be replaced.
constexpr double kLostReferenceSine = 0.07;

double angleAt(const double* x, unsigned int a, unsigned int centre, unsigned int b) {
  const Vec3 c = LoadAtom(x, centre);
  return VectorAngle(LoadAtom(x, a) - c, LoadAtom(x, b) - c).Angle();
}

// The sine between the line from a to b and the direction from `origin` to `atom`.
double sineOff(
    const double* x, unsigned int a, unsigned int b, unsigned int origin, unsigned int atom) {
  const Vec3 axis = LoadAtom(x, b) - LoadAtom(x, a);
  const Vec3 t = LoadAtom(x, atom) - LoadAtom(x, origin);
  return Norm(Cross(axis, t)) / (Norm(axis) * Norm(t));
}

}  // namespace

bool PrimitiveSet::isStraight(const Corner& corner, const double* x) {
  return angleAt(x, corner.end, corner.centre, corner.otherEnd) >
         (corner.straight ? kStaysStraight : kBecomesStraight);
}

void PrimitiveSet::Build(const QZChem::QZMolBase& mol,
                         const double* coords,
                         const std::vector<unsigned char>& fixed) {
  fixed_ = fixed;
  neighbours_.assign(mol.AtomIndexBound(), {});
  linearByBonds_.assign(mol.AtomIndexBound(), 0);
  inRing_.assign(mol.AtomIndexBound(), 0);
  corners_.clear();
  cornerIndex_.clear();
  primitives_.clear();
  conditions_.clear();
  std::vector<unsigned int> orders(mol.AtomIndexBound(), 0);
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    const unsigned int a = bond.GetBegin()->GetIndex();
    const unsigned int b = bond.GetEnd()->GetIndex();
    neighbours_[a].push_back(b);
    neighbours_[b].push_back(a);
    for (const unsigned int atom : {a, b}) {
      orders[atom] += bond.GetOrder();
      if (bond.IsInRing()) inRing_[atom] = 1;
    }
    add(Primitive::Kind::Bond, {a, b, 0, 0});
  }
  for (std::size_t atom = 0; atom < orders.size(); ++atom) {
    linearByBonds_[atom] = neighbours_[atom].size() == 2 && orders[atom] >= kLinearOrders;
  }
  addCorners(coords);
  addCornerPrimitives();
  addDihedrals();
  addSkippingDihedrals();
  addOutOfPlane();
  usedCorners_.clear();
  for (const Condition& c : conditions_) usedCorners_.push_back(c.corner);
  std::ranges::sort(usedCorners_);
  usedCorners_.erase(std::unique(usedCorners_.begin(), usedCorners_.end()), usedCorners_.end());
}

std::size_t PrimitiveSet::add(Primitive::Kind kind, const std::array<unsigned int, 4>& atoms) {
  Primitive p;
  p.kind = kind;
  p.atoms = atoms;
  p.spaceFixed = p.IsBend();  // until a reference atom is chosen
  const auto end = atoms.begin() + static_cast<std::ptrdiff_t>(p.NumAtoms());
  if (std::all_of(atoms.begin(), end, [this](unsigned int a) { return fixed_[a] != 0; })) {
    return primitives_.size();
  }
  primitives_.push_back(p);
  return primitives_.size() - 1;
}

// A condition of the primitive added last.
void PrimitiveSet::require(std::size_t corner, bool straight) {
  conditions_.push_back({primitives_.size() - 1, corner, straight});
}

std::size_t PrimitiveSet::cornerOf(unsigned int a, unsigned int centre, unsigned int b) const {
  return cornerIndex_.at({centre, std::min(a, b), std::max(a, b)});
}

void PrimitiveSet::addCorners(const double* x) {
  for (unsigned int centre = 0; centre < neighbours_.size(); ++centre) {
    const auto& ends = neighbours_[centre];
    for (std::size_t u = 0; u < ends.size(); ++u) {
      for (std::size_t w = u + 1; w < ends.size(); ++w) {
        const double angle = angleAt(x, ends[u], centre, ends[w]);
        const bool isOpen = ends.size() == 2 && !inRing_[centre];
        // Written so that an angle between atoms in one place counts as wide.
        const bool wasWide = linearByBonds_[centre] || !(angle <= kNearlyStraight);
        const bool hasBends = isOpen || wasWide;
        cornerIndex_[{centre, std::min(ends[u], ends[w]), std::max(ends[u], ends[w])}] =
            corners_.size();
        corners_.push_back(
            {ends[u], centre, ends[w], hasBends, wasWide, !(angle <= kBecomesStraight)});
      }
    }
  }
}

void PrimitiveSet::addCornerPrimitives() {
  for (std::size_t k = 0; k < corners_.size(); ++k) {
    const Corner& corner = corners_[k];
    const std::array<unsigned int, 4> atoms{corner.end, corner.centre, corner.otherEnd, 0};
    if (add(Primitive::Kind::Angle, atoms) == primitives_.size()) continue;
    require(k, /*straight=*/false);
    if (!corner.hasBends) continue;
    for (const auto kind : {Primitive::Kind::BendInPlane, Primitive::Kind::BendAcross}) {
      add(kind, atoms);
      require(k, /*straight=*/true);
    }
  }
}

bool PrimitiveSet::addDihedral(unsigned int i, unsigned int a, unsigned int b, unsigned int l) {
  // In a three-membered ring the two planes are one.
  if (i == l || i == b || l == a) return false;
  return add(Primitive::Kind::Dihedral, {i, a, b, l}) != primitives_.size();
}

void PrimitiveSet::addDihedrals() {
  for (unsigned int a = 0; a < neighbours_.size(); ++a) {
    for (const unsigned int b : neighbours_[a]) {
      if (b < a) continue;
      for (const unsigned int i : neighbours_[a]) {
        for (const unsigned int l : neighbours_[b]) {
          if (!addDihedral(i, a, b, l)) continue;
          require(cornerOf(i, a, b), /*straight=*/false);
          require(cornerOf(a, b, l), /*straight=*/false);
        }
      }
    }
  }
}

// For every run of atoms of two neighbours that may be straight, the dihedrals about the line from
// the atom before it to the atom after it.
void PrimitiveSet::addSkippingDihedrals() {
  const auto mayBeStraight = [this](unsigned int atom) {
    const auto& n = neighbours_[atom];
    return n.size() == 2 && corners_[cornerOf(n[0], atom, n[1])].hasBends;
  };
  for (unsigned int a = 0; a < neighbours_.size(); ++a) {
    for (const unsigned int start : neighbours_[a]) {
      unsigned int before = a;
      unsigned int atom = start;
      std::vector<std::size_t> run;
      while (mayBeStraight(atom) && run.size() < neighbours_.size()) {
        const auto& n = neighbours_[atom];
        const unsigned int next = n[0] == before ? n[1] : n[0];
        run.push_back(cornerOf(before, atom, next));
        before = atom;
        atom = next;
        if (atom <= a) continue;  // found from the other end
        for (const unsigned int i : neighbours_[a]) {
          for (const unsigned int l : neighbours_[atom]) {
            if (i == start || l == before || !addDihedral(i, a, atom, l)) continue;
            for (const std::size_t corner : run) require(corner, /*straight=*/true);
            require(cornerOf(i, a, start), /*straight=*/false);
            require(cornerOf(before, atom, l), /*straight=*/false);
          }
        }
      }
    }
  }
}

void PrimitiveSet::addOutOfPlane() {
  for (unsigned int centre = 0; centre < neighbours_.size(); ++centre) {
    const auto& n = neighbours_[centre];
    if (n.size() != 3) continue;
    // The axis is the bond that no straight angle touches, where there is a choice.
    for (std::size_t k = 0; k < 3; ++k) {
      const std::size_t left = cornerOf(n[k], centre, n[(k + 1) % 3]);
      const std::size_t right = cornerOf(n[k], centre, n[(k + 2) % 3]);
      if (k < 2 && (corners_[left].straight || corners_[right].straight)) continue;
      if (addDihedral(n[(k + 1) % 3], centre, n[k], n[(k + 2) % 3])) {
        require(left, /*straight=*/false);
        require(right, /*straight=*/false);
      }
      break;
    }
  }
}

void PrimitiveSet::Choose(const double* x) {
  for (Corner& corner : corners_) corner.straight = isStraight(corner, x);
  for (Primitive& p : primitives_) {
    p.active = true;
    if (p.IsBend()) chooseReference(p, x);
  }
  for (const Condition& c : conditions_) {
    if (corners_[c.corner].straight != c.straight) primitives_[c.primitive].active = false;
  }
}

bool PrimitiveSet::MayBeStraight(const std::vector<unsigned int>& atoms) const {
  return std::ranges::all_of(atoms, [this](unsigned int atom) {
    const auto& n = neighbours_[atom];
    return n.size() < 2 || (n.size() == 2 && corners_[cornerOf(n[0], atom, n[1])].wasWide);
  });
}

bool PrimitiveSet::IsOutdated(const double* x) const {
  const auto isLost = [x](const Primitive& p) {
    if (!p.active || !p.IsBend() || p.spaceFixed) return false;
    return sineOff(x, p.atoms[0], p.atoms[2], p.atoms[1], p.atoms[3]) < kLostReferenceSine;
  };
  const auto hasChanged = [&](std::size_t k) {
    return isStraight(corners_[k], x) != corners_[k].straight;
  };
  return std::ranges::any_of(usedCorners_, hasChanged) || std::ranges::any_of(primitives_, isLost);
}

// The atom nearest by bonds that is out of the line, else a direction in space.
void PrimitiveSet::chooseReference(Primitive& bend, const double* x) const {
  const unsigned int centre = bend.atoms[1];
  const auto tellsAPlane = [&](unsigned int atom) {
    return sineOff(x, bend.atoms[0], bend.atoms[2], centre, atom) > kReferenceSine;
  };
  constexpr std::size_t kMostSearched = 64;
  std::vector<unsigned int> reached{centre, bend.atoms[0], bend.atoms[2]};
  for (std::size_t k = 0; k < reached.size() && reached.size() < kMostSearched; ++k) {
    for (const unsigned int next : neighbours_[reached[k]]) {
      if (std::ranges::find(reached, next) != reached.end()) continue;
      if (tellsAPlane(next)) {
        bend.spaceFixed = false;
        bend.atoms[3] = next;
        return;
      }
      reached.push_back(next);
    }
  }
  const Vec3 axis = LoadAtom(x, bend.atoms[2]) - LoadAtom(x, bend.atoms[0]);
  bend.spaceFixed = true;
  bend.direction = AnyPerpendicular((1.0 / Norm(axis)) * axis);
}

}  // namespace QZMolPotential
