// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "topology/walk.h"

#include <cstddef>
#include <utility>

#include "topology/mol_impl.h"

namespace QZChem {
namespace {

// A breadth-first walk, one atom a step.
class Walk {
 public:
  Walk(const QZAtomBase* root, const QZAtomBase* exclude)
      : met_(root->GetMol().AtomIndexBound(), 0) {
    const bool sameMol = exclude != nullptr && &exclude->GetMol() == &root->GetMol();
    if (sameMol) met_[exclude->GetIndex()] = 1;
    visit(root->GetMol().GetAtom(root->GetIndex()));
  }
  bool IsDone() const { return next_ == atoms_.size(); }
  void Step() {
    const QZAtomBase* atom = atoms_[next_++];
    for (const QZBondBase* bond : QZMolAccess::Bonds(*atom)) visit(bond->GetNeighbour(atom));
  }
  std::vector<QZAtomBase*> TakeAtoms() { return std::move(atoms_); }

 private:
  void visit(QZAtomBase* atom) {
    if (std::exchange(met_[atom->GetIndex()], 1) == 0) atoms_.push_back(atom);
  }

  std::vector<char> met_;  // by atom index
  std::vector<QZAtomBase*> atoms_;
  std::size_t next_ = 0;
};

}  // namespace

std::vector<QZAtomBase*> Subtree(const QZAtomBase* root, const QZAtomBase* exclude) {
  if (root == nullptr) return {};
  Walk walk(root, exclude);
  while (!walk.IsDone()) walk.Step();
  return walk.TakeAtoms();
}

std::vector<QZAtomBase*> SmallerSide(const QZBondBase& bond) {
  Walk endSide(bond.GetEnd(), bond.GetBegin());
  Walk beginSide(bond.GetBegin(), bond.GetEnd());
  // In step, so that the first walk to end is that of the smaller side.
  while (!endSide.IsDone() && !beginSide.IsDone()) {
    endSide.Step();
    beginSide.Step();
  }
  return endSide.IsDone() ? endSide.TakeAtoms() : beginSide.TakeAtoms();
}

}  // namespace QZChem
