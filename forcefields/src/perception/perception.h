// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "forcefields/term.h"
#include "pairs/input.h"
#include "perception/mmff.h"
#include "perception/uff.h"
#include "qzchem/mol.h"

namespace QZMolPotential {

/// The types, charges and parameters of a molecule in one force field. They are determined once and
/// kept with the molecule, for its copies, all functions and all threads. (UFF parameters that
/// depend on coordinates are determined at every call.) Atoms and bonds are referred to by index.
/// Immutable.
struct Perception {
  /// Null and a warning when the force field cannot be used with `mol` as it stands.
  static std::shared_ptr<const Perception> Find(const QZChem::QZMolBase& mol,
                                                QZForceFieldKind kind);
  /// The same, but coordinates are not checked.
  static std::shared_ptr<const Perception> FindParameters(const QZChem::QZMolBase& mol,
                                                          QZForceFieldKind kind);
  /// The same, with the reason in `reason` instead of a warning.
  static std::shared_ptr<const Perception> FindParameters(const QZChem::QZMolBase& mol,
                                                          QZForceFieldKind kind,
                                                          std::string& reason);

  unsigned int NumVar() const { return 3 * pairs.indexBound; }

  std::string error;                           // why there are no parameters; "" when there are
  std::unique_ptr<const MmffParameters> mmff;  // null for UFF
  std::unique_ptr<const UffParameters> uff;    // null for MMFF94 and MMFF94s
  PairInput pairs;                             // of all atoms, without cutoff
};

/// Atoms of a molecule by number (dense) with their neighbours.
struct AtomGraph {
  struct Neighbour {
    unsigned int atom;
    unsigned int bond;  // index
  };
  std::vector<unsigned int> atoms;  // index by number
  std::vector<std::vector<Neighbour>> neighbours;
};

/// The version of RDKit.
const char* PerceptionVersion();

/// MMFF94's or MMFF94s's parameters for `mol`; null with the reason in `error` when there are none.
std::unique_ptr<const MmffParameters> PerceiveMmff(const QZChem::QZMolBase& mol,
                                                   const AtomGraph& graph,
                                                   bool isStatic,
                                                   std::string& error);

}  // namespace QZMolPotential
