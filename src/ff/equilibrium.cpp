// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/equilibrium.h"

#include <memory>

#include "qzchem/geometry.h"
#include "qzchem/mol.h"

namespace QZMolPotential {
namespace {

using QZChem::QZAtomBase;
using QZChem::QZBondBase;

void ResetAnglesAt(QZChem::QZMolBase& mol,
                   QZAtomBase& centre,
                   const QZFFParams& params,
                   QZInteractParams& record) {
  const std::unique_ptr<QZSystem::QZIterBase<QZBondBase>> first(centre.GetBonds());
  for (; first->IsValid(); ++*first) {
    const std::unique_ptr<QZSystem::QZIterBase<QZBondBase>> second(first->CreateCopy());
    for (++*second; second->IsValid(); ++*second) {
      QZAtomBase* end1 = (*first)->GetNeighbour(&centre);
      QZAtomBase* end2 = (*second)->GetNeighbour(&centre);
      if (!params.GetAngleParams(record, end1, &centre, end2)) continue;
      QZChem::QZSetAngle(mol, end1, &centre, end2, record[0], nullptr);
    }
  }
}

}  // namespace

void ResetBondsAnglesAtFFEquilibriumParams(QZChem::QZMolBase& mol,
                                           const QZFFParams& params,
                                           bool resetAngles) {
  QZInteractParams record;
  for (const QZBondBase& bond : QZSystem::QZRange(mol.GetBonds())) {
    if (!params.GetBondParams(record, &bond)) continue;
    QZChem::QZSetDistance(mol, bond.GetBegin(), bond.GetEnd(), record[0]);
  }
  if (!resetAngles) return;
  for (QZAtomBase& centre : QZSystem::QZRange(mol.GetAtoms())) {
    if (centre.GetDegree() > 1) ResetAnglesAt(mol, centre, params, record);
  }
}

}  // namespace QZMolPotential
