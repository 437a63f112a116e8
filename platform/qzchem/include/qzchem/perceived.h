// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <memory>

#include "qzplatform/export.h"

namespace QZChem {

class QZMolBase;

/// Whatever follows from a molecule's atoms, bonds and charges alone, by atom and bond index, and
/// is immutable: atom types, parameters, rings.
using QZPerceived = std::shared_ptr<const void>;

/// What is kept with `mol` under `tag` (of `QZSystem::QZGetTag`); what `make` answers is kept at
/// the first call, null too, until atoms, bonds or charges change. Coordinates do not count. Copies
/// of the molecule share what is kept, and so do threads: one of them calls `make`, the others wait
/// for it. `make` may ask for other tags of `mol`; when it throws, nothing is kept.
QZ_API QZPerceived QZGetPerceived(const QZMolBase& mol,
                                  unsigned int tag,
                                  const std::function<QZPerceived()>& make);

/// How often anything was made for `QZGetPerceived` since the process began: the difference over a
/// piece of work tells whether molecules were typed again in it.
QZ_API unsigned long QZCountPerceptions();
/// The same of molecules handed to RDKit for rings, aromaticity and hydrogens, which typing begins
/// with.
QZ_API unsigned long QZCountConversions();
/// Counts one more.
QZ_API void QZNoteConversion();

}  // namespace QZChem
