// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "run/task.h"

namespace Molpot {

/// Runs one record. `outcome` comes in with record, raw, molecule or error, and goes out complete;
/// nothing is thrown. Safe from several threads, each with its own outcome.
void Run(const Task& task, Outcome& outcome);

}  // namespace Molpot
