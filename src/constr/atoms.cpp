// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/atoms.h"

#include <algorithm>

#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZConstr {

bool Occurs(const QZChem::QZMolBase& mol, std::span<const unsigned int> indices, const char* what) {
  std::size_t found = 0;
  for (auto it = indices.begin(); it != indices.end(); ++it) {
    const bool repeated = std::find(indices.begin(), it, *it) != it;
    if (!repeated && mol.GetAtom(*it) != nullptr) ++found;
  }
  if (found == indices.size()) return true;
  QZSystem::QZThrow.Warning("%s does not occur in molecule %s", what, mol.GetTitle());
  return false;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* MakeComponent(QZOpt::QZFunc0& func,
                                                         const char* name,
                                                         const double* x) {
  const double energy = x != nullptr ? func(x) : 0.0;
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{name, energy}});
}

}  // namespace QZConstr
