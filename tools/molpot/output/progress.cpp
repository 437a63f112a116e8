// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "output/progress.h"

#include <algorithm>
#include <filesystem>

#include "output/console.h"
#include "output/format.h"
#include "output/tables.h"

namespace Molpot {

namespace {

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

}  // namespace

void Summary::Add(const Outcome& outcome) {
  ++done_;
  if (!outcome.error.empty()) {
    ++failed_;
    ++reasons_[outcome.error];
    return;
  }
  iterations_ += outcome.optimizer.iterations;
  energyChange_ += outcome.energy - outcome.initialEnergy;
  if (outcome.IsUnconverged()) ++unconverged_;
  for (const HeldReport& held : outcome.held) count(outcome, held);
}

void Summary::count(const Outcome& outcome, const HeldReport& held) {
  if (!held.IsViolated()) return;
  const std::string label = held.origin.Label();
  auto entry = std::ranges::find(violations_, label, &Entry::first);
  if (entry == violations_.end()) entry = violations_.emplace(entry, label, Violation());
  Violation& violation = entry->second;
  if (violation.last != done_) ++violation.records;
  violation.last = done_;
  if (held.beyond <= violation.most) return;
  violation.most = held.beyond;
  violation.where = Format("%.4f %s", held.beyond, held.PlainUnit().c_str()) + " (" +
                    RecordName(outcome) + (held.who.empty() ? "" : ", " + held.who) + ")";
}

std::string Summary::Text(bool minimised) const {
  std::string text = Format("%u records, %u failed", done_, failed_);
  if (minimised) {
    text += Format(", %u not converged, %lu iterations, energy change %.4f kcal/mol",
                   unconverged_,
                   iterations_,
                   energyChange_);
  }
  text += Format(", %.2f s\n", Seconds(start_));
  for (const auto& [reason, count] : reasons_) text += Format("  %u x ", count) + reason + "\n";
  if (!violations_.empty()) text += "off their targets or bounds:\n";
  for (const auto& [label, violation] : violations_) {
    text += "  " + label + Format(": %u records, at most by ", violation.records) +
            violation.where + "\n";
  }
  return text;
}

Progress::Progress(const std::string& input) {
  // A compressed file's records are longer than the file.
  std::error_code none;
  if (!std::filesystem::is_regular_file(input, none) || input.ends_with(".gz")) return;
  const auto bytes = std::filesystem::file_size(input, none);
  if (!none) total_ = static_cast<double>(bytes);
}

void Progress::Show(const Outcome& outcome, const Summary& summary) {
  done_ += static_cast<double>(outcome.raw.size());
  if (!IsStatusDue(0.1)) return;
  const double seconds = std::max(Seconds(start_), 1e-3);
  std::string text = Format(
      "%u records, %u failed, %.1f/s", summary.Done(), summary.Failed(), summary.Done() / seconds);
  if (total_ > 0.0 && done_ > 0.0) {
    constexpr double kWidth = 30.0;
    const double fraction = std::min(done_ / total_, 1.0);
    std::string bar(static_cast<std::size_t>(kWidth), '.');
    std::fill_n(bar.begin(), static_cast<int>(kWidth * fraction), '=');
    text = Format("[%s] %3.0f %%, ", bar.c_str(), 100.0 * fraction) + text +
           Format(", %.0f s left", seconds * (1.0 - fraction) / fraction);
  }
  ShowStatus(text);
}

}  // namespace Molpot
