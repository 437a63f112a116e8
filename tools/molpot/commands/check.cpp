// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <chrono>
#include <cstdio>
#include <limits>
#include <memory>

#include "commands/commands.h"
#include "input/errors.h"
#include "input/records.h"
#include "output/console.h"
#include "output/format.h"
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

// A function until the record's time is up; from then on it is not finite, so that whoever
// evaluates it ends soon.
class Timed final : public QZOpt::QZFunc2 {
 public:
  Timed(QZOpt::QZFunc2& function, const Outcome& record, double limit)
      : function_(function), record_(record), limit_(limit) {}
  unsigned int NumVar() const override { return function_.NumVar(); }
  double operator()(const double* x) override { return isDue() ? kOver : function_(x); }
  double operator()(const double* x, double* grad) override {
    return isDue() ? kOver : function_(x, grad);
  }
  bool operator()(const double* x, double* hessian, double* grad) override {
    return !isDue() && function_(x, hessian, grad);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return function_.GetFComponents(x);
  }
  /// Throws RecordError.
  void RequireInTime() const {
    if (isOver_) throw RecordError(Format("the time limit of %g s was reached", limit_));
  }

 private:
  static constexpr double kOver = std::numeric_limits<double>::quiet_NaN();
  bool isDue() {
    isOver_ = isOver_ || (limit_ > 0.0 && record_.Age() > limit_);
    return isOver_;
  }

  QZOpt::QZFunc2& function_;
  const Outcome& record_;
  double limit_;
  bool isOver_ = false;
};

// Checks one function, prints what was found, and tells whether it passes.
bool CheckOne(const CheckArguments& args,
              const Outcome& record,
              const std::string& name,
              QZOpt::QZFunc2& function,
              const std::vector<double>& x) {
  const bool isCartesian = IsPlain(args);
  QZCheckFunc checker;
  checker.SetStep(args.step);
  checker.SetLength(static_cast<unsigned int>(x.size()));
  Timed timed(function, record, args.task.timeLimit);
  const auto result = checker.Check(timed, x.data());
  timed.RequireInTime();
  const bool passes = result.Passes(args.tolerance);
  std::printf("  %s: %.6f kcal/mol%s\n",
              name.c_str(),
              result.energy,
              passes ? "" : ", ABOVE THE TOLERANCE");
  Print("gradient", result.gradient, /*isHessian=*/false, isCartesian);
  if (result.hasHessian) {
    Print("Hessian", result.hessian, /*isHessian=*/true, isCartesian);
  } else {
    std::printf("    Hessian: %s\n", result.hessianFailed ? "failed" : "none");
  }
  return passes;
}

bool CheckRecord(const CheckArguments& args, Outcome& record) {
  record.begun = std::chrono::steady_clock::now();
  Prepare(args.task, record.mol);
  Energy energy(args.task, record.mol, record.mol);
  energy.SetUp(record.mol);
  std::vector<double> x(std::size_t{3} * record.mol.AtomIndexBound());
  record.mol.GetCoords(x.data());
  CheckStandardOutput();
  std::printf("%s\n", RecordName(record).c_str());
  const auto check = [&](const std::string& name, QZMolPotential::QZMolFunc2& function) {
    if (IsPlain(args)) return CheckOne(args, record, name, function, x);
    QZMolPotential::QZCoordinates kind{};
    QZMolPotential::QZFindCoordinates(args.coordinates.c_str(), kind);
    const auto presented = Present(function, record.mol, kind, FrozenAtoms(args.task, record.mol));
    const double* start = presented->GetVar(x.data());
    return CheckOne(args, record, name, *presented, {start, start + presented->NumVar()});
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
  AddTimeLimit(command, args->task, "Seconds a record, which counts as failed after them");
  command.callback([args, &action] { action = [args] { return Check(*args); }; });
}

}  // namespace Molpot
