// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "choose.h"

#include "qzchem/mol.h"
#include "qzchem/predicates.h"

namespace QZMolPotential {

std::vector<const QZChem::QZBondBase*> BondsOf(const QZChem::QZMolBase& mol) {
  std::vector<const QZChem::QZBondBase*> bonds(mol.BondIndexBound());
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) bonds[bond.GetIndex()] = &bond;
  return bonds;
}

std::vector<std::uint8_t> Accepted(const QZChem::QZMolBase& mol,
                                   const Selection::AtomPredicate& pred) {
  std::vector<std::uint8_t> accepted(mol.AtomIndexBound());
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    accepted[atom.GetIndex()] = pred(atom) ? 1 : 0;
  }
  return accepted;
}

void Choose(const QZChem::QZMolBase& mol, const Selection& selection, PairInput& input) {
  if (!selection.atomPairs) return;
  const std::size_t n = input.NumAtoms();
  if (const auto* either = dynamic_cast<const QZChem::QZUnaryToBinaryOr<QZChem::QZAtomBase>*>(
          &*selection.atomPairs)) {
    const auto accepted = Accepted(mol, either->GetPredicate());
    input.mobile.clear();
    for (const unsigned int atom : input.atoms) input.mobile.push_back(accepted[atom]);
    return;
  }
  // Asked once and remembered, so that evaluation refers neither to the molecule nor to a
  // predicate.
  std::vector<const QZChem::QZAtomBase*> atoms;
  for (const unsigned int atom : input.atoms) atoms.push_back(mol.GetAtom(atom));
  auto accepted = std::make_shared<std::vector<bool>>(n * n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = i + 1; j < n; ++j) {
      (*accepted)[i * n + j] = selection.Accepts(*atoms[i], *atoms[j]);
    }
  }
  input.accepts = [accepted, n](unsigned int i, unsigned int j) {
    return (*accepted)[i < j ? i * n + j : j * n + i];
  };
}

}  // namespace QZMolPotential
