// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

#include "coordinates/tree/torsion_forest.h"
#include "kernels/mat3.h"
#include "kernels/rotation.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

/// A rigid motion p -> R p + s, kept as the rows of R and s.
struct Motion {
  Mat3 r;
  Vec3 s;

  static constexpr std::size_t kDoubles = 12;

  static Motion Turn(const Vec3& pivot, const Vec3& axis, double angle) {
    const AxisRotation rotation(axis, angle);
    const Mat3 columns{
        rotation({1.0, 0.0, 0.0}), rotation({0.0, 1.0, 0.0}), rotation({0.0, 0.0, 1.0})};
    const Mat3 r = Transpose(columns);
    return {r, pivot - r * pivot};
  }
  static Motion Load(const double* work, std::size_t k) {
    return {{LoadAtom(work, 4 * k), LoadAtom(work, 4 * k + 1), LoadAtom(work, 4 * k + 2)},
            LoadAtom(work, 4 * k + 3)};
  }
  void Store(double* work, std::size_t k) const {
    StoreAtom(work, 4 * k, r.row0);
    StoreAtom(work, 4 * k + 1, r.row1);
    StoreAtom(work, 4 * k + 2, r.row2);
    StoreAtom(work, 4 * k + 3, s);
  }
  Vec3 operator()(const Vec3& p) const { return r * p + s; }
  /// This motion after `first`.
  Motion After(const Motion& first) const {
    const Mat3 columns = Transpose(first.r);
    return {Transpose(Mat3{r * columns.row0, r * columns.row1, r * columns.row2}),
            (*this)(first.s)};
  }
};

/// Computes `coords` (out) from `ref` (both 3 x NumAtomIndices()): every moving set k is turned by
/// turn(k) about its axis in `ref`, and then moved together with the set that contains it. The
/// result is the same as that of turns one after the other, each about its axis as moved by the
/// turns before. `work`: 12 doubles for each torsion.
template <class Turn>
void TurnTorsions(
    const TorsionForest& forest, const double* ref, Turn turn, double* work, double* coords) {
  const auto& torsions = forest.Torsions();
  for (auto k = forest.Outwards().rbegin(); k != forest.Outwards().rend(); ++k) {
    const auto& t = torsions[*k];
    const Vec3 pivot = LoadAtom(ref, t.c);
    const Vec3 axis = (1.0 / t.length) * (pivot - LoadAtom(ref, t.b));
    Motion motion = Motion::Turn(pivot, axis, turn(*k));
    const std::size_t outer = forest.Surrounding(*k);
    if (outer < torsions.size()) motion = Motion::Load(work, outer).After(motion);
    motion.Store(work, *k);
  }
  for (std::size_t i = 0; i < forest.NumAtomIndices(); ++i) {
    const Vec3 p = LoadAtom(ref, i);
    const std::size_t k = forest.Innermost(i);
    StoreAtom(coords, i, k < torsions.size() ? Motion::Load(work, k)(p) : p);
  }
}

/// Adds the entry of each set in `sums` (`width` doubles for each set) to the entry of the next
/// larger set that contains it, smaller sets first. For a set that no other contains, `outermost`
/// gives the index of the entry to add to; a negative index: none.
template <class Outermost>
void SumOutwards(const TorsionForest& forest,
                 std::size_t width,
                 Outermost outermost,
                 double* sums) {
  for (const std::size_t k : forest.Outwards()) {
    const std::size_t outer = forest.Surrounding(k);
    const std::ptrdiff_t to =
        outer < forest.NumTorsions() ? static_cast<std::ptrdiff_t>(outer) : outermost(k);
    if (to < 0) continue;
    for (std::size_t j = 0; j < width; ++j) {
      sums[width * static_cast<std::size_t>(to) + j] += sums[width * k + j];
    }
  }
}

}  // namespace QZMolPotential
