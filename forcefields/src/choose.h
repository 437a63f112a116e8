// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "bonded.h"
#include "pairs/input.h"
#include "selection.h"

namespace QZMolPotential {

/// The bonds of a molecule by index, null in holes.
std::vector<const QZChem::QZBondBase*> BondsOf(const QZChem::QZMolBase& mol);
/// By atom index, whether `pred` accepts the atom.
std::vector<std::uint8_t> Accepted(const QZChem::QZMolBase& mol,
                                   const Selection::AtomPredicate& pred);
/// Restricts `input`, which describes all pairs, to the pairs that the selection accepts. A
/// predicate that was made from a predicate of atoms (`QZChem::QZUnaryToBinaryOr`) is asked once
/// for each atom, any other once for each pair.
void Choose(const QZChem::QZMolBase& mol, const Selection& selection, PairInput& input);

/// The terms of `all` that the selection accepts. `owner` keeps `all` alive.
template <class K>
std::shared_ptr<const BondedArrays<K>> Chosen(const QZChem::QZMolBase& mol,
                                              const Selection& selection,
                                              const std::shared_ptr<const void>& owner,
                                              const BondedArrays<K>& all) {
  std::shared_ptr<const BondedArrays<K>> everything(owner, &all);
  if constexpr (K::kBonds == 0) {
    if (!selection.atoms) return everything;
    const auto accepted = Accepted(mol, *selection.atoms);
    return Chosen(all, [&](std::size_t i) {
      return std::ranges::any_of(all.atoms[i], [&](unsigned int a) { return accepted[a] != 0; });
    });
  } else {
    if (K::kBonds == 1 ? !selection.bonds : !selection.bondPairs) return everything;
    const auto bonds = BondsOf(mol);
    return Chosen(all, [&](std::size_t i) {
      const auto& of = all.bonds[i];
      if constexpr (K::kBonds == 1) {
        return selection.Accepts(*bonds[of[0]]);
      } else {
        return selection.Accepts(*bonds[of[0]], *bonds[of[1]]);
      }
    });
  }
}

}  // namespace QZMolPotential
