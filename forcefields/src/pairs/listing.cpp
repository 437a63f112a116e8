// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <vector>

#include "pairs/evaluator.h"

namespace QZMolPotential {

// Each pair is a system of its own, so that a listing shows what the loops compute.
void PairEvaluator::ForEachPair(const double* x, PairTerms terms, const Visitor& visit) const {
  layout_.ForEachPair(*input_, [&](unsigned int i, unsigned int j, bool oneFour) {
    PairInput two;
    two.indexBound = 2;
    two.atoms = {0, 1};
    two.types = {0, 1};
    two.numTypes = 2;
    const std::size_t row = input_->types[i] * input_->numTypes;
    const PairParameters parameters = input_->table[row + input_->types[j]];
    two.table.assign(4, parameters);
    if (!input_->charges.empty()) two.charges = {input_->charges[i], input_->charges[j]};
    if (oneFour) two.oneFour = {{0, 1}};
    two.potential = input_->potential;
    two.dielectric = input_->dielectric;
    two.distanceDependent = input_->distanceDependent;
    two.cutoff = input_->cutoff;
    double coords[6];
    std::copy_n(x + 3 * std::size_t{input_->atoms[i]}, 3, coords);
    std::copy_n(x + 3 * std::size_t{input_->atoms[j]}, 3, coords + 3);
    visit(i, j, PairEvaluator(std::move(two)).Energy(coords, terms));
  });
}

}  // namespace QZMolPotential
