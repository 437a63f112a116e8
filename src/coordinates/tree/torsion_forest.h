// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "kernels/vec3.h"

namespace QZChem {
class QZBondBase;
class QZMolBase;
}  // namespace QZChem

namespace QZMolPotential {

/// The torsions of a molecule, each with its moving set: the atoms on one side of its bond. Moving
/// sets are nested or disjoint and so form a forest, whose leaves (the smallest sets) turn first.
class TorsionForest {
 public:
  TorsionForest() = default;
  /// Of `atoms` atoms, none of which any torsion moves.
  explicit TorsionForest(std::size_t atoms) : parent_(atoms, atoms), innermost_(atoms, 0) {}

  /// a-b-c-d on the bond b-c; the side of c moves, c itself standing on the axis.
  struct Torsion {
    unsigned int a, b, c, d;
    double length;     // of b-c in the coordinates of `Build`, Å
    int activity = 1;  // 0: never turns

    void TurnRound() {
      std::swap(a, d);
      std::swap(b, c);
    }
  };

  /// Torsions on the bonds that `turns` accepts, which must not be in rings; the smaller side of
  /// each moves, on a tie the end atom's. `coords`: 3 x AtomIndexBound().
  void Build(const QZChem::QZMolBase& mol,
             const double* coords,
             const std::function<bool(const QZChem::QZBondBase&)>& turns);
  /// Keeps the atoms for which `fixed` is nonzero in place: a torsion with fixed atoms on both
  /// sides becomes inactive, and a torsion that would move fixed atoms moves its other side
  /// instead. Atoms on the axis of a torsion do not count. Starts from the state after `Build`.
  void Hold(const std::vector<unsigned char>& fixed);
  /// Chooses the moving side of each torsion so that the largest rigid piece of each component
  /// stays in place (the first of equals). Components with an atom for which `except` is nonzero
  /// are left as they are; an empty `except` excludes none.
  void RestLargestPieces(const std::vector<unsigned char>& except);

  /// The lengths of the axes are taken anew from `coords`.
  void MeasureAxes(const double* coords);

  /// The molecule's atoms, parents first.
  const std::vector<std::size_t>& Atoms() const { return walk_; }
  const std::vector<Torsion>& Torsions() const { return torsions_; }
  std::size_t NumTorsions() const { return torsions_.size(); }
  std::size_t NumActive() const { return outwards_.size(); }
  /// The torsion of the smallest set that atom i is in; NumTorsions(): none.
  std::size_t Innermost(std::size_t atom) const { return innermost_[atom]; }
  /// The next larger set around that of torsion k; NumTorsions(): none.
  std::size_t Surrounding(std::size_t k) const { return surrounding_[k]; }
  /// The active torsions, smaller sets first.
  const std::vector<std::size_t>& Outwards() const { return outwards_; }
  std::size_t NumAtomIndices() const { return parent_.size(); }

 private:
  void walk(const QZChem::QZMolBase& mol);
  Torsion makeTorsion(const QZChem::QZBondBase& bond, const double* coords) const;
  std::size_t childOf(const Torsion& torsion) const;
  std::vector<std::size_t> sumBelow(std::vector<std::size_t> weights) const;
  std::size_t sumOfSide(const std::vector<std::size_t>& below, const Torsion& torsion) const;
  std::vector<std::size_t> pieces() const;
  void nestMovingSets();

  std::vector<Torsion> torsions_;
  std::vector<Torsion> built_;  // as `Build` left them
  // A spanning forest of the molecule: a bond outside rings is in every one, between an atom and
  // its parent. Roots are their own parents.
  std::vector<std::size_t> walk_;  // atoms, parents first
  std::vector<std::size_t> parent_;
  std::vector<std::size_t> root_;
  std::vector<std::size_t> sizes_;  // of an atom with all that hang on it
  std::vector<std::size_t> innermost_;
  std::vector<std::size_t> outwards_;
  std::vector<std::size_t> surrounding_;
};

}  // namespace QZMolPotential
