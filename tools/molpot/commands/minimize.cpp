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
  task.keepTrajectory = !args.report.trajectory.empty() && !task.dryRun;
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
    args.report.molecules.clear();
    args.report.trajectory.clear();
  } else if (args.report.molecules.empty()) {
    throw UsageError("-o is required (or --dry-run)");
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
                     args->report.molecules,
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
      ->check(kPositive)
      ->capture_default_str();
  command.add_option(
      "--trajectory",
      args->report.trajectory,
      "SDF file for the coordinates of every iteration; - is standard output. Default: none");
  command.add_flag("--table", args->report.table, "Print the energy components before and after");
  command.add_flag("--dry-run", task.dryRun, "List what every selection matches, and stop");
  command
      .add_option("--method",
                  task.optimizer.method,
                  "auto, quasi-newton (gradients alone) or newton (second derivatives)")
      ->transform(CLI::CheckedTransformer(MethodNames(), CLI::ignore_case))
      ->default_str("auto");
  command
      .add_option("--time-limit",
                  task.timeLimit,
                  "Seconds a record, after which it ends where it stands, not converged. Default: "
                  "none")
      ->check(kPositive);
  command.add_flag("--accept-unconverged",
                   args->report.acceptUnconverged,
                   "Exit status 0 although records did not converge or miss a constraint; they are "
                   "marked all the same");
  command.add_flag("--keep-partial",
                   args->keepPartial,
                   "Give outputs their names even when the run was interrupted. Default: they keep "
                   "a temporary name, and older files stay");
  AddRunOptions(command, *args);
  command.callback([args, &action] { action = [args] { return Minimize(*args); }; });
}

}  // namespace Molpot
