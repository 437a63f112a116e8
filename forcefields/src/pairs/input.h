// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace QZMolPotential {

/// The form of the van der Waals term.
enum class PairPotential {
  Buffered147,   // MMFF94: eps (1.07 R*/(r + 0.07 R*))^7 (1.12 R*^7/(r^7 + 0.12 R*^7) - 2)
  LennardJones,  // UFF: D ((x/r)^12 - 2 (x/r)^6)
};

/// Where the well of a pair of types lies and how deep it is: R* and eps, or x_ij and D_ij (Å,
/// kcal/mol), scaling of donor-acceptor pairs included.
struct PairParameters {
  double distance = 0.0;
  double depth = 0.0;
};

/// Pairs further apart than `distance` do not interact; 0: every pair interacts. Energies fade out
/// by a factor with two continuous derivatives: van der Waals over the last `width`, electrostatics
/// over the whole range from 0. If electrostatics faded out within a few Å, the slope of the factor
/// would cause forces on charges near the cutoff that are larger than the true ones: a drug in a
/// protease then has minima of -380 kcal/mol instead of -43.
struct PairCutoff {
  double distance = 0.0;
  double width = 2.0;
  double skin = 1.0;  // how much further neighbours are listed
};

/// What the non-bonded terms of one system are computed from. Atoms are numbered densely from 0
/// here; only `atoms` knows their indices in coordinate vectors.
struct PairInput {
  using AtomPair = std::array<unsigned int, 2>;

  std::size_t NumAtoms() const { return atoms.size(); }

  unsigned int indexBound = 0;       // one past the largest atom index: coordinates are 3 x that
  std::vector<unsigned int> atoms;   // atom index by number
  std::vector<std::uint16_t> types;  // by number, below `numTypes`
  std::size_t numTypes = 0;
  std::vector<PairParameters> table;  // [type i * numTypes + type j], symmetric
  std::vector<double> charges;        // by number; empty: all zero
  std::vector<AtomPair> excluded;     // do not interact: one or two bonds apart; either order
  std::vector<AtomPair> oneFour;  // three bonds apart; those that are also excluded are excluded
  PairPotential potential = PairPotential::Buffered147;
  double dielectric = 1.0;
  bool distanceDependent = false;  // energy by 1/r^2 instead of 1/r
  PairCutoff cutoff;
  /// By number; empty: all. Pairs of two atoms that are not mobile are never visited. Coordinates
  /// of such atoms are still read at every call and may change.
  std::vector<std::uint8_t> mobile;
  /// False: only pairs of a mobile atom and one that is not.
  bool withinMobile = true;
  /// The pairs (numbers) that count; empty: all. It is asked once for each pair that would be
  /// visited; each rejected one costs 8 bytes.
  std::function<bool(unsigned int, unsigned int)> accepts;
};

/// Which of the two terms a call computes.
struct PairTerms {
  bool vanDerWaals = true;
  bool electrostatics = true;
};

/// kcal/mol
struct PairEnergies {
  double vanDerWaals = 0.0;
  double electrostatics = 0.0;
  double Sum() const { return vanDerWaals + electrostatics; }
};

}  // namespace QZMolPotential
