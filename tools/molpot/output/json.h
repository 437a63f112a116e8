// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "run/task.h"

namespace Molpot {

/// One JSON object for a record, on one line without the line's end.
std::string JsonLine(const Outcome& outcome, bool minimised);

}  // namespace Molpot
