// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/ffparams.h"

namespace QZMolPotential {

/// Moves atoms so that every bond of `mol`, and with `resetAngles` every angle, takes the
/// equilibrium value that `params` gives for it; terms without parameters stay. All bonds come
/// before any angle, bonds and angles in index order and the bond order of their centre: each
/// setting may move atoms placed by an earlier one, so in rings and at crowded centres the last one
/// wins, and callers rely on the order.
QZ_API void ResetBondsAnglesAtFFEquilibriumParams(QZChem::QZMolBase& mol,
                                                  const QZFFParams& params,
                                                  bool resetAngles);

}  // namespace QZMolPotential
