// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <ForceField/ForceField.h>
#include <ForceField/UFF/Params.h>
#include <GraphMol/ForceFieldHelpers/MMFF/AtomTyper.h>
#include <GraphMol/RWMol.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "forcefields/term.h"
#include "perception/engine.h"
#include "perception/rdkit_bridge.h"
#include "qzchem/mol.h"
#include "selection.h"

namespace QZMolPotential {

/// A molecule as one force field sees it: typed once for all its terms, needed during `Setup` only.
class Perception {
 public:
  /// Null and a warning when the force field cannot be used with `mol`.
  static std::shared_ptr<const Perception> Make(const QZChem::QZMolBase& mol,
                                                QZForceFieldKind kind);

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
  /// MMFF types and charges; null for UFF. RDKit's look-ups are not const.
  RDKit::MMFF::MMFFMolProperties* Mmff() const { return mmff_.get(); }
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
  Perception(const QZChem::QZMolBase& mol);
  bool assignTypes(QZForceFieldKind kind);
  bool typeMmff(QZForceFieldKind kind);
  bool typeUff();
  bool reject(QZForceFieldKind kind, unsigned int atom) const;
  void mark(unsigned int from, unsigned int depth, std::vector<std::uint8_t>& separation) const;

  QZChem::QZRDKitMol converted_;
  unsigned int indexBound_;
  std::vector<std::vector<Neighbour>> neighbours_;
  std::vector<const QZChem::QZAtomBase*> atoms_;
  std::vector<const QZChem::QZBondBase*> bonds_;
  std::unique_ptr<RDKit::MMFF::MMFFMolProperties> mmff_;
  std::vector<const ForceFields::UFF::AtomicParams*> uff_;
  std::unique_ptr<ForceFields::ForceField> uffBonded_;
};

template <class Visit>
void Perception::ForEachPair(Visit visit) const {
  std::vector<std::uint8_t> separation;
  for (unsigned int i = 0; i < NumAtoms(); ++i) {
    separation.assign(NumAtoms(), kFar);
    mark(i, 0, separation);
    for (unsigned int j = i + 1; j < NumAtoms(); ++j) {
      if (separation[j] != kNear) visit(i, j, static_cast<Separation>(separation[j]));
    }
  }
}

/// The contributions of one term that `selection` accepts, owned by `owner`.
std::unique_ptr<Contributions> MakeMmffContributions(const Perception& perception,
                                                     QZForceFieldTermKind term,
                                                     const Selection& selection,
                                                     const Contributions::Owner& owner);
std::unique_ptr<Contributions> MakeUffContributions(const Perception& perception,
                                                    QZForceFieldTermKind term,
                                                    const Selection& selection,
                                                    const Contributions::Owner& owner);

}  // namespace QZMolPotential
