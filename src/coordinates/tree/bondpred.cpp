// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/bondpred.h"

#include "qzchem/atom.h"

namespace QZMolPotential {

BondPred::BondPred(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& atomPred)
    : atomPred_(atomPred.CreateCopy()) {}

bool BondPred::operator()(const QZChem::QZBondBase& bond) const {
  return (*atomPred_)(*bond.GetBegin()) || (*atomPred_)(*bond.GetEnd());
}

}  // namespace QZMolPotential
