// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "commands/batch.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "input/errors.h"
#include "input/records.h"
#include "output/console.h"
#include "output/format.h"
#include "output/progress.h"
#include "run/coordinates.h"
#include "run/interrupt.h"
#include "run/messages.h"
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
  add("--host-output", report.host, /*isText=*/false);
  add("--trajectory", report.trajectory, /*isText=*/true);
  add("--rejects", report.rejects, /*isText=*/true);
  if (report.json) outputs.push_back({"--json", "-"});
  std::vector<NamedPath> inputs = InputFiles(args.source, args.task);
  if (!args.host.empty()) inputs.push_back({"--host", args.host});
  RequireDistinct(inputs, outputs);
}

// Reads and types the host that all records share.
void ReadHost(RunArguments& args) {
  Task& task = args.task;
  if (!args.hostFlexible.empty()) {
    char* end = nullptr;
    const double distance = std::strtod(args.hostFlexible.c_str(), &end);
    if (*end == '\0' && std::isfinite(distance) && distance > 0.0) {
      task.hostFlexibleDistance = distance;
    } else {
      task.hostFlexible.emplace("--host-flexible", args.hostFlexible);
    }
  }
  Source source;
  source.path = args.host;
  unsigned int failed = 0;
  std::vector<Outcome> records;
  try {
    records = ReadAll(source, failed);
  } catch (const UsageError& error) {
    throw UsageError(std::string("--host: ") + error.what());
  }
  if (failed > 0 || records.size() != 1) {
    throw UsageError("--host: " + args.host + ": one good record is needed");
  }
  QZMolPotential::QZHostOptions options;
  QZMolPotential::QZFindForceField(task.forceField.c_str(), options.forceField);
  if (task.cutoff > 0.0) options.cutoff = task.cutoff;
  options.dielectric = task.dielectric;
  options.distanceDependent = task.distanceDependent;
  task.cutoff = 0.0;  // of pairs with the host only
  auto host = std::make_shared<QZMolPotential::QZHostField>(options);
  std::vector<std::string> messages;
  bool isGood = false;
  try {
    const MessageCollector collector(messages);
    Prepare(task, records.front().mol);
    isGood = host->Setup(records.front().mol);
  } catch (const RecordError& error) {
    messages.emplace_back(error.what());
  }
  if (!isGood) {
    std::string error = "--host: " + args.host;
    for (const auto& text : messages) error += ": " + text;
    throw UsageError(error);
  }
  task.host = host;
}

}  // namespace

void ChooseCoordinates(const std::string& name, Task& task) {
  if (!name.empty()) {
    QZMolPotential::QZCoordinates kind{};
    QZMolPotential::QZFindCoordinates(name.c_str(), kind);
    task.coordinates = kind;
  }
  const bool holds = task.HoldsAtoms();
  if (name == "subset" && !holds)
    throw UsageError("--coordinates subset: needs --freeze or --move");
  if (holds && task.coordinates.has_value()) {
    const std::string reason = WhyNotFixed(*task.coordinates);
    if (!reason.empty()) throw UsageError("--coordinates: " + reason);
  }
}

int RunRecords(RunArguments& args) {
  CheckFiles(args);
  args.source.Parse(args.task);
  args.source.makeCoordinates = args.task.numConformers == 0;
  if (args.task.partialCharges && args.task.forceField == "uff") {
    throw UsageError("--partial-charges: uff has none");
  }
  if (!args.host.empty()) ReadHost(args);
  Input input(args.source);
  args.report.source = args.source.Name();
  args.report.minimised = args.task.minimise;
  const InterruptGuard guard;
  Report report(args.report);
  Summary summary;
  Progress progress(args.source.path);
  const bool interrupted = RunAll(args.task, input, args.threads, [&](Outcome& outcome) {
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
  if (summary.Done() == 0) throw UsageError(args.source.Name() + ": holds no records");
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
  command.add_flag("--partial-charges",
                   args.task.partialCharges,
                   "Write the force field's partial charges: SD data, MOL2 and JSON");
  command.add_flag(
      "--json", args.report.json, "One JSON object a record and line on standard output");
}

}  // namespace Molpot
