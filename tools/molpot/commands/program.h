// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace Molpot {

/// Runs a command line and returns the exit status. Standard output may not be flushed yet.
int RunProgram(int argc, char** argv);

}  // namespace Molpot
