// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kernels/cells.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

/// Which clusters of slots may hold an atom within a reach of each atom of a row, found through a
/// cell list over the clusters. Cost: linear in the atoms of even density; holds 4 bytes an entry.
class NeighbourList {
 public:
  /// What is listed: coordinates by slot, empty slots (`number[s]` is kNoAtom) aside.
  struct Slots {
    const double* x;
    const double* y;
    const double* z;
    const std::uint32_t* number;
    std::size_t numMobile;  // rows; a multiple of kClusterSize, as `numSlots` is
    std::size_t numSlots;
    bool withinMobile;
  };

  void Build(const Slots& slots, double reach);
  const std::size_t* Begin() const { return begin_.data(); }
  const std::uint32_t* Entries() const { return entries_.data(); }
  /// The first slots of clusters that appear in a list or hold rows, ascending.
  const std::vector<std::uint32_t>& Used() const { return used_; }
  /// Mean extent of the clusters (Å), which grows as atoms of a cluster drift apart.
  double Spread() const { return spread_; }

 private:
  struct Box {
    Vec3 centre;
    Vec3 half;  // negative: no atoms
    bool IsEmpty() const { return half.x < 0.0; }
  };
  void boxes(const Slots& slots);
  void rowsOf(const Slots& slots, std::size_t cluster, double reach);

  std::vector<Box> boxes_;
  CellList cells_;  // of the boxes' centres
  Vec3 largestHalf_;
  std::vector<std::uint32_t> candidates_;
  std::vector<std::size_t> begin_;
  std::vector<std::uint32_t> entries_;
  std::vector<std::uint32_t> used_;
  std::vector<std::uint8_t> isUsed_;
  double spread_ = 0.0;
};

/// Orders atoms so that each run of `kClusterSize` of them is compact: halves along the longest
/// axis, again and again.
void OrderInSpace(std::span<std::uint32_t> numbers, const double* x, const unsigned int* atoms);

}  // namespace QZMolPotential
