// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/partialcharge.h"

namespace QZChem {
namespace {

unsigned int ChargeTag() {
  static const unsigned int tag = QZSystem::QZGetTag("QZChem partial charge");
  return tag;
}

}  // namespace

std::optional<double> QZGetPartialCharge(const QZAtomBase& atom) {
  const double* charge = atom.GetData<double>(ChargeTag());
  return charge == nullptr ? std::nullopt : std::optional(*charge);
}

void QZSetPartialCharge(QZAtomBase& atom, double charge) {
  atom.SetData(ChargeTag(), charge);
}

}  // namespace QZChem
