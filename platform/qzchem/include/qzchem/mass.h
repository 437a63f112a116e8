// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZChem {

/// The mass of an atom in unified atomic mass units: the element's standard atomic weight for
/// `isotope` 0, else that of the isotope with this mass number. 0 for a dummy atom and for what no
/// table has.
QZ_API double QZGetAtomicMass(unsigned int atomicNumber, unsigned int isotope = 0);

}  // namespace QZChem
