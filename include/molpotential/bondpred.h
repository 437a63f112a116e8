// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "qzplatform/export.h"
#include "qzsystem/predicate.h"

namespace QZChem {
class QZAtomBase;
class QZBondBase;
}  // namespace QZChem

namespace QZMolPotential {

/// True for a bond when an atom predicate holds for its begin atom or, asked second and only when
/// needed, its end atom.
/// Owns: a copy of the atom predicate; copies share it, since nothing changes it.
class QZ_API BondPred final : public QZSystem::QZUnaryPredicate<QZChem::QZBondBase> {
 public:
  explicit BondPred(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& atomPred);
  bool operator()(const QZChem::QZBondBase& bond) const override;
  BondPred* CreateCopy() const override { return new BondPred(*this); }

 private:
  std::shared_ptr<const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>> atomPred_;
};

}  // namespace QZMolPotential
