// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "adaptors/zmatrix_neighbours.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <unordered_map>

#include "math/vec3.h"

namespace QZMolPotential {
namespace {

constexpr double kCell = 2.5;        // Å: a cell holds one or two bonded atoms
constexpr double kFarthest2 = 1e10;  // Å²
constexpr int kMaxShells = 4;        // beyond, looking at all earlier atoms is as cheap

using CellIndex = std::array<std::int64_t, 3>;

struct Hash {
  std::size_t operator()(const CellIndex& c) const {
    return static_cast<std::size_t>(c[0] * 73856093 ^ c[1] * 19349663 ^ c[2] * 83492791);
  }
};

class EarlierAtoms {
 public:
  explicit EarlierAtoms(const double* coords) : coords_(coords) {}

  void Add(unsigned int atom) { cells_[cellOf(LoadAtom(coords_, atom))].push_back(atom); }

  unsigned int Nearest(unsigned int k) {
    best_ = 0;
    best2_ = kFarthest2;
    const Vec3 p = LoadAtom(coords_, k);
    const CellIndex centre = cellOf(p);
    for (int shell = 0; shell <= kMaxShells; ++shell) {
      // All atoms of the shells to come are at least this far away.
      const double clear = kCell * std::max(0, shell - 1);
      if (best2_ < clear * clear) return best_;
      lookAtShell(p, centre, shell);
    }
    if (best2_ < kCell * kCell * kMaxShells * kMaxShells) return best_;
    for (unsigned int atom = 0; atom < k; ++atom) look(p, atom);
    return best_;
  }

 private:
  CellIndex cellOf(const Vec3& p) const {
    const auto index = [](double x) {
      const double cell = std::floor(x / kCell);
      return std::abs(cell) < 1e15 ? static_cast<std::int64_t>(cell) : std::int64_t{0};
    };
    return {index(p.x), index(p.y), index(p.z)};
  }

  void lookAtShell(const Vec3& p, const CellIndex& centre, int shell) {
    for (int dx = -shell; dx <= shell; ++dx) {
      for (int dy = -shell; dy <= shell; ++dy) {
        const bool inner = std::abs(dx) < shell && std::abs(dy) < shell;
        for (int dz = -shell; dz <= shell; dz += inner ? 2 * shell : 1) {
          const auto cell = cells_.find({centre[0] + dx, centre[1] + dy, centre[2] + dz});
          if (cell == cells_.end()) continue;
          for (const unsigned int atom : cell->second) look(p, atom);
        }
      }
    }
  }

  void look(const Vec3& p, unsigned int atom) {
    const Vec3 d = p - LoadAtom(coords_, atom);
    const double d2 = Dot(d, d);
    if (d2 < best2_ || (d2 == best2_ && atom < best_)) {
      best2_ = d2;
      best_ = atom;
    }
  }

  const double* coords_;
  std::unordered_map<CellIndex, std::vector<unsigned int>, Hash> cells_;
  unsigned int best_ = 0;
  double best2_ = kFarthest2;
};

}  // namespace

std::vector<unsigned int> NearestEarlierAtoms(const double* coords, std::size_t n) {
  std::vector<unsigned int> nearest(n, 0);
  EarlierAtoms earlier(coords);
  for (unsigned int k = 0; k < n; ++k) {
    if (k > 0) nearest[k] = earlier.Nearest(k);
    earlier.Add(k);
  }
  return nearest;
}

}  // namespace QZMolPotential
