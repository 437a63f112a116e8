// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/coordinates.h"

#include <set>

#include "input/errors.h"
#include "output/format.h"
#include "qzchem/qzchem.h"
#include "run/messages.h"

namespace Molpot {

using QZMolPotential::QZCoordinateFunc;
using QZMolPotential::QZCoordinates;

namespace {

// Moving atoms beyond which an evaluation in internal coordinates takes many seconds and binding
// takes hours.
constexpr std::size_t kMostInternal = 1000;

}  // namespace

std::vector<QZCoordinates> AllCoordinates() {
  return {QZCoordinates::Cartesian,
          QZCoordinates::DegFree,
          QZCoordinates::RigidBody,
          QZCoordinates::Cluster,
          QZCoordinates::Redundant,
          QZCoordinates::Internal,
          QZCoordinates::ZMatrix,
          QZCoordinates::Torsion,
          QZCoordinates::TorsionRigid};
}

std::vector<std::string> CoordinateNames() {
  std::vector<std::string> names;
  for (const QZCoordinates kind : AllCoordinates()) {
    names.emplace_back(QZMolPotential::QZGetCoordinatesName(kind));
  }
  names.emplace_back("subset");
  names.emplace_back("quaternion");
  return names;
}

std::string WhyNotFixed(QZCoordinates kind) {
  if (kind != QZCoordinates::DegFree) return {};
  return "degfree coordinates have no fixed atoms: their frame moves with three atoms";
}

std::unique_ptr<QZCoordinateFunc> Present(QZMolPotential::QZMolFunc2& energy,
                                          const QZChem::QZMolBase& mol,
                                          QZCoordinates kind,
                                          const std::vector<unsigned int>& fixed) {
  auto function = std::make_unique<QZCoordinateFunc>(energy, /*own=*/false, kind);
  const std::size_t moving = mol.NumAtoms() - fixed.size();
  if (kind == QZCoordinates::Internal && moving > kMostInternal) {
    throw RecordError(
        Format("internal coordinates factorise a matrix of all variables at every "
               "step, which %zu moving atoms are too many for (%zu at most): "
               "redundant coordinates serve",
               moving,
               kMostInternal));
  }
  if (!fixed.empty()) {
    std::set<const QZChem::QZAtomBase*> members;
    for (const unsigned int index : fixed) members.insert(mol.GetAtom(index));
    function->SetFixed(QZChem::IsMemberPtr<QZChem::QZAtomBase>(std::move(members)));
  }
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  std::vector<std::string> messages;
  bool isGood = false;
  {
    const MessageCollector collector(messages);
    isGood = function->Setup(mol) && function->SetupConf(coords.data());
  }
  if (!isGood) {
    std::string reason;
    for (const auto& text : messages) reason += (reason.empty() ? "" : "; ") + text;
    if (reason.empty()) {
      reason = QZMolPotential::QZGetCoordinatesName(kind);
      reason += " coordinates cannot describe this molecule";
    }
    throw RecordError(reason);
  }
  if (function->NumVar() == 0) throw RecordError("there is nothing left to vary");
  return function;
}

}  // namespace Molpot
