// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <memory>

#include "commands/batch.h"
#include "commands/commands.h"
#include "run/coordinates.h"

namespace Molpot {
namespace {

int NormalModes(RunArguments& args, bool asIs) {
  args.task.normalModes = true;
  args.task.minimise = !asIs;
  args.task.keepTrajectory = !args.report.trajectory.empty();
  args.restraints.Parse(args.task);
  ChooseCoordinates(args.coordinates, args.task);
  return RunRecords(args);
}

}  // namespace

void AddNormalModes(CLI::App& app, Action& action) {
  auto args = std::make_shared<RunArguments>();
  auto asIs = std::make_shared<bool>(false);
  CLI::App& command = *app.add_subcommand(
      "normal-modes", "Vibrational frequencies, zero-point energy, entropy and free energy");
  Task& task = args->task;
  task.optimizer.gradientTolerance = 1e-5;
  AddSource(command, args->source, task);
  command.add_flag(
      "--as-is", *asIs, "Do not minimise first; a record whose gradient is not small then fails");
  command
      .add_option(
          "--coordinates",
          args->coordinates,
          "What moves: rigid and torsion-rigid for motions as a whole, torsion for rotatable "
          "bonds alone. Default: cartesian")
      ->check(CLI::IsMember(CoordinateNames()));
  args->restraints.AddTo(command, /*takesConstraints=*/false);
  command
      .add_option("--gradient-tolerance",
                  task.optimizer.gradientTolerance,
                  "RMS gradient of the minimisation, kcal/mol a unit of the variables (Å, radians)")
      ->check(kPositive)
      ->capture_default_str();
  command.add_option("--temperature", task.modes.temperature, "K, of entropy and free energy")
      ->check(kPositive)
      ->capture_default_str();
  command
      .add_option("--lowest-frequency",
                  task.modes.lowestFrequency,
                  "Frequencies below this (1/cm) count as this in entropy and free energy. "
                  "Default: as they are")
      ->check(kPositive);
  command.add_option("-o,--output",
                     args->report.molecules,
                     "File for the minimised molecules, format by the extension. Default: none");
  command.add_option("--animation",
                     args->report.trajectory,
                     "SDF file of every mode's motion, 20 frames each. Default: none");
  AddTimeLimit(command, task, "Seconds of a record's minimisation, not converged after them");
  AddRunOptions(command, *args);
  command.callback(
      [args, asIs, &action] { action = [args, asIs] { return NormalModes(*args, *asIs); }; });
}

}  // namespace Molpot
