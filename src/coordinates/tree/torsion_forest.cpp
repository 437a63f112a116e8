// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/tree/torsion_forest.h"

#include <algorithm>

#include "qzchem/mol.h"

namespace QZMolPotential {

using QZChem::QZAtomBase;
using QZChem::QZBondBase;
using QZSystem::QZRange;

namespace {

unsigned int FirstNeighbour(const QZAtomBase& atom, const QZAtomBase* except) {
  for (const auto& neighbour : QZRange(atom.GetNeighbours())) {
    if (&neighbour != except) return neighbour.GetIndex();
  }
  return atom.GetIndex();
}

}  // namespace

// Breadth first from the first atom of each component.
void TorsionForest::walk(const QZChem::QZMolBase& mol) {
  const std::size_t bound = mol.AtomIndexBound();
  walk_.clear();
  parent_.assign(bound, bound);
  root_.assign(bound, bound);
  for (const auto& atom : QZRange(mol.GetAtoms())) {
    if (parent_[atom.GetIndex()] != bound) continue;
    parent_[atom.GetIndex()] = root_[atom.GetIndex()] = atom.GetIndex();
    std::size_t next = walk_.size();
    walk_.push_back(atom.GetIndex());
    for (; next < walk_.size(); ++next) {
      const std::size_t from = walk_[next];
      const QZAtomBase* reached = mol.GetAtom(static_cast<unsigned int>(from));
      for (const auto& neighbour : QZRange(reached->GetNeighbours())) {
        const std::size_t to = neighbour.GetIndex();
        if (parent_[to] != bound) continue;
        parent_[to] = from;
        root_[to] = root_[from];
        walk_.push_back(to);
      }
    }
  }
}

std::size_t TorsionForest::childOf(const Torsion& torsion) const {
  return parent_[torsion.c] == torsion.b ? torsion.c : torsion.b;
}

// Of each atom, the sum of its weight and those of all that hang on it.
std::vector<std::size_t> TorsionForest::sumBelow(std::vector<std::size_t> weights) const {
  for (auto atom = walk_.rbegin(); atom != walk_.rend(); ++atom) {
    if (parent_[*atom] != *atom) weights[parent_[*atom]] += weights[*atom];
  }
  return weights;
}

// The sum over the atoms that a walk from c reaches without b.
std::size_t TorsionForest::sumOfSide(const std::vector<std::size_t>& below,
                                     const Torsion& torsion) const {
  const std::size_t child = childOf(torsion);
  return child == torsion.c ? below[child] : below[root_[child]] - below[child];
}

TorsionForest::Torsion TorsionForest::makeTorsion(const QZBondBase& bond,
                                                  const double* coords) const {
  const QZAtomBase& begin = *bond.GetBegin();
  const QZAtomBase& end = *bond.GetEnd();
  Torsion torsion{FirstNeighbour(begin, &end),
                  begin.GetIndex(),
                  end.GetIndex(),
                  FirstNeighbour(end, &begin),
                  Norm(LoadAtom(coords, end.GetIndex()) - LoadAtom(coords, begin.GetIndex()))};
  const std::size_t side = sumOfSide(sizes_, torsion);
  if (sizes_[root_[torsion.c]] - side < side) torsion.TurnRound();
  return torsion;
}

void TorsionForest::Build(const QZChem::QZMolBase& mol,
                          const double* coords,
                          const std::function<bool(const QZBondBase&)>& turns) {
  walk(mol);
  sizes_ = sumBelow(std::vector<std::size_t>(mol.AtomIndexBound(), 1));
  torsions_.clear();
  for (const auto& bond : QZRange(mol.GetBonds())) {
    if (turns(bond)) torsions_.push_back(makeTorsion(bond, coords));
  }
  built_ = torsions_;
  nestMovingSets();
}

void TorsionForest::MeasureAxes(const double* coords) {
  for (auto* list : {&torsions_, &built_}) {
    for (Torsion& t : *list) t.length = Norm(LoadAtom(coords, t.c) - LoadAtom(coords, t.b));
  }
}

void TorsionForest::Hold(const std::vector<unsigned char>& fixed) {
  torsions_ = built_;
  std::vector<std::size_t> weights(parent_.size(), 0);
  for (const std::size_t atom : walk_) weights[atom] = fixed[atom] != 0 ? 1 : 0;
  const std::vector<std::size_t> below = sumBelow(weights);
  for (Torsion& torsion : torsions_) {
    const std::size_t side = sumOfSide(below, torsion);
    const bool moving = side > weights[torsion.c];
    const bool resting = below[root_[torsion.c]] - side > weights[torsion.b];
    if (moving && resting) {
      torsion.activity = 0;
    } else if (moving) {
      torsion.TurnRound();
    }
  }
  nestMovingSets();
}

// Per atom, the first atom of its piece: without the active bonds the molecule falls into rigid
// pieces.
std::vector<std::size_t> TorsionForest::pieces() const {
  const std::size_t bound = parent_.size();
  std::vector<bool> starts(bound, false);
  for (const Torsion& torsion : torsions_) {
    if (torsion.activity != 0) starts[childOf(torsion)] = true;
  }
  std::vector<std::size_t> piece(bound, bound);
  for (const std::size_t atom : walk_) {
    piece[atom] = starts[atom] || parent_[atom] == atom ? atom : piece[parent_[atom]];
  }
  return piece;
}

void TorsionForest::RestLargestPieces(const std::vector<unsigned char>& except) {
  const std::vector<std::size_t> piece = pieces();
  std::vector<std::size_t> size(parent_.size(), 0);
  std::vector<bool> excepted(parent_.size(), false);  // by the component's root
  for (const std::size_t atom : walk_) {
    ++size[piece[atom]];
    if (!except.empty() && except[atom] != 0) excepted[root_[atom]] = true;
  }
  std::vector<std::size_t> largest = root_;
  for (const std::size_t atom : walk_) {
    std::size_t& best = largest[root_[atom]];
    if (size[piece[atom]] > size[best]) best = piece[atom];
  }
  std::vector<std::size_t> weights(parent_.size(), 0);
  for (const std::size_t atom : walk_) weights[largest[root_[atom]]] = 1;
  const std::vector<std::size_t> below = sumBelow(weights);
  for (Torsion& torsion : torsions_) {
    if (!excepted[root_[torsion.c]] && sumOfSide(below, torsion) > 0) torsion.TurnRound();
  }
  nestMovingSets();
}

// The atoms of a rigid piece are all in the same moving sets, and at most one torsion has its c in
// a given piece. Why moving sets are nested or disjoint: the sides of two bonds can overlap without
// being nested only if together they cover the whole molecule. Two smaller sides do not cover it,
// nor do two sides that both leave out the piece that stays in place. A set that was changed to the
// larger side leaves out fixed atoms; a second set that would cover the molecule together with it
// would have to move these fixed atoms, and is therefore changed or inactive itself.
void TorsionForest::nestMovingSets() {
  const std::size_t none = torsions_.size();
  outwards_.clear();
  for (std::size_t k = 0; k < none; ++k) {
    if (torsions_[k].activity != 0) outwards_.push_back(k);
  }
  std::ranges::stable_sort(
      outwards_, {}, [&](std::size_t k) { return sumOfSide(sizes_, torsions_[k]); });
  const std::vector<std::size_t> piece = pieces();
  std::vector<std::size_t> moves(parent_.size(), none);  // per piece, the torsion with its c in it
  for (const std::size_t k : outwards_) moves[piece[torsions_[k].c]] = k;
  innermost_.assign(parent_.size(), none);
  for (const std::size_t atom : walk_) innermost_[atom] = moves[piece[atom]];
  surrounding_.assign(none, none);
  for (const std::size_t k : outwards_) {
    surrounding_[k] = moves[piece[torsions_[k].b]];
    innermost_[torsions_[k].c] = surrounding_[k];
  }
}

}  // namespace QZMolPotential
