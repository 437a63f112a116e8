// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "files/records.h"
#include "geometry/cells.h"
#include "perception/elements.h"

namespace QZChem {
namespace {

// Å beyond the sum of the covalent radii; the usual allowance (R. A. Sayle, "PDB: Cruft to
// Content", MUG 2001).
constexpr double kTolerance = 0.45;
// Å; closer atoms are one atom given twice.
constexpr double kTooClose = 0.4;

struct Point {
  QZAtomBase* atom;
  double radius;
  std::array<double, 3> xyz;
};

// Bonding partners of every atom with a lower number, through cells as wide as the longest bond.
class Neighbourhood {
 public:
  explicit Neighbourhood(const std::vector<Point>& points)
      : points_(points), cells_(LongestBond(points)) {
    for (std::size_t i = 0; i < points.size(); ++i) cells_.Add(i, points[i].xyz.data());
  }

  template <class Visit>
  void ForEachBond(Visit visit) const {
    for (std::size_t i = 0; i < points_.size(); ++i) {
      std::vector<std::size_t> partners;
      cells_.ForEachNear(points_[i].xyz.data(), [&](std::size_t j) {
        if (j < i && areBonded(points_[i], points_[j])) partners.push_back(j);
      });
      std::ranges::sort(partners);
      for (const std::size_t j : partners) visit(j, i);
    }
  }

  static double Distance(const Point& a, const Point& b) {
    return std::hypot(a.xyz[0] - b.xyz[0], a.xyz[1] - b.xyz[1], a.xyz[2] - b.xyz[2]);
  }

 private:
  static double LongestBond(const std::vector<Point>& points) {
    double radius = 0.0;
    for (const Point& point : points) radius = std::max(radius, point.radius);
    return 2.0 * radius + kTolerance;
  }
  static bool areBonded(const Point& a, const Point& b) {
    const double r = Distance(a, b);
    return r > kTooClose && r <= a.radius + b.radius + kTolerance;
  }

  const std::vector<Point>& points_;
  Cells cells_;
};

}  // namespace

void ConnectByDistance(QZGraphMol& mol, BondRule mayBond, const void* data) {
  std::vector<Point> points;
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    Point& point = points.emplace_back(&atom, CovalentRadius(atom.GetAtomicNumber()));
    mol.GetCoords(&atom, point.xyz.data());
    for (const double value : point.xyz) {
      if (!std::isfinite(value)) return;
    }
  }
  const Neighbourhood neighbourhood(points);
  constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
  std::vector<std::size_t> partnerOf(points.size(), kNone);  // the nearest one of a hydrogen
  const auto isHydrogen = [&](std::size_t i) { return points[i].atom->GetAtomicNumber() == 1; };
  const auto offer = [&](std::size_t hydrogen, std::size_t other) {
    std::size_t& best = partnerOf[hydrogen];
    const double r = Neighbourhood::Distance(points[hydrogen], points[other]);
    if (best == kNone || r < Neighbourhood::Distance(points[hydrogen], points[best])) best = other;
  };
  const auto isAllowed = [&](std::size_t i, std::size_t j) {
    return mayBond == nullptr || mayBond(*points[i].atom, *points[j].atom, data);
  };
  neighbourhood.ForEachBond([&](std::size_t i, std::size_t j) {
    if (!isAllowed(i, j)) return;
    if (isHydrogen(i)) offer(i, j);
    if (isHydrogen(j)) offer(j, i);
  });
  neighbourhood.ForEachBond([&](std::size_t i, std::size_t j) {
    if (isHydrogen(i) && partnerOf[i] != j) return;
    if (isHydrogen(j) && partnerOf[j] != i) return;
    if (isAllowed(i, j)) mol.AddBond(points[i].atom, points[j].atom);
  });
}

}  // namespace QZChem
