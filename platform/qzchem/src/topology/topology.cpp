// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/topology.h"

#include <algorithm>
#include <vector>

#include "topology/mol_impl.h"
#include "topology/walk.h"

namespace QZChem {

using QZSystem::QZIterBase;
using QZSystem::QZPointerIter;
using QZSystem::QZUnaryPredicate;

namespace {

QZIterBase<QZAtomBase>* Deliver(std::vector<QZAtomBase*> atoms) {
  if (atoms.empty()) return QZSystem::QZMakeEmptyIter<QZAtomBase>();
  return new QZPointerIter<QZAtomBase>(std::move(atoms));
}

}  // namespace

const char* QZRotorTag() {
  return "Rotor";
}

QZIterBase<QZAtomBase>* QZGetSubtree(const QZAtomBase* root,
                                     const QZAtomBase* exclude,
                                     unsigned int /*flags*/) {
  return Deliver(Subtree(root, exclude));
}

QZIterBase<QZAtomBase>* QZGetSmallestSubtree(const QZBondBase* bond, unsigned int /*flags*/) {
  return Deliver(bond != nullptr ? SmallerSide(*bond) : std::vector<QZAtomBase*>());
}

QZIterBase<QZAtomBase>* QZGetSmallestSubtree(const QZBondBase* bond,
                                             const QZUnaryPredicate<QZAtomBase>& pred,
                                             unsigned int /*flags*/) {
  if (bond == nullptr) return Deliver({});
  const auto accepted = [&pred](std::vector<QZAtomBase*> side) {
    std::erase_if(side, [&pred](const QZAtomBase* atom) { return !pred(*atom); });
    return side;
  };
  std::vector<QZAtomBase*> endSide = accepted(Subtree(bond->GetEnd(), bond->GetBegin()));
  std::vector<QZAtomBase*> beginSide = accepted(Subtree(bond->GetBegin(), bond->GetEnd()));
  return Deliver(endSide.size() <= beginSide.size() ? std::move(endSide) : std::move(beginSide));
}

unsigned int QZDetermineComponents(const QZMolBase& mol, unsigned int* parts) {
  std::fill_n(parts, mol.AtomIndexBound(), 0U);
  unsigned int count = 0;
  std::vector<const QZAtomBase*> open;
  for (const auto& first : QZSystem::QZRange(mol.GetAtoms())) {
    if (parts[first.GetIndex()] != 0) continue;
    parts[first.GetIndex()] = ++count;
    open.push_back(&first);
    while (!open.empty()) {
      const QZAtomBase* atom = open.back();
      open.pop_back();
      for (const QZBondBase* bond : QZMolAccess::Bonds(*atom)) {
        const QZAtomBase* next = bond->GetNeighbour(atom);
        if (parts[next->GetIndex()] != 0) continue;
        parts[next->GetIndex()] = count;
        open.push_back(next);
      }
    }
  }
  return count;
}

}  // namespace QZChem
