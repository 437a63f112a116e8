// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "kernels/cells.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

/// The first atoms of a coordinate vector, and which of them is nearest to a point. Cost: O(1) a
/// query at usual densities; a point with no such atom within 10 Å looks at all of them.
class EarlierAtoms {
 public:
  /// Holds no atom yet; `coords` (3 x numAtoms) must outlive this object.
  EarlierAtoms(const double* coords, unsigned int numAtoms)
      : coords_(coords), numAtoms_(numAtoms) {}

  /// Makes atoms 0 to count - 1 known; a smaller count than before changes nothing.
  void AddUpTo(unsigned int count) {
    constexpr double kEdge = 2.5;  // Å: a cell holds one or two bonded atoms
    if (count_ == 0 && count > 0) cells_.Build(coords_, numAtoms_, kEdge);
    count_ = count > count_ ? count : count_;
  }

  /// Of the known atoms for which accept(atom), the one nearest to `p` and nearer than the root of
  /// `farthest2` (Å²), the lowest of several at the same distance; `none` if there is none.
  template <class Accept>
  unsigned int Nearest(const Vec3& p, double farthest2, unsigned int none, Accept accept) const {
    const auto position = [this](unsigned int atom) { return LoadAtom(coords_, atom); };
    return count_ == 0 ? none : cells_.Nearest(p, count_, farthest2, none, position, accept);
  }

 private:
  const double* coords_;
  unsigned int numAtoms_;
  unsigned int count_ = 0;
  CellList cells_;  // of all atoms
};

}  // namespace QZMolPotential
