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

/// Every rotor: a single bond outside rings whose ends both have another neighbour; methyls,
/// hydroxyls and amines turn.
class QZ_API QZTorsionPred1 final : public QZSystem::QZUnaryPredicate<QZChem::QZBondBase> {
 public:
  bool operator()(const QZChem::QZBondBase& bond) const override;
  QZTorsionPred1* CreateCopy() const override { return new QZTorsionPred1(*this); }
};

/// Rotors of heavy atoms: the other neighbour of each end is not a hydrogen.
class QZ_API QZTorsionPred2 final : public QZSystem::QZUnaryPredicate<QZChem::QZBondBase> {
 public:
  bool operator()(const QZChem::QZBondBase& bond) const override;
  QZTorsionPred2* CreateCopy() const override { return new QZTorsionPred2(*this); }
};

/// The bonds that a SMARTS pattern names: between its atoms with map numbers 1 and 2, else between
/// the middle two of four atoms, else between the first two. Each question is a search of the
/// bond's molecule. Copies share the pattern. Fails: a pattern that does not parse, or of one atom,
/// is an Error, and no bond is accepted.
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
