// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzchem/mol.h"

namespace QZChem {

struct QZConformerOptions {
  unsigned int count = 1;        // asked for; fewer come where conformers are alike
  double rmsThreshold = 0.5;     // Å, of heavy atoms after superposition; closer ones are dropped
  unsigned int seed = 20260101;  // fixed, so that a run can be repeated
};

/// Conformers of a molecule with explicit hydrogens (ETKDG version 3: Wang et al., J. Chem. Inf.
/// Model. 60, 2044 (2020)): each 3 x AtomIndexBound() coordinates in Å, in no order of energy.
/// Connected parts stand side by side, their van der Waals surfaces apart. The handedness of
/// centres and the sides of double bonds are those of the coordinates that the molecule has, of its
/// drawing's wedges, or as SMILES said; a conformer with others is dropped. Fails: false with a
/// Warning when none is left.
QZ_API bool QZMakeConformers(const QZGraphMol& mol,
                             const QZConformerOptions& options,
                             std::vector<std::vector<double>>& conformers);

/// Removes all connected parts but the one with most heavy atoms (the first of equals), and closes
/// the holes. True when there were others.
QZ_API bool QZKeepLargestFragment(QZGraphMol& mol);

}  // namespace QZChem
