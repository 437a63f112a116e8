// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <memory>

#include "commands/batch.h"
#include "commands/commands.h"

namespace Molpot {

void AddEnergy(CLI::App& app, Action& action) {
  auto args = std::make_shared<RunArguments>();
  CLI::App& command =
      *app.add_subcommand("energy", "Print the energy components of every molecule");
  AddSource(command, args->source, args->task);
  command
      .add_option("--interactions",
                  args->task.numInteractions,
                  "List the interactions of highest energy, that many of every term")
      ->check(CLI::Range(0, 100000))
      ->capture_default_str();
  AddRunOptions(command, *args);
  args->report.table = true;
  command.callback([args, &action] { action = [args] { return RunRecords(*args); }; });
}

}  // namespace Molpot
