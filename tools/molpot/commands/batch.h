// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "commands/commands.h"

namespace Molpot {

/// What `minimize` and `energy` share: records stream through, each with one outcome.
struct RunArguments {
  Source source;
  Task task;
  RestraintArguments restraints;
  std::string coordinates;
  std::string output;
  std::string trajectory;
  std::string rejects;
  unsigned int threads = 1;
  bool json = false;
  bool table = false;
};

/// Adds -j, --rejects and --json.
void AddRunOptions(CLI::App& command, RunArguments& args);

/// Runs all records. Returns the exit status; throws UsageError.
int RunRecords(RunArguments& args);

}  // namespace Molpot
