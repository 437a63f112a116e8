// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "files/records.h"
#include "kernels/cells.h"
#include "perception/elements.h"

namespace QZChem {
namespace {

using QZMolPotential::Vec3;

// Å beyond the sum of the covalent radii; the usual allowance (R. A. Sayle, "PDB: Cruft to
// Content", MUG 2001).
constexpr double kTolerance = 0.45;
// Å; closer atoms are one atom given twice.
constexpr double kTooClose = 0.4;

struct PlacedAtom {
  QZAtomBase* atom;
  double radius;
  Vec3 place;
};

// Bonding partners of every atom with a lower number, through cells as wide as the longest bond.
class Neighbourhood {
 public:
  explicit Neighbourhood(const std::vector<PlacedAtom>& atoms)
      : atoms_(atoms), longest_(LongestBond(atoms)) {
    cells_.Build(atoms.size(), longest_, [&](std::size_t i) { return atoms[i].place; });
  }

  template <class Visit>
  void ForEachBond(Visit visit) const {
    for (std::size_t i = 0; i < atoms_.size(); ++i) {
      std::vector<std::size_t> partners;
      cells_.ForEachNear(atoms_[i].place, longest_, [&](std::size_t j) {
        if (j < i && areBonded(atoms_[i], atoms_[j])) partners.push_back(j);
      });
      std::ranges::sort(partners);
      for (const std::size_t j : partners) visit(j, i);
    }
  }

  static double Distance(const PlacedAtom& a, const PlacedAtom& b) {
    const Vec3 d = a.place - b.place;
    return std::hypot(d.x, d.y, d.z);
  }

 private:
  static double LongestBond(const std::vector<PlacedAtom>& atoms) {
    double radius = 0.0;
    for (const PlacedAtom& atom : atoms) radius = std::max(radius, atom.radius);
    return 2.0 * radius + kTolerance;
  }
  static bool areBonded(const PlacedAtom& a, const PlacedAtom& b) {
    const double r = Distance(a, b);
    return r > kTooClose && r <= a.radius + b.radius + kTolerance;
  }

  const std::vector<PlacedAtom>& atoms_;
  double longest_;
  QZMolPotential::CellList cells_;
};

}  // namespace

void ConnectByDistance(QZGraphMol& mol, BondRule mayBond, const void* data) {
  std::vector<PlacedAtom> atoms;
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    std::array<double, 3> xyz{};
    mol.GetCoords(&atom, xyz.data());
    for (const double value : xyz) {
      if (!std::isfinite(value)) return;
    }
    atoms.push_back({&atom, CovalentRadius(atom.GetAtomicNumber()), {xyz[0], xyz[1], xyz[2]}});
  }
  const Neighbourhood neighbourhood(atoms);
  constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
  std::vector<std::size_t> partnerOf(atoms.size(), kNone);  // the nearest one of a hydrogen
  const auto isHydrogen = [&](std::size_t i) { return atoms[i].atom->GetAtomicNumber() == 1; };
  const auto offer = [&](std::size_t hydrogen, std::size_t other) {
    std::size_t& best = partnerOf[hydrogen];
    const double r = Neighbourhood::Distance(atoms[hydrogen], atoms[other]);
    if (best == kNone || r < Neighbourhood::Distance(atoms[hydrogen], atoms[best])) best = other;
  };
  const auto isAllowed = [&](std::size_t i, std::size_t j) {
    return mayBond == nullptr || mayBond(*atoms[i].atom, *atoms[j].atom, data);
  };
  neighbourhood.ForEachBond([&](std::size_t i, std::size_t j) {
    if (!isAllowed(i, j)) return;
    if (isHydrogen(i)) offer(i, j);
    if (isHydrogen(j)) offer(j, i);
  });
  neighbourhood.ForEachBond([&](std::size_t i, std::size_t j) {
    if (isHydrogen(i) && partnerOf[i] != j) return;
    if (isHydrogen(j) && partnerOf[j] != i) return;
    if (isAllowed(i, j)) mol.AddBond(atoms[i].atom, atoms[j].atom);
  });
}

}  // namespace QZChem
