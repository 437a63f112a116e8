// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "run/energy.h"
#include "run/task.h"

namespace Molpot {

/// Normal modes at the outcome's geometry, over what the task lets move; with
/// `Task::keepTrajectory` an SDF animation of every mode in `Outcome::trajectory`. Throws
/// RecordError, also for a geometry that was not minimised and whose gradient is not small.
void AnalyseModes(const Task& task, Energy& energy, Outcome& outcome);

}  // namespace Molpot
