// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzchem/atom.h"

namespace QZChem {

/// Bonds that an atom with its charge and orders still has room for up to its usual valence: 0 when
/// it is complete, negative beyond the largest valence of its element. 0 for elements without usual
/// valences, as metals.
int OpenValence(const QZAtomBase& atom);

/// How many of its neighbours are hydrogens.
unsigned int CountHydrogens(const QZAtomBase& atom);

/// Elements that stand as ions when no bond is drawn to them.
bool IsMetal(unsigned int atomicNumber);

}  // namespace QZChem
