// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "kernels/vec3.h"

namespace QZMolPotential {

/// Points sorted into cubic cells, to find the points near a place. Only cells that hold a point
/// exist, so that neither empty space nor a few distant points cost anything. The points of a cell
/// are in ascending order. Points that are not finite are in no cell. Cost: building O(n log n); a
/// row of neighbouring cells is one search among the occupied ones.
class CellList {
 public:
  using Index = unsigned int;

  /// Sorts points 0 to count - 1, point i at position(i) (a Vec3), into cells of this edge (Å).
  template <class Position>
  void Build(std::size_t count, double edge, Position position) {
    // A little more, so that rounding never puts points nearer than the edge two cells apart.
    edge_ = edge * (1.0 + 1e-8);
    low_ = {kFar, kFar, kFar};
    for (std::size_t i = 0; i < count; ++i) {
      const Vec3 p = position(i);
      if (!isFinite(p)) continue;
      low_ = {std::min(low_.x, p.x), std::min(low_.y, p.y), std::min(low_.z, p.z)};
    }
    sorted_.clear();
    sorted_.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      const Vec3 p = position(i);
      if (isFinite(p)) sorted_.emplace_back(keyOf(cellOf(p)), static_cast<Index>(i));
    }
    std::ranges::sort(sorted_);
    keys_.clear();
    start_.clear();
    for (std::size_t k = 0; k < sorted_.size(); ++k) {
      if (k != 0 && sorted_[k].first == sorted_[k - 1].first) continue;
      keys_.push_back(sorted_[k].first);
      start_.push_back(k);
    }
    start_.push_back(sorted_.size());
  }
  /// The same for the atoms of a coordinate vector.
  void Build(const double* coords, std::size_t count, double edge) {
    Build(count, edge, [coords](std::size_t i) { return LoadAtom(coords, i); });
  }

  /// Calls visit(i) for all points in the cells that the box touches: every point inside, and some
  /// outside.
  template <class Visit>
  void ForEachInBox(const Vec3& low, const Vec3& high, Visit visit) const {
    const Cell first = cellOf(low);
    const Cell last = cellOf(high);
    const auto rows =
        static_cast<double>(last[1] - first[1] + 1) * static_cast<double>(last[2] - first[2] + 1);
    if (rows > static_cast<double>(keys_.size())) {
      forEachOfAll(first, last, visit);
      return;
    }
    for (std::int64_t z = first[2]; z <= last[2]; ++z) {
      for (std::int64_t y = first[1]; y <= last[1]; ++y) {
        forEachInRow({first[0], y, z}, last[0], visit);
      }
    }
  }
  /// Calls visit(i) for all points within `reach` of p, and some beyond.
  template <class Visit>
  void ForEachNear(const Vec3& p, double reach, Visit visit) const {
    constexpr double kRounding = 1e-12;
    const double wide =
        reach + kRounding * (reach + std::max({std::abs(p.x), std::abs(p.y), std::abs(p.z)}));
    const Vec3 r{wide, wide, wide};
    ForEachInBox(p - r, p + r, visit);
  }

  /// Calls visit(i, j), i != j, once for each pair of points in the same or in touching cells: all
  /// pairs nearer than the edge, and some beyond.
  template <class Visit>
  void ForEachPair(Visit visit) const {
    // The rows of cells after a cell's own row. The position of the search in each only moves
    // forward.
    constexpr std::array<std::array<int, 2>, 4> kAhead{{{1, 0}, {-1, 1}, {0, 1}, {1, 1}}};
    std::array<std::size_t, 4> at{};
    for (std::size_t k = 0; k < keys_.size(); ++k) {
      const bool next =
          k + 1 < keys_.size() && keys_[k + 1] == keys_[k] + 1 && (keys_[k] & kMask) != kMask;
      for (std::size_t a = start_[k]; a < start_[k + 1]; ++a) {
        const std::size_t end = next ? start_[k + 2] : start_[k + 1];
        for (std::size_t b = a + 1; b < end; ++b) visit(sorted_[a].second, sorted_[b].second);
      }
      const Cell cell = cellOfKey(keys_[k]);
      for (std::size_t r = 0; r < kAhead.size(); ++r) {
        const std::int64_t y = cell[1] + kAhead[r][0];
        const std::int64_t z = cell[2] + kAhead[r][1];
        if (y < 0 || y > kLast || z > kLast) continue;
        const Key first = keyOf({std::max<std::int64_t>(cell[0] - 1, 0), y, z});
        const Key last = keyOf({std::min(cell[0] + 1, kLast), y, z});
        while (at[r] < keys_.size() && keys_[at[r]] < first) ++at[r];
        for (std::size_t c = at[r]; c < keys_.size() && keys_[c] <= last; ++c) {
          for (std::size_t a = start_[k]; a < start_[k + 1]; ++a) {
            for (std::size_t b = start_[c]; b < start_[c + 1]; ++b) {
              visit(sorted_[a].second, sorted_[b].second);
            }
          }
        }
      }
    }
  }

