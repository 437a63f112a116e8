// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <memory>

#include "qzplatform/export.h"

namespace QZChem {

class QZMolBase;

/// Immutable data that follow from the atoms, bonds and charges of a molecule alone and refer to
/// atoms and bonds by index: atom types, parameters, rings.
using QZPerceived = std::shared_ptr<const void>;

/// Returns the data that are kept with `mol` under `tag` (from `QZSystem::QZGetTag`). The first
/// call makes them by calling `make` and keeps the result, null included, until atoms, bonds or
/// charges of the molecule change; changes of coordinates do not matter. Copies of the molecule
/// share the data. Safe from several threads: one thread calls `make`, the others wait for its
/// result. `make` may itself ask for other tags of `mol`; when it throws, nothing is kept.
QZ_API QZPerceived QZGetPerceived(const QZMolBase& mol,
                                  unsigned int tag,
                                  const std::function<QZPerceived()>& make);

/// How often `make` of `QZGetPerceived` was called since the process began. The difference before
/// and after a piece of work tells whether the work perceived molecules again.
QZ_API unsigned long QZCountPerceptions();
/// How often a molecule was converted to RDKit for perception (rings, aromaticity, hydrogens), with
/// which typing begins, since the process began.
QZ_API unsigned long QZCountConversions();
/// Adds one to `QZCountConversions`.
QZ_API void QZNoteConversion();

}  // namespace QZChem
