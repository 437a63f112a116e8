// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/bondpred.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "qzchem/mol.h"
#include "qzchem/predicates.h"
#include "qzchem/subsearch.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

BondPred::BondPred(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& atomPred)
    : atomPred_(atomPred.CreateCopy()) {}

bool BondPred::operator()(const QZChem::QZBondBase& bond) const {
  return (*atomPred_)(*bond.GetBegin()) || (*atomPred_)(*bond.GetEnd());
}

bool QZTorsionPred1::operator()(const QZChem::QZBondBase& bond) const {
  return QZChem::QZIsRotor(/*heavyOnly=*/false)(bond);
}

bool QZTorsionPred2::operator()(const QZChem::QZBondBase& bond) const {
  return QZChem::QZIsRotor(/*heavyOnly=*/true)(bond);
}

namespace {

using Pairs = std::vector<QZChem::QZAtomPair>;

// The two atoms of a match that stand for the bond's ends.
std::pair<const QZChem::QZAtomBase*, const QZChem::QZAtomBase*> EndsOf(const Pairs& pairs) {
  const auto mapped = [&](unsigned int number) -> const QZChem::QZAtomBase* {
    const auto found = std::ranges::find_if(
        pairs, [&](const auto& pair) { return pair.pattern->GetMapIndex() == number; });
    return found != pairs.end() ? found->target : nullptr;
  };
  if (mapped(1) != nullptr && mapped(2) != nullptr) return {mapped(1), mapped(2)};
  const std::size_t first = pairs.size() == 4 ? 1 : 0;
  return {pairs[first].target, pairs[first + 1].target};
}

}  // namespace

QZTorsionPred3::QZTorsionPred3(const char* smarts) {
  auto search = std::make_shared<QZChem::QZSubSearch>();
  if (search->Init(smarts, /*reorder=*/false)) {
    search_ = std::move(search);
  } else {
    QZSystem::QZThrow.Error("Torsion pattern %s: %s", smarts, search->GetError());
  }
}

bool QZTorsionPred3::operator()(const QZChem::QZBondBase& bond) const {
  if (!search_) return false;
  const auto ends = std::pair<const QZChem::QZAtomBase*, const QZChem::QZAtomBase*>(bond.GetBegin(),
                                                                                    bond.GetEnd());
  for (const auto& match :
       QZSystem::QZRange(search_->Match(bond.GetBegin()->GetMol(), /*unique=*/false))) {
    Pairs pairs;
    for (const auto& pair : QZSystem::QZRange(match.GetPairs())) pairs.push_back(pair);
    if (pairs.size() < 2) return false;
    const auto found = EndsOf(pairs);
    if (found == ends || found == std::pair(ends.second, ends.first)) return true;
  }
  return false;
}

}  // namespace QZMolPotential
