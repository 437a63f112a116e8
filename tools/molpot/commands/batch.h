// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "commands/commands.h"
#include "output/report.h"

namespace Molpot {

/// What `minimize` and `energy` share: records stream through, each with one outcome.
struct RunArguments {
  SourceArguments source;
  Task task;
  RestraintArguments restraints;
  ReportOptions report;
  std::string coordinates;
  unsigned int threads = 1;
  std::string host;
  std::string hostFlexible;
  bool keepPartial = false;
};

/// Decides what options alone decide about the variables. Throws UsageError.
void ChooseCoordinates(const std::string& name, Task& task);

/// Adds -j, --rejects and --json.
void AddRunOptions(CLI::App& command, RunArguments& args);

/// Runs all records. Returns the exit status; throws UsageError.
int RunRecords(RunArguments& args);

}  // namespace Molpot
