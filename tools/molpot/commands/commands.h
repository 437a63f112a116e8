// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "run/task.h"

namespace Molpot {

/// Exit statuses of the program.
enum Status : int {
  kAllGood = 0,
  kSomeFailed = 1,
  kUnusable = 2,
  kInterrupted = 130,
};

/// Checks of an option's number.
extern const CLI::Validator kPositive;
extern const CLI::Validator kFinite;
/// Lets every option of the commands refuse an empty argument.
void RefuseEmptyArguments(CLI::App& app);

/// A subcommand hands its work to `action`, which runs after all arguments are parsed.
using Action = std::function<int()>;

void AddMinimize(CLI::App& app, Action& action);
void AddEnergy(CLI::App& app, Action& action);
void AddCheck(CLI::App& app, Action& action);
void AddScan(CLI::App& app, Action& action);
void AddCompare(CLI::App& app, Action& action);
void AddReport(CLI::App& app, Action& action);

/// Where molecules come from and what describes them: the arguments that all subcommands share.
struct Source {
  std::string input;
  std::string format;
  void AddTo(CLI::App& command, Task& task);
};

/// --restrain and its kin. Held as text while parsing; `Parse` hands them to the task.
struct RestraintArguments {
  std::vector<std::string> positional;
  std::vector<std::string> torsion;
  std::vector<std::string> distance;
  std::vector<std::string> band;
  std::vector<std::string> constrainDistance;
  std::vector<std::string> constrainAngle;
  std::vector<std::string> constrainTorsion;
  std::string freeze;
  void AddTo(CLI::App& command, bool constraints);
  void Parse(Task& task) const;
};

}  // namespace Molpot
