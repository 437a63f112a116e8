// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

namespace Molpot {

namespace {

[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...) {
  char text[512];
  std::va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  return text;
}

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

}  // namespace

std::string JsonLine(const Outcome& outcome, bool minimised) {
  nlohmann::ordered_json json;
  json["record"] = outcome.record;
  json["title"] = outcome.title;
  if (!outcome.error.empty()) {
    json["error"] = outcome.error;
  } else {
    if (minimised) json["initial_energy"] = outcome.initialEnergy;
    json["energy"] = outcome.energy;
    json["components"] = nlohmann::ordered_json::array();
    for (const Component& component : outcome.components) {
      json["components"].push_back({{"name", component.name}, {"energy", component.energy}});
    }
    for (const Interaction& term : outcome.interactions) {
      json["interactions"].push_back(
          {{"name", term.name}, {"atoms", term.atoms}, {"energy", term.energy}});
    }
    if (minimised) {
      json["gradient_norm"] = outcome.optimizer.gradientNorm;
      json["iterations"] = outcome.optimizer.iterations;
      json["evaluations"] = outcome.optimizer.evaluations;
      json["converged"] = outcome.optimizer.converged;
    }
    for (const HeldReport& held : outcome.held) {
      json["restraints"].push_back({{"option", held.option},
                                    {"what", held.what},
                                    {"reached", held.reached},
                                    {"unit", held.unit},
                                    {"energy", held.energy}});
    }
  }
  // Titles come from files and need not be UTF-8.
  return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string RecordName(const Outcome& outcome) {
  std::string name = "record " + std::to_string(outcome.record);
  if (!outcome.title.empty()) name += " (" + outcome.title + ")";
  return name;
}

std::string MinimisedLine(const Outcome& outcome) {
  return RecordName(outcome) +
         Format(": %.4f -> %.4f kcal/mol, %u iterations, %u evaluations, RMS gradient %.1e, %.2f s",
                outcome.initialEnergy,
                outcome.energy,
                outcome.optimizer.iterations,
                outcome.optimizer.evaluations,
                outcome.optimizer.gradientNorm,
                outcome.seconds) +
         (outcome.optimizer.converged ? "" : "; not converged: " + outcome.optimizer.message) +
         "\n";
}

std::string ComponentTable(const Outcome& outcome, bool minimised) {
  std::string text = minimised ? Format("  %-24s %14s %14s\n", "kcal/mol", "before", "after")
                               : Format("  %-24s %14s\n", "kcal/mol", "energy");
  const auto row = [&](const std::string& name, double before, double after) {
    text += minimised ? Format("  %-24s %14.4f %14.4f\n", name.c_str(), before, after)
                      : Format("  %-24s %14.4f\n", name.c_str(), after);
  };
  for (std::size_t k = 0; k < outcome.components.size(); ++k) {
    row(outcome.components[k].name,
        outcome.initialComponents[k].energy,
        outcome.components[k].energy);
  }
  row("Total", outcome.initialEnergy, outcome.energy);
  return text;
}

std::string InteractionTable(const Outcome& outcome) {
  std::string text;
  if (!outcome.interactions.empty()) {
    text = Format("  %-15s %-27s %10s\n", "highest", "atoms", "kcal/mol");
  }
  for (const Interaction& term : outcome.interactions) {
    std::string atoms;
    for (const unsigned int number : term.atoms) {
      const unsigned int element = outcome.mol.GetAtom(number - 1)->GetAtomicNumber();
      atoms += QZChem::QZGetAtomicSymbol(element) + std::to_string(number) + " ";
    }
    text += Format("  %-15s %-27s %10.4f\n", term.name.c_str(), atoms.c_str(), term.energy);
  }
  return text;
}

std::string HeldLines(const Outcome& outcome) {
  std::string text;
  for (const HeldReport& held : outcome.held) {
    text += "  " + held.option + ", " + held.what +
            Format(": %.4f %s, %.4f kcal/mol\n", held.reached, held.unit.c_str(), held.energy);
  }
  return text;
}

void Summary::Add(const Outcome& outcome) {
  ++done_;
  if (!outcome.error.empty()) {
    ++failed_;
    ++reasons_[outcome.error];
    return;
  }
  iterations_ += outcome.optimizer.iterations;
  energyChange_ += outcome.energy - outcome.initialEnergy;
  if (!outcome.optimizer.converged) ++unconverged_;
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
  return text;
}

Progress::Progress(const std::string& input) : enabled_(isatty(STDERR_FILENO) != 0) {
  // A compressed file's records are longer than the file.
  std::error_code none;
  if (!std::filesystem::is_regular_file(input, none) || input.ends_with(".gz")) return;
  const auto bytes = std::filesystem::file_size(input, none);
  if (!none) total_ = static_cast<double>(bytes);
}

void Progress::Show(const Outcome& outcome, const Summary& summary) {
  done_ += static_cast<double>(outcome.raw.size());
  if (!enabled_) return;
  const auto now = std::chrono::steady_clock::now();
  if (shown_ && now - last_ < std::chrono::milliseconds(100)) return;
  last_ = now;
  shown_ = true;
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
  std::fprintf(stderr, "\r\033[K%s", text.c_str());
  std::fflush(stderr);
}

void Progress::Clear() {
  if (!shown_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  shown_ = false;
}

}  // namespace Molpot
