// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <limits>
#include <vector>

#include "kernels/mat3.h"
#include "kernels/sinks.h"
#include "pairs/evaluator.h"

namespace QZMolPotential {

/// The place of an atom that is not a variable.
inline constexpr unsigned int kNoVariable = std::numeric_limits<unsigned int>::max();

/// Adds contacts and hydrogen bonds to a model Hessian; they are the stiffest interactions apart
/// from the bonded terms. `place(atom)` is the place of an atom among the variables, or
/// `kNoVariable`. Pairs with a curvature below 2 kcal/mol/Å² are left out, since they would cost
/// more in the factorisation than they save. The curvature of a clash holds for a fraction of an Å
/// only; it is cut to 10, since a larger value would keep internal coordinates from resolving the
/// clash. bench/README.md tells how the numbers were chosen.
template <class Place, class Entry>
void AppendStiffPairs(
    PairEvaluator& pairs, const double* x, PairTerms terms, Place place, std::vector<Entry>& to) {
  constexpr double kLeast = 2.0;
  constexpr double kMost = 10.0;
  EntrySink sink(to);
  pairs.ForEachStiff(x, terms, kLeast, kMost, [&](unsigned int a, unsigned int b, const double* h) {
    const Mat3 block{{h[0], h[1], h[2]}, {h[1], h[3], h[4]}, {h[2], h[4], h[5]}};
    const unsigned int i = place(a);
    const unsigned int j = place(b);
    if (i != kNoVariable) sink.Diagonal(i, block);
    if (j != kNoVariable) sink.Diagonal(j, block);
    if (i != kNoVariable && j != kNoVariable) sink.Mixed(i, j, -block);
  });
}

}  // namespace QZMolPotential
