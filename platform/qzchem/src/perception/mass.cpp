// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/mass.h"

#include <GraphMol/PeriodicTable.h>

#include "perception/elements.h"

namespace QZChem {

double QZGetAtomicMass(unsigned int atomicNumber, unsigned int isotope) {
  if (atomicNumber == 0 || atomicNumber > kMaxAtomicNumber) return 0.0;
  const RDKit::PeriodicTable& table = *RDKit::PeriodicTable::getTable();
  const auto element = static_cast<RDKit::UINT>(atomicNumber);
  if (isotope == 0) return table.getAtomicWeight(element);
  return table.getMassForIsotope(element, isotope);
}

}  // namespace QZChem
