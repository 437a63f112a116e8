// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/rdkit_uff.h"

#include <GraphMol/ForceFieldHelpers/UFF/AtomTyper.h>
#include <GraphMol/ForceFieldHelpers/UFF/Builder.h>

#include <algorithm>
#include <limits>

#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

using QZSystem::QZThrow;

// RDKit indexes its packed table of distances with 32 bits.
constexpr std::uint64_t kLargestTable = std::numeric_limits<unsigned int>::max();

}  // namespace

UffPerception::UffPerception(const QZChem::QZMolBase& mol)
    : converted_(QZChem::QZToRDKit(mol, /*coordinates=*/true)), indexBound_(mol.AtomIndexBound()) {
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) atoms_.push_back(&atom);
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) bonds_.push_back(&bond);
  neighbours_.resize(atoms_.size());
  for (const RDKit::Bond* bond : Mol().bonds()) {
    const unsigned int begin = bond->getBeginAtomIdx();
    const unsigned int end = bond->getEndAtomIdx();
    neighbours_[begin].push_back({end, bond->getIdx()});
    neighbours_[end].push_back({begin, bond->getIdx()});
  }
}

std::shared_ptr<const UffPerception> UffPerception::Make(const QZChem::QZMolBase& mol) {
  try {
    const std::uint64_t n = mol.NumAtoms();
    if (n * (n + 1) / 2 > kLargestTable) {
      QZThrow.Warning("UFF: molecule %s is too large", mol.GetTitle());
      return nullptr;
    }
    std::shared_ptr<UffPerception> perception(new UffPerception(mol));
    if (perception->type()) return perception;
  } catch (const std::exception& error) {
    QZThrow.Warning("UFF: no parameters for molecule %s: %s", mol.GetTitle(), error.what());
  }
  return nullptr;
}

bool UffPerception::type() {
  if (!converted_.error.empty()) {
    QZThrow.Warning("UFF: the chemistry of the molecule is not understood: %s",
                    converted_.error.c_str());
    return false;
  }
  uff_ = RDKit::UFF::getAtomTypes(Mol()).first;
  const auto untyped = std::ranges::find(uff_, nullptr);
  if (untyped != uff_.end()) {
    const auto atom = static_cast<unsigned int>(untyped - uff_.begin());
    QZThrow.Warning("UFF: no type for atom %s %u",
                    Mol().getAtomWithIdx(atom)->getSymbol().c_str(),
                    converted_.atomIndices[atom] + 1);
    return false;
  }
  // A threshold of zero leaves out the pairs, which are added without a cutoff elsewhere.
  uffBonded_.reset(RDKit::UFF::constructForceField(*converted_.mol,
                                                   uff_,
                                                   /*vdwThresh=*/0.0,
                                                   /*confId=*/-1,
                                                   /*ignoreInterfragInteractions=*/false));
  uffBonded_->initialize();
  return true;
}

void UffPerception::mark(unsigned int from,
                         unsigned int depth,
                         std::vector<std::uint8_t>& separation) const {
  if (depth <= 2) {
    separation[from] = kNear;
    for (const Neighbour& next : neighbours_[from]) mark(next.atom, depth + 1, separation);
  } else if (separation[from] == kFar) {
    separation[from] = kOneFour;
  }
}

}  // namespace QZMolPotential
