// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/perception.h"

#include <GraphMol/ForceFieldHelpers/UFF/AtomTyper.h>
#include <GraphMol/ForceFieldHelpers/UFF/Builder.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "qzchem/io.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

using QZSystem::QZThrow;

// RDKit indexes its packed table of distances with 32 bits.
constexpr std::uint64_t kLargestTable = std::numeric_limits<unsigned int>::max();

// True when the coordinates cannot be a 3D structure: not finite, all at one point, or a drawing.
bool LacksCoordinates(const QZChem::QZMolBase& mol) {
  std::vector<double> coords(3 * std::size_t{mol.AtomIndexBound()});
  mol.GetCoords(coords.data());
  bool spread = mol.NumAtoms() == 1;
  const double* first = nullptr;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    const double* xyz = coords.data() + 3 * std::size_t{atom.GetIndex()};
    if (!std::all_of(xyz, xyz + 3, [](double value) { return std::isfinite(value); })) return true;
    if (first == nullptr) first = xyz;
    spread = spread || !std::equal(xyz, xyz + 3, first);
  }
  return !spread || QZChem::QZLooksTwoDimensional(mol);
}

}  // namespace

Perception::Perception(const QZChem::QZMolBase& mol)
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

std::shared_ptr<const Perception> Perception::Make(const QZChem::QZMolBase& mol,
                                                   QZForceFieldKind kind) {
  const char* name = QZGetForceFieldName(kind);
  const std::uint64_t n = mol.NumAtoms();
  if (n == 0) {
    QZThrow.Warning("%s: the molecule has no atoms", name);
    return nullptr;
  }
  if (n * (n + 1) / 2 > kLargestTable) {
    QZThrow.Warning("%s: molecule %s is too large", name, mol.GetTitle());
    return nullptr;
  }
  if (QZChem::QZLacksHydrogens(mol)) {
    QZThrow.Warning("%s: molecule %s lacks hydrogens", name, mol.GetTitle());
    return nullptr;
  }
  if (LacksCoordinates(mol)) {
    QZThrow.Warning("%s: molecule %s has no 3D coordinates", name, mol.GetTitle());
    return nullptr;
  }
  try {
    std::shared_ptr<Perception> perception(new Perception(mol));
    if (!perception->converted_.error.empty()) {
      QZThrow.Warning("%s: the chemistry of molecule %s is not understood: %s",
                      name,
                      mol.GetTitle(),
                      perception->converted_.error.c_str());
      return nullptr;
    }
    if (perception->assignTypes(kind)) return perception;
  } catch (const std::exception& error) {
    QZThrow.Warning("%s: no parameters for molecule %s: %s", name, mol.GetTitle(), error.what());
  }
  return nullptr;
}

bool Perception::assignTypes(QZForceFieldKind kind) {
  return kind == QZForceFieldKind::UFF ? typeUff() : typeMmff(kind);
}

bool Perception::reject(QZForceFieldKind kind, unsigned int atom) const {
  QZThrow.Warning("%s: no type for atom %s %u",
                  QZGetForceFieldName(kind),
                  Mol().getAtomWithIdx(atom)->getSymbol().c_str(),
                  converted_.atomIndices[atom] + 1);
  return false;
}

bool Perception::typeMmff(QZForceFieldKind kind) {
  mmff_ =
      std::make_unique<RDKit::MMFF::MMFFMolProperties>(*converted_.mol, QZGetForceFieldName(kind));
  if (mmff_->isValid()) return true;
  for (unsigned int i = 0; i < NumAtoms(); ++i) {
    if (mmff_->getMMFFAtomType(i) == 0) return reject(kind, i);
  }
  QZThrow.Warning("%s: no charges for the molecule", QZGetForceFieldName(kind));
  return false;
}

bool Perception::typeUff() {
  uff_ = RDKit::UFF::getAtomTypes(Mol()).first;
  const auto untyped = std::ranges::find(uff_, nullptr);
  if (untyped != uff_.end()) {
    return reject(QZForceFieldKind::UFF, static_cast<unsigned int>(untyped - uff_.begin()));
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

void Perception::mark(unsigned int from,
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
