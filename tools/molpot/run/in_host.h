// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "run/energy.h"
#include "run/task.h"

namespace Molpot {

/// Puts the host's flexible atoms behind the record's molecule, where there are any. Throws
/// RecordError.
void JoinHost(const Task& task, Outcome& outcome);

/// Takes the record's molecule and the host apart again, with interaction and strain energies.
void LeaveHost(const Task& task, Energy& energy, Outcome& outcome);

}  // namespace Molpot
