// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cstdio>
#include <memory>

#include "commands.h"
#include "files.h"
#include "pipeline.h"
#include "report.h"

namespace Molpot {
namespace {

struct RunArguments {
  Source source;
  Task task;
  RestraintArguments restraints;
  std::string coordinates;
  std::string output;
  std::string trajectory;
  std::string rejects;
  unsigned int threads = 1;
  bool json = false;
  bool table = false;
};

// Everything a run writes, opened before the first record is read.
class Outputs {
 public:
  explicit Outputs(const RunArguments& args)
      : json_(args.json), table_(args.table || !args.task.minimise), minimise_(args.task.minimise) {
    if (!args.output.empty()) molecules_ = std::make_unique<MolOutput>(args.output);
    if (!args.trajectory.empty()) trajectory_ = std::make_unique<TextOutput>(args.trajectory);
    if (!args.rejects.empty()) rejects_ = std::make_unique<TextOutput>(args.rejects);
    // Standard output carries one thing only.
    people_ = json_ || (molecules_ != nullptr && molecules_->IsStandardOutput()) ? stderr : stdout;
    source_ = args.source.input == "-" ? "standard input" : args.source.input;
  }

  void Write(Outcome& outcome) {
    for (const auto& text : outcome.warnings) {
      std::fprintf(stderr,
                   "molpot: %s: %s: %s\n",
                   source_.c_str(),
                   RecordName(outcome).c_str(),
                   text.c_str());
    }
    if (json_) std::printf("%s\n", JsonLine(outcome, minimise_).c_str());
    if (!outcome.error.empty()) {
      std::fprintf(stderr,
                   "molpot: %s: %s: %s\n",
                   source_.c_str(),
                   RecordName(outcome).c_str(),
                   outcome.error.c_str());
      if (rejects_ != nullptr) rejects_->Write(outcome.raw);
      return;
    }
    if (molecules_ != nullptr) molecules_->Write(outcome.mol);
    if (trajectory_ != nullptr) trajectory_->Write(outcome.trajectory);
    if (!json_) WriteText(outcome);
  }

  void Commit() {
    if (molecules_ != nullptr) molecules_->Commit();
    if (trajectory_ != nullptr) trajectory_->Commit();
    if (rejects_ != nullptr) rejects_->Commit();
    if (std::fflush(stdout) != 0) throw UsageError("standard output cannot be written");
  }

  std::FILE* People() const { return people_; }

 private:
  void WriteText(const Outcome& outcome) {
    std::string text;
    if (!outcome.matched.empty()) {
      text = RecordName(outcome) + "\n";
      for (const auto& line : outcome.matched) text += "  " + line + "\n";
    } else {
      text = minimise_ ? MinimisedLine(outcome) : RecordName(outcome) + "\n";
      if (table_) text += ComponentTable(outcome, minimise_);
      text += InteractionTable(outcome) + HeldLines(outcome);
    }
    std::fputs(text.c_str(), people_);
  }

  bool json_;
  bool table_;
  bool minimise_;
  std::string source_;
  std::FILE* people_;
  std::unique_ptr<MolOutput> molecules_;
  std::unique_ptr<TextOutput> trajectory_;
  std::unique_ptr<TextOutput> rejects_;
};

int RunRecords(RunArguments& args) {
  const auto input = OpenInput(args.source.input, args.source.format);
  Outputs outputs(args);
  Summary summary;
  Progress progress(args.source.input);
  const bool interrupted = RunAll(args.task, *input, args.threads, [&](Outcome& outcome) {
    progress.Clear();
    outputs.Write(outcome);
    summary.Add(outcome);
    progress.Show(outcome, summary);
  });
  progress.Clear();
  outputs.Commit();
  if (!args.task.dryRun) std::fputs(summary.Text(args.task.minimise).c_str(), outputs.People());
  if (interrupted) {
    std::fprintf(
        stderr, "molpot: interrupted; the %u records done so far are kept\n", summary.Done());
    return kInterrupted;
  }
  if (summary.Done() == 0) throw UsageError(args.source.input + ": holds no records");
  return summary.Failed() > 0 ? kSomeFailed : kAllGood;
}

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

void AddRunOptions(CLI::App& command, RunArguments& args) {
  command.add_option("-j,--threads", args.threads, "Records worked on at the same time")
      ->check(CLI::Range(1, 256))
      ->capture_default_str();
  command.add_option(
      "--rejects", args.rejects, "File for the records that failed, unchanged. Default: none");
  command.add_flag("--json", args.json, "One JSON object a record and line on standard output");
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

void AddEnergy(CLI::App& app, Action& action) {
  auto args = std::make_shared<RunArguments>();
  CLI::App& command =
      *app.add_subcommand("energy", "Print the energy components of every molecule");
  args->source.AddTo(command, args->task);
  command
      .add_option("--interactions",
                  args->task.numInteractions,
                  "List the interactions of highest energy, that many of every term")
      ->check(CLI::Range(0, 100000))
      ->capture_default_str();
  AddRunOptions(command, *args);
  command.callback([args, &action] { action = [args] { return RunRecords(*args); }; });
}

}  // namespace Molpot
