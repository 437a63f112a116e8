// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "run/energy.h"
#include "run/task.h"

namespace Molpot {

/// Å or radians, of constraints that are met.
constexpr double kConstraintTolerance = 1e-6;

/// The atoms that --freeze names and --move does not, 0-based. Throws RecordError when a selection
/// matches nothing.
std::vector<unsigned int> FrozenAtoms(const Task& task, const QZChem::QZMolBase& named);

/// Minimises the record's energy in the task's variables; `outcome` receives geometry, components
/// and what became of restraints. Throws RecordError.
void Minimise(const Task& task, Energy& energy, Outcome& outcome);

}  // namespace Molpot
