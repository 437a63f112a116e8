// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>

#include "input/records.h"
#include "run/task.h"

namespace Molpot {

/// Reads records, runs `task` on them in up to `threads` threads and hands the outcomes to
/// `consume` in input order, on one thread at a time. A bounded number of records is in flight, so
/// memory does not grow with the input. `consume` may throw; the run then ends and the exception
/// goes on. Under an InterruptGuard a signal ends the run: records at work end at their best
/// geometry, no other begins. Returns true when the run was interrupted.
bool RunAll(const Task& task,
            Input& input,
            unsigned int threads,
            const std::function<void(Outcome&)>& consume);

}  // namespace Molpot
