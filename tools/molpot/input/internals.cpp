// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/internals.h"

#include <numbers>

namespace Molpot {

std::unique_ptr<QZMolPotential::QZGeometryConstr> HoldInternal(
    const std::vector<unsigned int>& atoms) {
  using namespace QZMolPotential;
  const std::vector<unsigned int>& a = atoms;
  if (a.size() == 2) {
    return std::make_unique<QZCentroidDistanceConstr>(std::vector<unsigned int>{a[0]},
                                                      std::vector<unsigned int>{a[1]});
  }
  if (a.size() == 3) return std::make_unique<QZValenceAngleConstr>(a[0], a[1], a[2]);
  return std::make_unique<QZDihedralAngleConstr>(a[0], a[1], a[2], a[3]);
}

double MeasureInternal(const QZChem::QZMolBase& mol, const std::vector<unsigned int>& atoms) {
  constexpr double kToDegrees = 180.0 / std::numbers::pi;
  const auto atom = [&](std::size_t k) { return mol.GetAtom(atoms[k]); };
  if (atoms.size() == 2) return QZChem::QZGetDistance(mol, atom(0), atom(1));
  if (atoms.size() == 3) return kToDegrees * QZChem::QZGetAngle(mol, atom(0), atom(1), atom(2));
  return kToDegrees * QZChem::QZGetTorsion(mol, atom(0), atom(1), atom(2), atom(3));
}

}  // namespace Molpot
