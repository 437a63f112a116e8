// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzchem/atom.h"

namespace QZChem {

/// What `QZGetSubtree` delivers; empty when `root` is null or the excluded atom.
std::vector<QZAtomBase*> Subtree(const QZAtomBase* root, const QZAtomBase* exclude);
/// What `QZGetSmallestSubtree` delivers. Cost: O(size of the smaller side), beside one byte an
/// atom.
std::vector<QZAtomBase*> SmallerSide(const QZBondBase& bond);

}  // namespace QZChem
