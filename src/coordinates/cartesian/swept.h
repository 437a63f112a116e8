// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

/// Whether the atom indices of `mol` are without holes, as rigid bodies need; warns when not.
inline bool IsSwept(const QZChem::QZMolBase& mol) {
  if (mol.NumAtoms() == mol.AtomIndexBound()) return true;
  QZSystem::QZThrow.Warning(
      "Molecule appears to have deleted atoms -- QZMolBase::Sweep() must be called before using "
      "quaternion adaptor");
  return false;
}

}  // namespace QZMolPotential
