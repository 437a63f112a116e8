// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <memory>

#include "commands/batch.h"
#include "commands/commands.h"
#include "input/errors.h"

namespace Molpot {
namespace {

int Minimize(RunArguments& args) {
  Task& task = args.task;
  task.minimise = true;
  task.keepTrajectory = !args.trajectory.empty() && !task.dryRun;
  args.restraints.Parse(task);
  for (const auto& [name, kind] : CoordinateNames()) {
    if (name == args.coordinates) task.coordinates = kind;
  }
  if (task.freeze.has_value() && task.coordinates.has_value() && !CanFreeze(*task.coordinates)) {
    throw UsageError("--freeze: " + args.coordinates +
                     " coordinates cannot hold atoms; subset, redundant, zmatrix and torsion can");
  }
  if (task.restraints.HasConstraints() &&
      (task.freeze.has_value() ||
       task.coordinates.value_or(Coordinates::Cartesian) != Coordinates::Cartesian)) {
    throw UsageError("--constrain-...: constraints need cartesian coordinates and no --freeze");
  }
  if (task.dryRun) {
    args.output.clear();
    args.trajectory.clear();
  } else if (args.output.empty()) {
    throw UsageError("-o is required (or --dry-run)");
  }
  if (args.json && args.output == "-") {
    throw UsageError("--json and -o - both want standard output");
  }
  if (args.trajectory.ends_with(".gz") || args.trajectory == "-") {
    throw UsageError("--trajectory: must be an uncompressed SDF file");
  }
  return RunRecords(args);
}

}  // namespace

void AddMinimize(CLI::App& app, Action& action) {
  auto args = std::make_shared<RunArguments>();
  CLI::App& command = *app.add_subcommand("minimize", "Minimise the energy of every molecule");
  Task& task = args->task;
  args->source.AddTo(command, task);
  command.add_option("-o,--output",
                     args->output,
                     "Minimised molecules, format by the extension; - is standard output (SDF)");
  std::vector<std::string> names;
  for (const auto& [name, kind] : CoordinateNames()) names.push_back(name);
  command
      .add_option("--coordinates",
                  args->coordinates,
                  "Variables of the minimiser. Default: cartesian, subset with --freeze")
      ->check(CLI::IsMember(names));
  args->restraints.AddTo(command, /*constraints=*/true);
  command.add_option("--max-iterations", task.optimizer.maxIterations, "Iterations a molecule")
      ->capture_default_str();
  command
      .add_option("--gradient-tolerance",
                  task.optimizer.gradientTolerance,
                  "RMS gradient of convergence, kcal/mol a unit of the variables (Å, radians)")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  command.add_option("--trajectory",
                     args->trajectory,
                     "SDF file for the coordinates of every iteration. Default: none");
  command.add_flag("--table", args->table, "Print the energy components before and after");
  command.add_flag("--dry-run", task.dryRun, "List what every selection matches, and stop");
  AddRunOptions(command, *args);
  command.callback([args, &action] { action = [args] { return Minimize(*args); }; });
}

}  // namespace Molpot
