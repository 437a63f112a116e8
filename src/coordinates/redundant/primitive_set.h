// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <vector>

#include "coordinates/redundant/primitive.h"

namespace QZChem {
class QZMolBase;
}

namespace QZMolPotential {

/// The internal coordinates of a molecule that involve a moving atom: bonds, valence angles,
/// dihedrals of bonds, and at atoms with three neighbours a dihedral for the height of the atom
/// above their plane. Angles within some degrees of straight, and dihedrals through them, are
/// unsuitable: such an angle is replaced by two bends, and the dihedrals by ones that skip the
/// central atom of the straight angle. Where an angle may become straight, the list has places for
/// both forms: at atoms of two neighbours outside of rings, at atoms whose bond orders make them
/// linear, and at any atom whose angle is nearly straight when the set is built. Which form is
/// active is chosen for a geometry. A straight angle without places for bends is left out.
class PrimitiveSet {
 public:
  /// `coords` (3 x atom-index bound) show which angles are wide; `fixed`: nonzero per atom that
  /// does not move.
  void Build(const QZChem::QZMolBase& mol,
             const double* coords,
             const std::vector<unsigned char>& fixed);
  /// Chooses the forms for `x`. Angles change form beyond 170° and back below 165°.
  void Choose(const double* x);
  /// Whether `Choose` would choose other forms at `x`, or a bend's reference atom is in its line.
  bool IsOutdated(const double* x) const;

  /// Whether the atoms are a chain that bond orders, or how wide its angles were when set up, let
  /// be straight from end to end.
  bool MayBeStraight(const std::vector<unsigned int>& atoms) const;

  const std::vector<Primitive>& All() const { return primitives_; }

 private:
  // A valence angle; `centre` is its middle atom.
  struct Corner {
    unsigned int end, centre, otherEnd;
    bool hasBends = false;
    bool wasWide = false;
    bool straight = false;
  };
  struct Condition {
    std::size_t primitive;
    std::size_t corner;
    bool straight;
  };

  static bool isStraight(const Corner& corner, const double* x);
  void addCorners(const double* x);
  void addCornerPrimitives();
  void addDihedrals();
  void addSkippingDihedrals();
  void addOutOfPlane();
  std::size_t cornerOf(unsigned int a, unsigned int centre, unsigned int b) const;
  std::size_t add(Primitive::Kind kind, const std::array<unsigned int, 4>& atoms);
  bool addDihedral(unsigned int i, unsigned int a, unsigned int b, unsigned int l);
  void require(std::size_t corner, bool straight);
  void chooseReference(Primitive& bend, const double* x) const;

  std::vector<std::vector<unsigned int>> neighbours_;
  std::vector<unsigned char> fixed_;
  std::vector<unsigned char> linearByBonds_;
  std::vector<unsigned char> inRing_;
  std::vector<Corner> corners_;
  std::vector<std::size_t> usedCorners_;  // those that primitives depend on
  std::map<std::array<unsigned int, 3>, std::size_t> cornerIndex_;
  std::vector<Primitive> primitives_;
  std::vector<Condition> conditions_;
};

}  // namespace QZMolPotential
