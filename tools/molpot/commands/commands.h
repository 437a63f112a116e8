// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <string>

#include "input/records.h"
#include "output/files.h"
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

/// Adds --time-limit.
void AddTimeLimit(CLI::App& command, Task& task, const std::string& help);

/// A subcommand hands its work to `action`, which runs after all arguments are parsed.
using Action = std::function<int()>;

void AddMinimize(CLI::App& app, Action& action);
void AddEnergy(CLI::App& app, Action& action);
void AddCheck(CLI::App& app, Action& action);
void AddScan(CLI::App& app, Action& action);
void AddCompare(CLI::App& app, Action& action);
void AddReport(CLI::App& app, Action& action);
void AddNormalModes(CLI::App& app, Action& action);

/// A source and the templates for it, as text while parsing.
struct SourceArguments : Source {
  std::vector<std::string> templates;
  /// Opens the templates. Throws UsageError.
  void Parse(Task& task) const;
};

/// The files of source and restraints, for `RequireDistinct`.
std::vector<NamedPath> InputFiles(const SourceArguments& source, const Task& task);

/// Adds INPUT and what describes molecules and force field: the arguments that all commands share.
void AddSource(CLI::App& command, SourceArguments& source, Task& task);

/// --restrain and its kin, --restraints and the selections. Held as text while parsing; `Parse`
/// hands them to the task.
struct RestraintArguments {
  std::map<std::string, std::vector<std::string>> byKind;
  std::vector<std::string> files;
  bool constraints = false;
  std::string freeze;
  std::string move;
  void AddSelectionsTo(CLI::App& command);
  void AddTo(CLI::App& command, bool takesConstraints);
  void Parse(Task& task) const;
};

}  // namespace Molpot
