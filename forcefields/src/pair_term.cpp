// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "pair_term.h"

#include <array>

#include "pairs/model.h"

namespace QZMolPotential {

std::unique_ptr<TermEvaluator> PairTerm::Touching(const unsigned char* fixed) const {
  PairInput input = pairs_->Input();
  std::vector<std::uint8_t> moving;
  for (const unsigned int atom : input.atoms) moving.push_back(fixed[atom] == 0);
  // Pairs of a selected atom remain to be told among those of a moving one.
  if (!input.mobile.empty()) {
    input.accepts = [selected = input.mobile, before = input.accepts](unsigned int i,
                                                                      unsigned int j) {
      return (selected[i] != 0 || selected[j] != 0) && (!before || before(i, j));
    };
  }
  input.mobile = std::move(moving);
  return std::make_unique<PairTerm>(std::make_shared<PairEvaluator>(std::move(input)), terms_);
}

bool PairTerm::Model(const double* x, Entries& entries) {
  if (isIdle()) return false;
  AppendStiffPairs(
      *pairs_, x, terms_, [](unsigned int atom) { return atom; }, entries);
  return true;
}

void PairTerm::HessianEntries(const double* x, Entries& entries) {
  EntrySink sink(entries);
  pairs_->HessianBlocks(
      x,
      terms_,
      [&](unsigned int i, unsigned int j, const double* h) {
        const Mat3 block{{h[0], h[1], h[2]}, {h[1], h[3], h[4]}, {h[2], h[4], h[5]}};
        i == j ? sink.Diagonal(i, block) : sink.Mixed(i, j, block);
      },
      nullptr);
}

void PairTerm::ForEach(const double* x, const Visit& visit) {
  const PairInput& input = pairs_->Input();
  pairs_->ForEachPair(x, terms_, [&](unsigned int i, unsigned int j, PairEnergies energies) {
    const std::array atoms{input.atoms[i], input.atoms[j]};
    if (terms_.vanDerWaals) {
      const auto& p = input.table[input.types[i] * input.numTypes + input.types[j]];
      visit(atoms, energies.vanDerWaals, std::array{p.distance, p.depth});
    } else if (input.charges[i] != 0.0 && input.charges[j] != 0.0) {
      visit(atoms, energies.electrostatics, std::array{input.charges[i], input.charges[j]});
    }
  });
}

bool PairTerm::ShareWith(PairTerm& other) {
  const PairInput& a = pairs_->Input();
  const PairInput& b = other.pairs_->Input();
  const bool same = pairs_ == other.pairs_ ||
                    (a.mobile == b.mobile && !a.accepts && !b.accepts &&
                     a.dielectric == b.dielectric && a.distanceDependent == b.distanceDependent &&
                     a.cutoff.distance == b.cutoff.distance && a.cutoff.width == b.cutoff.width);
  if (same) other.pairs_ = pairs_;
  return same;
}

}  // namespace QZMolPotential
