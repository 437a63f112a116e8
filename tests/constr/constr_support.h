// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "constr/constr.h"
#include "molpotential/constraint.h"
#include "qzchem/mol.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace TestSupport {

inline constexpr double kPi = std::numbers::pi;

/// Butane with a hole at atom 7, so that the index bound is above the atom count.
inline QZChem::QZGraphMol ButaneWithHole() {
  auto mol = Butane();
  mol.DeleteAtom(mol.GetAtom(7));
  return mol;
}

inline const QZChem::QZAtomBase& Atom(const QZChem::QZMolBase& mol, unsigned int index) {
  return *mol.GetAtom(index);
}

/// Coordinates of a, b, c, d with the dihedral a-b-c-d at `phi` and angles off 90 degrees.
inline std::vector<double> Dihedral(double phi) {
  return {
      -0.5, 1.4, 0.0, 0.0, 0.0, 0.0, 1.5, 0.0, 0.0, 1.9, 1.1 * std::cos(phi), 1.1 * std::sin(phi)};
}

}  // namespace TestSupport
