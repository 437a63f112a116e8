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
#include "run/energy.h"
#include "run/minimise.h"

namespace Molpot {
namespace {

using QZMolPotential::QZCheckFunc;
using QZMolPotential::QZDerivativeError;

struct CheckArguments {
  SourceArguments source;
  Task task;
  RestraintArguments restraints;
  std::string coordinates;
  double step = 1e-5;
  double tolerance = 1e-4;
};

// True when the variables are the coordinates of all atoms.
bool IsPlain(const CheckArguments& args) {
  return args.coordinates == "cartesian" && !args.task.HoldsAtoms();
}

// "atom 3 y" of a Cartesian variable, "variable 7" of another.
std::string VariableName(unsigned int variable, bool isCartesian) {
  if (!isCartesian) return "variable " + std::to_string(variable + 1);
  return "atom " + std::to_string(variable / 3 + 1) + " " + "xyz"[variable % 3];
}

void Print(const char* what, const QZDerivativeError& worst, bool isHessian, bool isCartesian) {
  const std::string where = isHessian ? VariableName(worst.variable, isCartesian) + ", " +
                                            VariableName(worst.otherVariable, isCartesian)
                                      : VariableName(worst.variable, isCartesian);
  std::printf("    %s: worst at %s, %.9g where differences give %.9g, relative error %.1e\n",
              what,
              where.c_str(),
              worst.analytic,
              worst.numeric,
              worst.error);
}

// Checks one function, prints what was found, and tells whether it passes.
bool CheckOne(const CheckArguments& args,
              const char* name,
              QZOpt::QZFunc1& function,
              const std::vector<double>& x) {
  const bool isCartesian = IsPlain(args);
  QZCheckFunc checker;
  checker.SetStep(args.step);
  checker.SetLength(static_cast<unsigned int>(x.size()));
  const auto result = checker.Check(function, x.data());
  const bool passes = result.Passes(args.tolerance);
  std::printf(
      "  %s: %.6f kcal/mol%s\n", name, result.energy, passes ? "" : ", ABOVE THE TOLERANCE");
  Print("gradient", result.gradient, /*isHessian=*/false, isCartesian);
  if (result.hasHessian) {
    Print("Hessian", result.hessian, /*isHessian=*/true, isCartesian);
  } else {
    std::printf("    Hessian: %s\n", result.hessianFailed ? "failed" : "none");
  }
  return passes;
}

bool CheckRecord(const CheckArguments& args, Outcome& record) {
  Prepare(args.task, record.mol);
  Energy energy(args.task, record.mol, record.mol);
  energy.SetUp(record.mol);
  std::vector<double> x(std::size_t{3} * record.mol.AtomIndexBound());
  record.mol.GetCoords(x.data());
  CheckStandardOutput();
  std::printf("%s\n", RecordName(record).c_str());
  const auto check = [&](const std::string& name, QZMolPotential::QZMolFunc2& function) {
    if (IsPlain(args)) return CheckOne(args, name.c_str(), function, x);
    QZMolPotential::QZCoordinates kind{};
    QZMolPotential::QZFindCoordinates(args.coordinates.c_str(), kind);
    const auto presented = Present(function, record.mol, kind, FrozenAtoms(args.task, record.mol));
    const double* start = presented->GetVar(x.data());
    return CheckOne(args, name.c_str(), *presented, {start, start + presented->NumVar()});
  };
  bool passes = check("assembled function", energy.Function());
  for (const auto& held : energy.Held()) {
    QZMolPotential::QZGenericFF2 alone;
    AddRestraint(held, alone);
    alone.Setup(record.mol);
    passes = check(held.origin.Label() + ", " + held.what, alone) && passes;
  }
  return passes;
}

int Check(CheckArguments& args) {
  args.restraints.Parse(args.task);
  args.source.Parse(args.task);
  unsigned int failed = 0;
  for (Outcome& record : ReadAll(args.source, failed)) {
    try {
      if (!CheckRecord(args, record)) ++failed;
    } catch (const RecordError& error) {
      ++failed;
      PrintMessage(args.source.Name() + ": " + RecordName(record) + ": " + error.what());
    }
  }
  return failed > 0 ? kSomeFailed : kAllGood;
}

}  // namespace

void AddCheck(CLI::App& app, Action& action) {
  auto args = std::make_shared<CheckArguments>();
  CLI::App& command = *app.add_subcommand(
      "check", "Compare analytic derivatives with finite differences at each molecule's geometry");
  AddSource(command, args->source, args->task);
  args->restraints.AddTo(command, /*takesConstraints=*/false);
  args->coordinates = "cartesian";
  command.add_option("--coordinates", args->coordinates, "Variables to differentiate in")
      ->check(CLI::IsMember(CoordinateNames()))
      ->capture_default_str();
  command.add_option("--step", args->step, "Step of the differences, relative to max(1, |x|)")
      ->check(kPositive)
      ->capture_default_str();
  command
      .add_option("--tolerance",
                  args->tolerance,
                  "Largest relative error that passes; above it the exit status is 1")
      ->check(kPositive)
      ->capture_default_str();
  command.callback([args, &action] { action = [args] { return Check(*args); }; });
}

}  // namespace Molpot
