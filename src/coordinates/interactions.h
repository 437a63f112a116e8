// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <set>
#include <utility>

#include "molpotential/bondpred.h"
#include "molpotential/molfunc.h"
#include "qzchem/atom.h"
#include "qzchem/predicates.h"

namespace QZMolPotential {

/// Restricts `func` to the interactions that involve at least one of `atoms`.
inline void RestrictInteractions(QZMolFunc1& func, std::set<const QZChem::QZAtomBase*> atoms) {
  const QZChem::IsMemberPtr<QZChem::QZAtomBase> chosen(std::move(atoms));
  const BondPred bond(chosen);
  func.Set(bond, QZCategoryStretch);
  func.Set(QZChem::QZUnaryToBinaryOr<QZChem::QZAtomBase>(chosen), QZCategoryAtomPairs);
  func.Set(QZChem::QZUnaryToBinaryOr<QZChem::QZBondBase>(bond), QZCategoryBondPairs);
  func.Set(chosen, QZCategoryAtomGroups);
}

/// Switches off every interaction of `func` that has a category.
inline void SwitchOffInteractions(QZMolFunc1& func) {
  using QZChem::QZAtomBase;
  using QZChem::QZBondBase;
  func.Set(QZSystem::QZUnaryFalse<QZBondBase>(), QZCategoryStretch);
  func.Set(QZSystem::QZBinaryFalse<QZBondBase, QZBondBase>(), QZCategoryBondPairs);
  func.Set(QZSystem::QZUnaryFalse<QZAtomBase>(), QZCategoryAtomGroups);
  func.Set(QZSystem::QZBinaryFalse<QZAtomBase, QZAtomBase>(), QZCategoryAtomPairs);
}

}  // namespace QZMolPotential
