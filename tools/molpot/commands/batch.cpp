// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "commands/batch.h"

#include <cstdio>

#include "input/errors.h"
#include "input/records.h"
#include "output/console.h"
#include "output/format.h"
#include "output/progress.h"
#include "run/interrupt.h"
#include "run/pipeline.h"

namespace Molpot {
namespace {

// One check of all names before any file is opened.
void CheckFiles(RunArguments& args) {
  ReportOptions& report = args.report;
  std::vector<NamedPath> outputs;
  const auto add = [&outputs](const char* option, std::string& path, bool isText) {
    if (path.empty()) return;
    path = StandardOutputAsDash(path);
    if (isText && path.ends_with(".gz")) {
      throw UsageError(std::string(option) + ": is written uncompressed, it cannot end in .gz");
    }
    outputs.push_back({option, path});
  };
  add("-o", report.molecules, /*isText=*/false);
  add("--trajectory", report.trajectory, /*isText=*/true);
  add("--rejects", report.rejects, /*isText=*/true);
  if (report.json) outputs.push_back({"--json", "-"});
  RequireDistinct({{"the input", args.source.input}}, outputs);
}

}  // namespace

int RunRecords(RunArguments& args) {
  CheckFiles(args);
  const auto input = OpenInput(args.source.input, args.source.format);
  args.report.source = args.source.input == "-" ? "standard input" : args.source.input;
  args.report.minimised = args.task.minimise;
  const InterruptGuard guard;
  Report report(args.report);
  Summary summary;
  Progress progress(args.source.input);
  const bool interrupted = RunAll(args.task, *input, args.threads, [&](Outcome& outcome) {
    report.Write(outcome);
    summary.Add(outcome);
    progress.Show(outcome, summary);
  });
  ClearStatus();
  if (!args.task.dryRun) std::fputs(summary.Text(args.task.minimise).c_str(), report.People());
  if (interrupted) {
    if (args.keepPartial) report.Commit();
    PrintMessage(Format("interrupted; %u records are done", summary.Done()));
    return kInterrupted;
  }
  CheckStandardOutput();
  report.Commit();
  if (summary.Done() == 0) throw UsageError(args.source.input + ": holds no records");
  const bool misses = summary.Unconverged() > 0 && !args.report.acceptUnconverged;
  return summary.Failed() > 0 || misses ? kSomeFailed : kAllGood;
}

void AddRunOptions(CLI::App& command, RunArguments& args) {
  command.add_option("-j,--threads", args.threads, "Records worked on at the same time")
      ->check(CLI::Range(1, 256))
      ->capture_default_str();
  command.add_option("--rejects",
                     args.report.rejects,
                     "File for the records that failed, unchanged; - is standard output. Default: "
                     "none");
  command.add_flag(
      "--json", args.report.json, "One JSON object a record and line on standard output");
}

}  // namespace Molpot
