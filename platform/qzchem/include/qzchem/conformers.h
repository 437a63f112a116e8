// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzchem/mol.h"

namespace QZChem {

/// Options of `QZMakeConformers`.
struct QZConformerOptions {
  unsigned int count = 1;     // wanted; fewer are returned when conformers are alike
  double rmsThreshold = 0.5;  // Å, heavy atoms superposed; a conformer closer than this is dropped
  unsigned int seed = 20260101;  // fixed, so that a run can be repeated
};

/// Makes conformers of a molecule whose hydrogens are explicit, by distance geometry (RDKit's ETKDG
/// version 3). `conformers` (out) receives 3 x AtomIndexBound() coordinates in Å for each, in no
/// order of energy. Connected parts are placed side by side so that their van der Waals surfaces do
/// not touch. Stereocentres and double bonds keep the configuration that the molecule's
/// coordinates, the wedges of its drawing or its SMILES define; a conformer that has another one is
/// dropped. The result is the same for the same seed. Fails: false with a Warning when no conformer
/// is left. Source: Wang, Witek, Landrum and Riniker, J. Chem. Inf. Model. 60, 2044 (2020).
QZ_API bool QZMakeConformers(const QZGraphMol& mol,
                             const QZConformerOptions& options,
                             std::vector<std::vector<double>>& conformers);

/// Keeps the connected part with the most heavy atoms (the first of equals), removes all other
/// parts and closes the holes. True when something was removed.
QZ_API bool QZKeepLargestFragment(QZGraphMol& mol);

}  // namespace QZChem
