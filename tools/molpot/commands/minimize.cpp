// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <memory>

#include "commands/batch.h"
#include "commands/commands.h"
#include "input/errors.h"
#include "run/coordinates.h"
#include "run/minimise.h"

namespace Molpot {
namespace {

int Minimize(RunArguments& args) {
  Task& task = args.task;
  task.minimise = true;
  task.keepTrajectory = !args.report.trajectory.empty() && !task.dryRun;
  args.restraints.Parse(task);
  ChooseCoordinates(args.coordinates, task);
  if (args.host.empty() &&
      (!args.hostFlexible.empty() || task.strain || !args.report.host.empty())) {
    throw UsageError("--host-flexible, --strain and --host-output need --host");
  }
  if (!args.host.empty() && task.partialCharges) {
    throw UsageError("--partial-charges: not together with --host");
  }
  if (task.dryRun) {
    args.report.host.clear();
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
  AddSource(command, args->source, task);
  command.add_option("-o,--output",
                     args->report.molecules,
                     "Minimised molecules, format by the extension; - is standard output (SDF)");
  command
      .add_option("--coordinates",
                  args->coordinates,
                  "Variables of the minimiser. Positions mean the input's frame in all of them. "
                  "Default: cartesian")
      ->check(CLI::IsMember(CoordinateNames()));
  args->restraints.AddTo(command, /*takesConstraints=*/true);
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
  AddTimeLimit(
      command, task, "Seconds a record, after which it ends where it stands, not converged");
  command.add_flag("--accept-unconverged",
                   args->report.acceptUnconverged,
                   "Exit status 0 although records did not converge or miss a constraint; they are "
                   "marked all the same");
  command.add_flag("--keep-partial",
                   args->keepPartial,
                   "Give outputs their names even when the run was interrupted. Default: they keep "
                   "a temporary name, and older files stay");
  command
      .add_option(
          "--host",
          args->host,
          "A molecule, such as a protein, in whose field every record is relaxed; it stands "
          "still. --cutoff is then that of pairs with it, 10 Å unless given")
      ->group("Host");
  command
      .add_option("--host-flexible",
                  args->hostFlexible,
                  "Å: residues of the host within that distance of a record move too; or a "
                  "selection of the host's atoms, as for --freeze")
      ->group("Host");
  command.add_flag("--strain", task.strain, "Also the strain against the relaxed free molecule")
      ->group("Host");
  command
      .add_option("--host-output",
                  args->report.host,
                  "File for the host with its flexible atoms moved, one a record. Default: none")
      ->group("Host");
  command
      .add_option(
          "--conformers",
          task.numConformers,
          "Make up to that many conformers of every record, minimise each and write them by "
          "energy. Default: the record's own coordinates")
      ->check(CLI::Range(1, 10000));
  command.add_option("--conformer-rms", task.conformerRms, "Å by which conformers differ at least")
      ->check(kPositive)
      ->capture_default_str();
  AddRunOptions(command, *args);
  command.callback([args, &action] { action = [args] { return Minimize(*args); }; });
}

}  // namespace Molpot
