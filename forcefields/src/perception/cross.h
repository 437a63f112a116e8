// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "forcefields/term.h"
#include "pairs/input.h"

namespace QZMolPotential {

struct Perception;

/// The pairs between two molecules, typed apart by the same force field: atoms of `moving`, which
/// are mobile, come first by number, and in coordinates too; those of `other` follow behind
/// `moving`'s index bound.
PairInput PairsBetween(const Perception& moving, const Perception& other, QZForceFieldKind kind);

}  // namespace QZMolPotential
