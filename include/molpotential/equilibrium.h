// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/ffparams.h"

namespace QZMolPotential {

/// Moves atoms so that every bond of `mol`, and with `resetAngles` every angle, takes the
/// equilibrium value that `params` gives for it (parameter 0: Å, radians). Bonds and angles without
/// parameters are left alone. All bonds are set before any angle, bonds in index order, angles in
/// the index order of their central atom and in the order of its bonds. Setting one value may move
/// atoms that were placed before, so that in rings and at crowded centres the last value wins;
/// callers rely on the order.
QZ_API void ResetBondsAnglesAtFFEquilibriumParams(QZChem::QZMolBase& mol,
                                                  const QZFFParams& params,
                                                  bool resetAngles);

}  // namespace QZMolPotential
