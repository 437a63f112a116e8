// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZChem {

/// The mass of an atom in unified atomic mass units: the standard atomic weight of the element when
/// `isotope` is 0, otherwise the mass of the isotope with this mass number (RDKit's tables). 0 for
/// a dummy atom, and for elements and isotopes that the tables lack.
QZ_API double QZGetAtomicMass(unsigned int atomicNumber, unsigned int isotope = 0);

}  // namespace QZChem
