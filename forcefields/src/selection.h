// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <initializer_list>
#include <memory>

#include "qzchem/atom.h"
#include "qzsystem/predicate.h"

namespace QZMolPotential {

/// An owned predicate that is copied with its holder; empty until set.
template <class P>
class PredicateHolder {
 public:
  PredicateHolder() = default;
  PredicateHolder(const PredicateHolder& other)
      : pred_(other.pred_ != nullptr ? other.pred_->CreateCopy() : nullptr) {}
  PredicateHolder& operator=(const PredicateHolder& other) {
    if (this != &other) pred_.reset(other.pred_ != nullptr ? other.pred_->CreateCopy() : nullptr);
    return *this;
  }

  void Set(const P& pred) { pred_.reset(pred.CreateCopy()); }
  void Clear() { pred_.reset(); }
  explicit operator bool() const { return pred_ != nullptr; }
  const P& operator*() const { return *pred_; }

 private:
  std::unique_ptr<P> pred_;
};

/// Which contributions of a term are computed; all of them where no predicate was given.
struct Selection {
  using BondPredicate = QZSystem::QZUnaryPredicate<QZChem::QZBondBase>;
  using AtomPredicate = QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>;
  using BondPairPredicate = QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>;
  using AtomPairPredicate = QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>;

  bool Accepts(const QZChem::QZBondBase& bond) const { return !bonds || (*bonds)(bond); }
  bool Accepts(const QZChem::QZBondBase& a, const QZChem::QZBondBase& b) const {
    return !bondPairs || (*bondPairs)(a, b) || (*bondPairs)(b, a);
  }
  bool Accepts(const QZChem::QZAtomBase& a, const QZChem::QZAtomBase& b) const {
    return !atomPairs || (*atomPairs)(a, b) || (*atomPairs)(b, a);
  }
  bool AcceptsAny(std::initializer_list<const QZChem::QZAtomBase*> group) const {
    if (!atoms) return true;
    for (const QZChem::QZAtomBase* atom : group) {
      if ((*atoms)(*atom)) return true;
    }
    return false;
  }

  PredicateHolder<BondPredicate> bonds;
  PredicateHolder<AtomPredicate> atoms;
  PredicateHolder<BondPairPredicate> bondPairs;
  PredicateHolder<AtomPairPredicate> atomPairs;
};

}  // namespace QZMolPotential
