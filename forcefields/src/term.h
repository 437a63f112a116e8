// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "forcefields/term.h"
#include "perception/engine.h"
#include "perception/perception.h"
#include "selection.h"

namespace QZMolPotential {

/// What a term holds. The engine is shared between the terms of one force field object, never
/// between an object and its copy.
struct QZForceFieldTerm::Impl {
  Impl(QZForceFieldKind kindOfField, QZForceFieldTermKind kindOfTerm)
      : kind(kindOfField), term(kindOfTerm) {}
  Impl(const Impl& other);
  Impl& operator=(const Impl&) = delete;

  bool Owns(unsigned int which, unsigned int category) const;
  unsigned int Category() const;
  /// The contributions that the selection accepts; null when the force field lacks the term.
  std::unique_ptr<Contributions> Make(const Perception& perception,
                                      const Contributions::Owner& owner) const;
  void UseEngine(std::shared_ptr<Engine> shared);

  QZForceFieldKind kind;
  QZForceFieldTermKind term;
  Selection selection;
  std::shared_ptr<Engine> engine;  // null: not set up
  std::unique_ptr<Contributions> contributions;
  // Handed over by a force field for its terms' next `Setup`, which takes them away.
  std::shared_ptr<const Perception> sharedPerception;
  std::shared_ptr<Engine> sharedEngine;
};

}  // namespace QZMolPotential
