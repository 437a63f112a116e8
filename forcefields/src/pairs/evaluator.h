// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "pairs/input.h"
#include "pairs/layout.h"
#include "pairs/loops.h"

namespace QZMolPotential {

/// Van der Waals and electrostatic energies of one system with gradient and Hessian, both terms in
/// one pass over the pairs or each alone.
///   Electrostatics: E = 332.0716 qi qj / (D (r + 0.05)^n), n = 1 or 2; three bonds apart 0.75 E.
/// Two atoms at one place have the energy of the formulas (12-6: 0) and, since there is no
/// direction, a fixed gradient of 0.01 R* + 0.02 (12-6: 100) along each axis, which pushes the atom
/// of the smaller number one way and the other atom the other way. Coordinates that are NaN give
/// energies that are NaN. By default all pairs are computed. With a cutoff, neighbours within
/// cutoff + skin are listed; the lists are made again, which allocates, when an atom may have moved
/// by half the skin. Copies share the input and are independent otherwise. For one thread at a
/// time. Cost: O(pairs) per call; holds some 16 bytes for each atom and each type of a mobile atom,
/// with a cutoff also 4 bytes for every eight neighbours. Source: Halgren, J. Comput. Chem. 17, 490
/// and 520 (1996); Rappé et al., J. Am. Chem. Soc. 114, 10024 (1992); constants to the digits that
/// RDKit uses.
class PairEvaluator {
 public:
  explicit PairEvaluator(PairInput input);

  const PairInput& Input() const { return *input_; }
  /// Pairs that a term counts; those beyond a cutoff included.
  std::size_t NumPairs(PairTerms terms) const;

  PairEnergies Energy(const double* x, PairTerms terms);
  /// The gradient (3 x indexBound) is added to; it holds the sum of both terms.
  PairEnergies Gradient(const double* x, PairTerms terms, double* grad);
  /// Adds to the packed Hessian (3 x indexBound) and, unless null, to the gradient.
  PairEnergies Hessian(const double* x, PairTerms terms, double* hessian, double* grad);
  /// The Hessian by atoms: block(i, j, h) adds to the 3 x 3 block of atoms (indices) i and j, where
  /// h holds xx, xy, xz, yy, yz, zz. Called once with i != j for each interacting pair, in either
  /// order, and once with i == j for each atom.
  using BlockSink = std::function<void(unsigned int, unsigned int, const double* h)>;
  PairEnergies HessianBlocks(const double* x,
                             PairTerms terms,
                             const BlockSink& block,
                             double* grad);

  /// Where the energy of two atoms, as a function of their distance r, curves upwards by more than
  /// `least` (kcal/mol/Å²): stiff(i, j, h) receives the positive semidefinite E'' d ⊗ d / r² of
  /// those atoms (indices), E'' at most `most`, h as above. What such a contact adds to a model of
  /// the Hessian.
  void ForEachStiff(
      const double* x, PairTerms terms, double least, double most, const BlockSink& stiff);

  /// Calls visit(i, j, energies) for each counted pair of atoms (numbers, i < j), one by one and
  /// without regard to speed: for listings. Cost: O(atoms²) whatever the cutoff.
  using Visitor = std::function<void(unsigned int, unsigned int, PairEnergies)>;
  void ForEachPair(const double* x, PairTerms terms, const Visitor& visit) const;

  /// How often neighbours were listed.
  std::size_t NumListings() const { return layout_.NumListings(); }

 private:
  // prepare(view) may ask for second derivatives.
  template <class Prepare>
  PairEnergies run(const double* x, PairTerms terms, double* grad, Prepare prepare);
  // `rows` takes the coefficients of second derivatives row by row.
  template <class Rows>
  PairEnergies runRows(const double* x, PairTerms terms, Rows& rows, double* grad);
  template <class Block>
  PairEnergies runHessian(const double* x, PairTerms terms, Block block, double* grad);

  std::shared_ptr<const PairInput> input_;
  PairLayout layout_;
};

}  // namespace QZMolPotential
