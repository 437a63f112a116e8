// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "output/report.h"

#include "output/console.h"
#include "output/json.h"
#include "output/tables.h"
#include "run/messages.h"

namespace Molpot {

Report::Report(const ReportOptions& options) : options_(options) {
  if (!options.molecules.empty()) molecules_ = std::make_unique<MolOutput>(options.molecules);
  if (!options.host.empty()) host_ = std::make_unique<MolOutput>(options.host);
  if (!options.trajectory.empty()) trajectory_ = std::make_unique<TextOutput>(options.trajectory);
  if (!options.rejects.empty()) rejects_ = std::make_unique<TextOutput>(options.rejects);
  const bool holdsResults = options.json || options.molecules == "-" || options.trajectory == "-" ||
                            options.rejects == "-";
  if (holdsResults) people_ = stderr;
}

void Report::Write(Outcome& outcome) {
  if (outcome.error.empty()) writeMolecule(outcome);
  const std::string where = options_.source + ": " + RecordName(outcome) + ": ";
  for (const auto& text : outcome.warnings) PrintMessage(where + text);
  if (!outcome.error.empty()) {
    PrintMessage(where + outcome.error);
    if (rejects_ != nullptr && outcome.conformer == 0) rejects_->Write(outcome.raw);
  } else if (outcome.IsUnconverged() && !options_.acceptUnconverged) {
    PrintMessage(where + "not converged: " + outcome.reason);
  }
  if (options_.json) {
    std::printf("%s\n", JsonLine(outcome, options_.minimised).c_str());
  } else if (outcome.error.empty()) {
    writeText(outcome);
  }
  if (std::ferror(stdout) != 0) CheckStandardOutput();
}

void Report::Commit() {
  if (molecules_ != nullptr) molecules_->Commit();
  if (host_ != nullptr) host_->Commit();
  if (trajectory_ != nullptr) trajectory_->Commit();
  if (rejects_ != nullptr) rejects_->Commit();
}

void Report::writeMolecule(Outcome& outcome) {
  if (molecules_ != nullptr) {
    // Formats without data fields carry the mark in the title.
    if (outcome.IsUnconverged() && !molecules_->HoldsData()) {
      outcome.mol.SetTitle((outcome.title + " (not converged)").c_str());
    }
    std::vector<std::string> reasons;
    const MessageCollector collector(reasons);
    if (!molecules_->Write(outcome.mol)) {
      outcome.error = "cannot be written to " + options_.molecules;
      for (const auto& text : reasons) outcome.error += ": " + text;
      return;
    }
    outcome.warnings.insert(outcome.warnings.end(), reasons.begin(), reasons.end());
  }
  if (host_ != nullptr && outcome.host.has_value()) host_->Write(*outcome.host);
  if (trajectory_ != nullptr) trajectory_->Write(outcome.trajectory);
}

void Report::writeText(const Outcome& outcome) {
  std::string text;
  if (!outcome.matched.empty()) {
    text = RecordName(outcome) + "\n";
    for (const auto& line : outcome.matched) text += "  " + line + "\n";
  } else {
    text = options_.minimised ? MinimisedLine(outcome) : RecordName(outcome) + "\n";
    if (options_.minimised) text += CoordinatesLine(outcome);
    if (options_.table) text += ComponentTable(outcome, options_.minimised);
    text +=
        InteractionTable(outcome) + HostLine(outcome) + ModesTable(outcome) + HeldLines(outcome);
  }
  ClearStatus();
  std::fputs(text.c_str(), people_);
}

}  // namespace Molpot
