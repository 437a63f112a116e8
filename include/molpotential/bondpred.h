// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "qzplatform/export.h"
#include "qzsystem/predicate.h"

namespace QZChem {
class QZAtomBase;
class QZBondBase;
class QZSubSearch;
}  // namespace QZChem

namespace QZMolPotential {

/// True for a bond when an atom predicate holds for its begin atom or its end atom. The predicate
/// is asked for the begin atom first, and for the end atom only when the first answer is false.
/// Owns: a copy of the atom predicate, which copies of this object share.
class QZ_API BondPred final : public QZSystem::QZUnaryPredicate<QZChem::QZBondBase> {
 public:
  explicit BondPred(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& atomPred);
  bool operator()(const QZChem::QZBondBase& bond) const override;
  BondPred* CreateCopy() const override { return new BondPred(*this); }

 private:
  std::shared_ptr<const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>> atomPred_;
};

/// True for every rotatable bond: a single bond outside rings both ends of which have a further
/// neighbour. Methyls, hydroxyls and amines count as rotors.
class QZ_API QZTorsionPred1 final : public QZSystem::QZUnaryPredicate<QZChem::QZBondBase> {
 public:
  bool operator()(const QZChem::QZBondBase& bond) const override;
  QZTorsionPred1* CreateCopy() const override { return new QZTorsionPred1(*this); }
};

/// True for rotatable bonds both ends of which have a further neighbour other than hydrogen, so
/// that methyls, hydroxyls and amines do not count.
class QZ_API QZTorsionPred2 final : public QZSystem::QZUnaryPredicate<QZChem::QZBondBase> {
 public:
  bool operator()(const QZChem::QZBondBase& bond) const override;
  QZTorsionPred2* CreateCopy() const override { return new QZTorsionPred2(*this); }
};

/// True for the bonds that a SMARTS pattern names: the bond between the atoms with map numbers 1
/// and 2; without these numbers, the bond between the middle two atoms of a pattern of four, or
/// between the first two atoms of any other pattern. Copies share the parsed pattern. Fails: a
/// pattern that does not parse gives an Error, `IsValid` is false and no bond is accepted; a
/// pattern of one atom accepts no bond. Cost: each call searches the molecule of the bond.
class QZ_API QZTorsionPred3 final : public QZSystem::QZUnaryPredicate<QZChem::QZBondBase> {
 public:
  explicit QZTorsionPred3(const char* smarts);
  bool IsValid() const { return search_ != nullptr; }
  bool operator()(const QZChem::QZBondBase& bond) const override;
  QZTorsionPred3* CreateCopy() const override { return new QZTorsionPred3(*this); }

 private:
  std::shared_ptr<const QZChem::QZSubSearch> search_;
};

}  // namespace QZMolPotential
