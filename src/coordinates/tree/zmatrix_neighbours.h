// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "kernels/vec3.h"

namespace QZMolPotential {

/// The first atoms of a coordinate vector in a hash of cubic cells, which answers which of them is
/// nearest to a point. Cost: O(1) an atom or query at usual densities; a point with no atom within
/// 10 Å looks at all of them.
class EarlierAtoms {
 public:
  /// Holds no atom yet; `coords` must outlive this object.
  explicit EarlierAtoms(const double* coords) : coords_(coords) {}

  /// Makes atoms 0 to count - 1 known; a smaller count than before changes nothing.
  void AddUpTo(unsigned int count) {
    for (; count_ < count; ++count_) cells_[cellOf(LoadAtom(coords_, count_))].push_back(count_);
  }

  /// Of the known atoms for which accept(atom), the one nearest to `p` and nearer than the root of
  /// `farthest2` (Å²), the lowest of several at the same distance; `none` if there is none.
  template <class Accept>
  unsigned int Nearest(const Vec3& p, double farthest2, unsigned int none, Accept accept) const {
    unsigned int best = none;
    double best2 = farthest2;
    const auto look = [&](unsigned int atom) {
      const Vec3 d = p - LoadAtom(coords_, atom);
      const double d2 = Dot(d, d);
      const bool nearer = d2 < best2 || (d2 == best2 && best2 < farthest2 && atom < best);
      if (!nearer || !accept(atom)) return;
      best2 = d2;
      best = atom;
    };
    const CellIndex centre = cellOf(p);
    for (int shell = 0; shell <= kMaxShells; ++shell) {
      // All atoms of this shell and those to come are at least this far away.
      const double clear = kCell * std::max(0, shell - 1);
      if (best2 < clear * clear) return best;
      forEachOfShell(centre, shell, look);
    }
    if (best2 < kCell * kCell * kMaxShells * kMaxShells) return best;
    for (unsigned int atom = 0; atom < count_; ++atom) look(atom);
    return best;
  }

 private:
  static constexpr double kCell = 2.5;  // Å: a cell holds one or two bonded atoms
  static constexpr int kMaxShells = 4;  // beyond, looking at all atoms is as cheap

  using CellIndex = std::array<std::int64_t, 3>;
  struct Hash {
    std::size_t operator()(const CellIndex& c) const {
      const auto u = [&c](std::size_t i) { return static_cast<std::size_t>(c[i]); };
      return (u(0) * 73856093U) ^ (u(1) * 19349663U) ^ (u(2) * 83492791U);
    }
  };

  static CellIndex cellOf(const Vec3& p) {
    const auto index = [](double x) {
      const double cell = std::floor(x / kCell);
      return std::abs(cell) < 1e15 ? static_cast<std::int64_t>(cell) : std::int64_t{0};
    };
    return {index(p.x), index(p.y), index(p.z)};
  }

  template <class Look>
  void forEachOfShell(const CellIndex& centre, int shell, Look look) const {
    for (int dx = -shell; dx <= shell; ++dx) {
      for (int dy = -shell; dy <= shell; ++dy) {
        const bool inner = std::abs(dx) < shell && std::abs(dy) < shell;
        for (int dz = -shell; dz <= shell; dz += inner ? 2 * shell : 1) {
          const auto cell = cells_.find({centre[0] + dx, centre[1] + dy, centre[2] + dz});
          if (cell == cells_.end()) continue;
          for (const unsigned int atom : cell->second) look(atom);
        }
      }
    }
  }

  const double* coords_;
  unsigned int count_ = 0;
  std::unordered_map<CellIndex, std::vector<unsigned int>, Hash> cells_;
};

}  // namespace QZMolPotential
