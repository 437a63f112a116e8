// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "commands/batch.h"

#include <cstdio>
#include <memory>

#include "input/errors.h"
#include "input/records.h"
#include "output/files.h"
#include "output/json.h"
#include "output/progress.h"
#include "output/tables.h"
#include "run/pipeline.h"

namespace Molpot {

namespace {

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

}  // namespace

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

void AddRunOptions(CLI::App& command, RunArguments& args) {
  command.add_option("-j,--threads", args.threads, "Records worked on at the same time")
      ->check(CLI::Range(1, 256))
      ->capture_default_str();
  command.add_option(
      "--rejects", args.rejects, "File for the records that failed, unchanged. Default: none");
  command.add_flag("--json", args.json, "One JSON object a record and line on standard output");
}

}  // namespace Molpot
