// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "bonded.h"
#include "forcefields/term.h"
#include "pair_term.h"
#include "perception/perception.h"
#include "selection.h"

namespace QZMolPotential {

/// What a term holds.
struct QZForceFieldTerm::Impl {
  Impl(QZForceFieldKind kindOfField, QZForceFieldTermKind kindOfTerm)
      : kind(kindOfField), term(kindOfTerm) {}
  Impl(const Impl& other);
  Impl& operator=(const Impl&) = delete;

  unsigned int Category() const;
  bool Owns(unsigned int which, unsigned int category) const;
  /// What the selection accepts on `mol`; null when the force field lacks the term.
  std::unique_ptr<TermEvaluator> Make(const QZChem::QZMolBase& mol,
                                      const std::shared_ptr<const Perception>& from) const;
  /// Leaves out terms whose atoms are all fixed; null: none. Going back to the latest flags costs
  /// only a comparison.
  void Restrict(const unsigned char* fixed);
  bool IsPairs() const;
  const char* Name() const;
  /// Prints the contributions when asked to.
  void Bind(const QZChem::QZMolBase& mol, std::shared_ptr<const Perception> from);
  void Unbind();
  /// What is computed: null when the term is not set up or the force field lacks it.
  TermEvaluator* Active() const { return restricted != nullptr ? restricted.get() : whole.get(); }
  /// The same where it is a term of pairs.
  PairTerm* ActivePairs() const { return dynamic_cast<PairTerm*>(Active()); }
  void Print(const QZChem::QZMolBase& mol) const;

  QZForceFieldKind kind;
  QZForceFieldTermKind term;
  Selection selection;
  double dielectric = 1.0;
  bool distanceDependent = false;
  PairCutoff cutoff;
  bool verbose = false;
  std::shared_ptr<const Perception> perception;  // null: not set up
  std::unique_ptr<TermEvaluator> whole;          // all that the selection accepts
  std::unique_ptr<TermEvaluator> restricted;     // of these, those of an atom that is not fixed
  std::vector<unsigned char> restrictedTo;       // the flags of `restricted`
  std::unique_ptr<TermEvaluator> former;         // `restricted` and its flags as they were before
  std::vector<unsigned char> formerTo;
  bool isNew = false;  // `restricted` was made since it was last compared with other terms
};

}  // namespace QZMolPotential
