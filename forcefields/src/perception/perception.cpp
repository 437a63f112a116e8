// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/perception.h"

#include <algorithm>
#include <cmath>
#include <exception>

#include "qzchem/io.h"
#include "qzchem/perceived.h"
#include "qzchem/templates.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

using QZSystem::QZThrow;

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

AtomGraph GraphOf(const QZChem::QZMolBase& mol) {
  AtomGraph graph;
  std::vector<unsigned int> number(mol.AtomIndexBound());
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    number[atom.GetIndex()] = static_cast<unsigned int>(graph.atoms.size());
    graph.atoms.push_back(atom.GetIndex());
  }
  graph.neighbours.resize(graph.atoms.size());
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    const unsigned int begin = number[bond.GetBegin()->GetIndex()];
    const unsigned int end = number[bond.GetEnd()->GetIndex()];
    graph.neighbours[begin].push_back({end, bond.GetIndex()});
    graph.neighbours[end].push_back({begin, bond.GetIndex()});
  }
  return graph;
}

// The pairs up to three bonds apart, each once.
void AppendNearPairs(const AtomGraph& graph, PairInput& pairs) {
  const auto append = [](auto& list, unsigned int i, unsigned int j) {
    if (i < j) list.push_back({i, j});
  };
  for (unsigned int i = 0; i < graph.atoms.size(); ++i) {
    for (const auto& second : graph.neighbours[i]) {
      append(pairs.excluded, i, second.atom);
      for (const auto& third : graph.neighbours[second.atom]) {
        append(pairs.excluded, i, third.atom);
        for (const auto& fourth : graph.neighbours[third.atom]) {
          append(pairs.oneFour, i, fourth.atom);
        }
      }
    }
  }
  for (auto* list : {&pairs.excluded, &pairs.oneFour}) {
    std::ranges::sort(*list);
    list->erase(std::unique(list->begin(), list->end()), list->end());
  }
}

std::shared_ptr<const Perception> Perceive(const QZChem::QZMolBase& mol, QZForceFieldKind kind) {
  auto perception = std::make_shared<Perception>();
  const AtomGraph graph = GraphOf(mol);
  PairInput& pairs = perception->pairs;
  pairs.indexBound = mol.AtomIndexBound();
  pairs.atoms = graph.atoms;
  try {
    if (kind != QZForceFieldKind::UFF) {
      perception->mmff =
          PerceiveMmff(mol, graph, kind == QZForceFieldKind::MMFF94s, perception->error);
      if (perception->mmff == nullptr) return perception;
      const MmffParameters& mmff = *perception->mmff;
      for (const unsigned int atom : graph.atoms) pairs.charges.push_back(mmff.charges[atom]);
      pairs.types = mmff.pairTypes;
      pairs.numTypes = mmff.numPairTypes;
      pairs.table = mmff.pairTable;
    } else {
      perception->uff = PerceiveUff(mol, graph, perception->error);
      if (perception->uff == nullptr) return perception;
      pairs.types = perception->uff->pairTypes;
      pairs.numTypes = perception->uff->numPairTypes;
      pairs.table = perception->uff->pairTable;
      pairs.potential = PairPotential::LennardJones;
    }
  } catch (const std::exception& error) {
    perception->error = error.what();
    return perception;
  }
  AppendNearPairs(graph, pairs);
  return perception;
}

unsigned int TagOf(QZForceFieldKind kind) {
  static const unsigned int tags[] = {QZSystem::QZGetTag("QZMolPotential MMFF94 parameters"),
                                      QZSystem::QZGetTag("QZMolPotential MMFF94s parameters"),
                                      QZSystem::QZGetTag("QZMolPotential UFF parameters")};
  return tags[static_cast<std::size_t>(kind)];
}

}  // namespace

std::shared_ptr<const Perception> Perception::FindParameters(const QZChem::QZMolBase& mol,
                                                             QZForceFieldKind kind,
                                                             std::string& reason) {
  if (mol.NumAtoms() == 0) {
    reason = "the molecule has no atoms";
    return nullptr;
  }
  const std::string name = std::string("molecule ") + mol.GetTitle();
  if (const std::string missing = QZChem::QZFindMissing(mol); !missing.empty()) {
    reason = name + (QZChem::QZHasBondOrders(mol) ? " lacks hydrogens: " : ": ") + missing;
    return nullptr;
  }
  auto perception = std::static_pointer_cast<const Perception>(QZChem::QZGetPerceived(
      mol, TagOf(kind), [&]() -> QZChem::QZPerceived { return Perceive(mol, kind); }));
  if (perception->uff != nullptr && perception->uff->dependsOnCoordinates) {
    perception = Perceive(mol, kind);
  }
  if (perception->error.empty()) return perception;
  reason = name + ": " + perception->error;
  return nullptr;
}

std::shared_ptr<const Perception> Perception::FindParameters(const QZChem::QZMolBase& mol,
                                                             QZForceFieldKind kind) {
  std::string reason;
  auto perception = FindParameters(mol, kind, reason);
  if (perception == nullptr) {
    QZThrow.Warning("%s: %s", QZGetForceFieldName(kind), reason.c_str());
  }
  return perception;
}

std::shared_ptr<const Perception> Perception::Find(const QZChem::QZMolBase& mol,
                                                   QZForceFieldKind kind) {
  auto perception = FindParameters(mol, kind);
  if (perception != nullptr && LacksCoordinates(mol)) {
    QZThrow.Warning(
        "%s: molecule %s has no 3D coordinates", QZGetForceFieldName(kind), mol.GetTitle());
    return nullptr;
  }
  return perception;
}

}  // namespace QZMolPotential
