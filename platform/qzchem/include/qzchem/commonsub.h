// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzchem/mol.h"

namespace QZChem {

/// The largest connected substructure of heavy atoms that two molecules share, as a SMARTS. Atoms
/// match by element, bonds by order, all aromatic bonds being alike; rings match as wholes or not
/// at all; charges are ignored. `seconds`: the time after which the search is given up. Fails: ""
/// with the reason in `error`, also when the time ran out. The search is RDKit's (FMCS). Source:
/// Dalke and Hastings, J. Cheminform. 5 (Suppl. 1), O6 (2013).
QZ_API std::string QZFindCommonSubstructure(const QZMolBase& a,
                                            const QZMolBase& b,
                                            unsigned int seconds,
                                            std::string& error);

}  // namespace QZChem
