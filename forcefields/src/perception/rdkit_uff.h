// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <ForceField/ForceField.h>
#include <ForceField/UFF/Params.h>
#include <GraphMol/RWMol.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "bonded.h"
#include "forcefields/term.h"
#include "perception/engine.h"
#include "perception/rdkit_bridge.h"
#include "qzchem/mol.h"
#include "selection.h"

namespace QZMolPotential {

/// A molecule as RDKit's UFF sees it, which depends on coordinates: at some centres the angles.
class UffPerception {
 public:
  /// Null and a warning when the force field cannot be used with `mol`.
  static std::shared_ptr<const UffPerception> Make(const QZChem::QZMolBase& mol);

  struct Neighbour {
    unsigned int atom;
    unsigned int bond;
  };
  enum Separation : std::uint8_t { kNear, kOneFour, kFar };

  const RDKit::RWMol& Mol() const { return *converted_.mol; }
  unsigned int NumAtoms() const { return Mol().getNumAtoms(); }
  const std::vector<Neighbour>& Neighbours(unsigned int atom) const { return neighbours_[atom]; }
  const QZChem::QZAtomBase& Atom(unsigned int atom) const { return *atoms_[atom]; }
  const QZChem::QZBondBase& Bond(unsigned int bond) const { return *bonds_[bond]; }
  /// UFF parameters by atom, and RDKit's bonded contributions in one list.
  const std::vector<const ForceFields::UFF::AtomicParams*>& UffParams() const { return uff_; }
  ForceFields::ForceField& UffBonded() const { return *uffBonded_; }

  /// Calls `visit(i, j, separation)` for all i < j that are further than two bonds apart.
  template <class Visit>
  void ForEachPair(Visit visit) const;
  std::shared_ptr<Engine> MakeEngine() const {
    return std::make_shared<Engine>(converted_.atomIndices, indexBound_);
  }

 private:
  explicit UffPerception(const QZChem::QZMolBase& mol);
  bool type();
  void mark(unsigned int from, unsigned int depth, std::vector<std::uint8_t>& separation) const;

  QZChem::QZRDKitMol converted_;
  unsigned int indexBound_;
  std::vector<std::vector<Neighbour>> neighbours_;
  std::vector<const QZChem::QZAtomBase*> atoms_;
  std::vector<const QZChem::QZBondBase*> bonds_;
  std::vector<const ForceFields::UFF::AtomicParams*> uff_;
  std::unique_ptr<ForceFields::ForceField> uffBonded_;
};

template <class Visit>
void UffPerception::ForEachPair(Visit visit) const {
  std::vector<std::uint8_t> separation;
  for (unsigned int i = 0; i < NumAtoms(); ++i) {
    separation.assign(NumAtoms(), kFar);
    mark(i, 0, separation);
    for (unsigned int j = i + 1; j < NumAtoms(); ++j) {
      if (separation[j] != kNear) visit(i, j, static_cast<Separation>(separation[j]));
    }
  }
}

/// The contributions of one term that `selection` accepts; null when UFF lacks the term. Hessians
/// are differences of gradients.
std::unique_ptr<TermEvaluator> MakeUffTerm(const UffPerception& perception,
                                           QZForceFieldTermKind term,
                                           const Selection& selection);

}  // namespace QZMolPotential
