// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "run/task.h"

namespace Molpot {

/// Runs one record, which comes in with number, raw text and molecule or error. One complete
/// outcome, or one a conformer, by energy; nothing is thrown. Safe from several threads.
std::vector<Outcome> Run(const Task& task, Outcome record);

}  // namespace Molpot
