// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <unordered_map>
#include <vector>

namespace QZChem {

/// Points by cubic cells of one width, so that all within a width of a place are in its cell and
/// the 26 around it. Empty space costs nothing.
class Cells {
 public:
  explicit Cells(double width) : width_(width) {}

  /// `xyz` must be finite.
  void Add(std::size_t point, const double* xyz) { cells_[cellOf(xyz)].push_back(point); }

  /// Visits every point within a width of `xyz`, and others near it.
  template <class Visit>
  void ForEachNear(const double* xyz, Visit visit) const {
    const Cell centre = cellOf(xyz);
    for (int k = 0; k < 27; ++k) {
      const auto found =
          cells_.find({centre[0] + k % 3 - 1, centre[1] + k / 3 % 3 - 1, centre[2] + k / 9 - 1});
      if (found == cells_.end()) continue;
      for (const std::size_t point : found->second) visit(point);
    }
  }

 private:
  using Cell = std::array<long long, 3>;
  struct Hash {
    std::size_t operator()(const Cell& cell) const {
      std::size_t hash = 0;
      for (const long long k : cell) {
        hash = hash * 0x9E3779B97F4A7C15ULL + static_cast<std::size_t>(k);
      }
      return hash ^ (hash >> 32);
    }
  };

  Cell cellOf(const double* xyz) const {
    Cell cell;
    for (std::size_t k = 0; k < 3; ++k) {
      // Kept where every double has its own cell and neighbours can be counted.
      const double scaled = std::floor(xyz[k] / width_);
      cell[k] = static_cast<long long>(std::clamp(scaled, -1e15, 1e15));
    }
    return cell;
  }

  double width_;
  std::unordered_map<Cell, std::vector<std::size_t>, Hash> cells_;
};

}  // namespace QZChem
