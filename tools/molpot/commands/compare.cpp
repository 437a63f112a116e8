// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cstdio>
#include <memory>

#include "commands/commands.h"
#include "input/errors.h"
#include "input/records.h"
#include "output/console.h"
#include "output/tables.h"
#include "run/coordinates.h"
#include "run/record.h"

namespace Molpot {
namespace {

struct CompareArguments {
  SourceArguments source;
  Task task;
  RestraintArguments restraints;
};

// Why a coordinate system says nothing about this job; "" when it does.
std::string NotComparable(const Task& task, QZMolPotential::QZCoordinates kind) {
  if (task.HoldsAtoms() && !WhyNotFixed(kind).empty()) return WhyNotFixed(kind);
  if (kind == QZMolPotential::QZCoordinates::RigidBody && task.restraints.Empty()) {
    return "moving the whole molecule does not change its energy; give it a restraint";
  }
  return {};
}

// True when some system applied and all that did converged.
bool CompareRecord(const Task& task, const Outcome& record) {
  CheckStandardOutput();
  std::printf("%s, %u atoms\n", RecordName(record).c_str(), record.mol.NumAtoms());
  std::printf("  %-13s %9s %10s %11s %9s %14s %10s\n",
              "coordinates",
              "variables",
              "iterations",
              "evaluations",
              "time/s",
              "energy",
              "gradient");
  unsigned int done = 0;
  bool allConverged = true;
  for (const auto kind : AllCoordinates()) {
    const char* name = QZMolPotential::QZGetCoordinatesName(kind);
    std::string reason = NotComparable(task, kind);
    Outcome outcome;
    if (reason.empty()) {
      Task one = task;
      one.coordinates = kind;
      outcome.mol = record.mol;
      outcome = std::move(Run(one, outcome).front());
      reason = outcome.error;
    }
    if (!reason.empty()) {
      std::printf("  %-13s -: %s\n", name, reason.c_str());
      continue;
    }
    ++done;
    allConverged = allConverged && outcome.optimizer.converged;
    std::printf("  %-13s %9u %10u %11u %9.3f %14.5f %10.1e%s%s\n",
                name,
                outcome.numVariables,
                outcome.optimizer.iterations,
                outcome.optimizer.evaluations,
                outcome.seconds,
                outcome.energy,
                outcome.optimizer.gradientNorm,
                outcome.optimizer.fellBack ? "  went on in cartesian" : "",
                outcome.IsUnconverged() ? ("  not converged: " + outcome.reason).c_str() : "");
  }
  return done > 0 && allConverged;
}

// Makes the record ready once, so that every run finds it typed. False, and told, when it fails.
bool PrepareRecord(const CompareArguments& args, Outcome& record) {
  try {
    Prepare(args.task, record.mol);
    return true;
  } catch (const RecordError& error) {
    PrintMessage(args.source.Name() + ": " + RecordName(record) + ": " + error.what());
    return false;
  }
}

int Compare(CompareArguments& args) {
  args.task.minimise = true;
  args.restraints.Parse(args.task);
  args.source.Parse(args.task);
  unsigned int failed = 0;
  for (Outcome& record : ReadAll(args.source, failed)) {
    if (!PrepareRecord(args, record) || !CompareRecord(args.task, record)) ++failed;
  }
  return failed > 0 ? kSomeFailed : kAllGood;
}

}  // namespace

void AddCompare(CLI::App& app, Action& action) {
  auto args = std::make_shared<CompareArguments>();
  CLI::App& command = *app.add_subcommand(
      "compare", "Minimise each molecule in every coordinate system that applies");
  AddSource(command, args->source, args->task);
  args->restraints.AddTo(command, /*takesConstraints=*/true);
  command
      .add_option("--max-iterations", args->task.optimizer.maxIterations, "Iterations a molecule")
      ->capture_default_str();
  command
      .add_option("--gradient-tolerance",
                  args->task.optimizer.gradientTolerance,
                  "RMS gradient of convergence, kcal/mol a unit of the variables (Å, radians)")
      ->check(kPositive)
      ->capture_default_str();
  AddTimeLimit(
      command,
      args->task,
      "Seconds a molecule and coordinate system, after which the run ends where it stands");
  command.callback([args, &action] { action = [args] { return Compare(*args); }; });
}

}  // namespace Molpot
