// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace RDKit {
class RWMol;
}

namespace QZChem {

/// Gives a molecule its smallest rings, as RDKit's symmetrised search finds them. That search
/// grows with the square of the molecule; here it sees one ring system at a time, and finding the
/// systems is linear.
void FindRings(RDKit::RWMol& mol);

}  // namespace QZChem
