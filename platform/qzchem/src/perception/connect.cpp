// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <vector>

#include "perception/elements.h"
#include "files/records.h"

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

using Cell = std::array<long long, 3>;

struct CellHash {
  std::size_t operator()(const Cell& cell) const {
    std::size_t hash = 0;
    for (const long long k : cell)
      hash = hash * 0x9E3779B97F4A7C15ULL + static_cast<std::size_t>(k);
    return hash ^ (hash >> 32);
  }
};

// Bonding partners of every atom with a lower number, through cells as wide as the longest bond.
class Neighbourhood {
 public:
  explicit Neighbourhood(const std::vector<Point>& points) : points_(points) {
    double radius = 0.0;
    for (const Point& point : points) radius = std::max(radius, point.radius);
    width_ = 2.0 * radius + kTolerance;
    for (std::size_t i = 0; i < points.size(); ++i) cells_[cellOf(points[i])].push_back(i);
  }

  template <class Visit>
  void ForEachBond(Visit visit) const {
    for (std::size_t i = 0; i < points_.size(); ++i) {
      const Cell centre = cellOf(points_[i]);
      std::vector<std::size_t> partners;
      for (int k = 0; k < 27; ++k) {
        const auto found =
            cells_.find({centre[0] + k % 3 - 1, centre[1] + k / 3 % 3 - 1, centre[2] + k / 9 - 1});
        if (found == cells_.end()) continue;
        for (const std::size_t j : found->second) {
          if (j < i && areBonded(points_[i], points_[j])) partners.push_back(j);
        }
      }
      std::ranges::sort(partners);
      for (const std::size_t j : partners) visit(j, i);
    }
  }

  static double Distance(const Point& a, const Point& b) {
    return std::hypot(a.xyz[0] - b.xyz[0], a.xyz[1] - b.xyz[1], a.xyz[2] - b.xyz[2]);
  }

 private:
  Cell cellOf(const Point& point) const {
    Cell cell;
    for (std::size_t k = 0; k < 3; ++k) {
      // Kept where every double has its own cell and neighbours can be counted.
      const double scaled = std::floor(point.xyz[k] / width_);
      cell[k] = static_cast<long long>(std::clamp(scaled, -1e15, 1e15));
    }
    return cell;
  }
  static bool areBonded(const Point& a, const Point& b) {
    const double r = Distance(a, b);
    return r > kTooClose && r <= a.radius + b.radius + kTolerance;
  }

  const std::vector<Point>& points_;
  double width_;
  std::unordered_map<Cell, std::vector<std::size_t>, CellHash> cells_;
};

}  // namespace

void ConnectByDistance(QZGraphMol& mol) {
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
  neighbourhood.ForEachBond([&](std::size_t i, std::size_t j) {
    if (isHydrogen(i)) offer(i, j);
    if (isHydrogen(j)) offer(j, i);
  });
  neighbourhood.ForEachBond([&](std::size_t i, std::size_t j) {
    if (isHydrogen(i) && partnerOf[i] != j) return;
    if (isHydrogen(j) && partnerOf[j] != i) return;
    mol.AddBond(points[i].atom, points[j].atom);
  });
}

}  // namespace QZChem
