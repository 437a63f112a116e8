// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qzchem/qzchem.h"
#include "run/task.h"

namespace Molpot {

/// Opens INPUT, "-" being standard input as `format` (SDF when empty). Throws UsageError.
std::unique_ptr<QZChem::qzmolistream> OpenInput(const std::string& path, const std::string& format);

/// Reads all good records of the source for subcommands that take few molecules; bad ones are
/// reported on standard error and counted in `failed`.
std::vector<Outcome> ReadAll(const std::string& path,
                             const std::string& format,
                             unsigned int& failed);

/// Makes the molecule ready for a force field: hydrogens, three dimensions, size. Throws
/// RecordError.
void Prepare(const Task& task, QZChem::QZGraphMol& mol);

}  // namespace Molpot