  /// Of points 0 to count - 1 for which accept(i), the one nearest to `p` and nearer than the root
  /// of `farthest2` (Å²), the lowest of several at the same distance; `none` if there is none.
  /// `position` as in `Build`. Cost: a few cells when one is found within a few edges, otherwise
  /// `count` points.
  template <class Position, class Accept>
  Index Nearest(const Vec3& p,
                Index count,
                double farthest2,
                Index none,
                Position position,
                Accept accept) const {
    constexpr int kShells = 4;  // beyond, looking at all points is as cheap
    Index best = none;
    double best2 = farthest2;
    const auto look = [&](Index i) {
      if (i >= count) return;
      const Vec3 d = p - position(i);
      const double d2 = Dot(d, d);
      const bool nearer = d2 < best2 || (d2 == best2 && best2 < farthest2 && i < best);
      if (!nearer || !accept(i)) return;
      best2 = d2;
      best = i;
    };
    if (!isFinite(p)) return none;
    // From the point's own cell outwards, not further than the nearest so far.
    for (int shell = 0; shell <= kShells; ++shell) {
      const double clear = shell * edge_;
      ForEachNear(p, std::min(clear, std::sqrt(best2)), look);
      if (best2 <= clear * clear) return best;
    }
    for (Index i = 0; i < count; ++i) look(i);
    return best;
  }

 private:
  // A cell's place along x, y and z in 21 bits each, x lowest: cells of a row are neighbours.
  using Key = std::uint64_t;
  using Cell = std::array<std::int64_t, 3>;
  static constexpr int kBits = 21;
  static constexpr Key kMask = (Key{1} << kBits) - 1;
  static constexpr std::int64_t kLast = static_cast<std::int64_t>(kMask);
  static constexpr double kFar = std::numeric_limits<double>::max();

  static bool isFinite(const Vec3& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
  }
  // Points further than the cells reach share the last one, which changes no result: the place
  // never falls while the coordinate grows.
  std::int64_t along(double x, double low) const {
    const double cell = (x - low) / edge_;
    return cell > 0.0 ? static_cast<std::int64_t>(std::min(cell, static_cast<double>(kLast))) : 0;
  }
  Cell cellOf(const Vec3& p) const {
    return {along(p.x, low_.x), along(p.y, low_.y), along(p.z, low_.z)};
  }
  static Key keyOf(const Cell& c) {
    return static_cast<Key>(c[2]) << (2 * kBits) | static_cast<Key>(c[1]) << kBits |
           static_cast<Key>(c[0]);
  }
  static Cell cellOfKey(Key key) {
    return {static_cast<std::int64_t>(key & kMask),
            static_cast<std::int64_t>(key >> kBits & kMask),
            static_cast<std::int64_t>(key >> (2 * kBits))};
  }

  template <class Visit>
  void forEachInRow(const Cell& first, std::int64_t lastX, Visit& visit) const {
    const Key last = keyOf({lastX, first[1], first[2]});
    const auto found = std::ranges::lower_bound(keys_, keyOf(first));
    for (auto c = static_cast<std::size_t>(found - keys_.begin());
         c < keys_.size() && keys_[c] <= last;
         ++c) {
      for (std::size_t k = start_[c]; k < start_[c + 1]; ++k) visit(sorted_[k].second);
    }
  }

  // For a box that spans more rows than there are cells: looks at every cell.
  template <class Visit>
  void forEachOfAll(const Cell& first, const Cell& last, Visit& visit) const {
    for (std::size_t c = 0; c < keys_.size(); ++c) {
      const Cell cell = cellOfKey(keys_[c]);
      bool inside = true;
      for (std::size_t k = 0; k < 3; ++k) {
        inside = inside && first[k] <= cell[k] && cell[k] <= last[k];
      }
      if (!inside) continue;
      for (std::size_t k = start_[c]; k < start_[c + 1]; ++k) visit(sorted_[k].second);
    }
  }

  double edge_ = 1.0;
  Vec3 low_{};
  std::vector<std::pair<Key, Index>> sorted_;  // by cell, then by point
  std::vector<Key> keys_;                      // of occupied cells
  std::vector<std::size_t> start_;             // of their points; one more than cells
};

}  // namespace QZMolPotential
