// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzchem/mol.h"

namespace RDKit {
class RWMol;
}

namespace QZChem {

/// The wedge of a drawn bond, kept as tagged data: 1 when its end stands before the paper, -1 when
/// behind it, 0 for none.
void SetWedge(QZBondBase& bond, int wedge);
int GetWedge(const QZBondBase& bond);
/// The sum of the wedges that begin at an atom.
int SumOfWedges(const QZAtomBase& atom);

/// Takes the handedness of centres from a drawing, its wedges and its coordinates, which
/// `converted`, made from `mol`, has.
void AssignDrawnStereo(const QZMolBase& mol, RDKit::RWMol& converted);

}  // namespace QZChem
