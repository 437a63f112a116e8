// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "output/tables.h"

#include "output/format.h"

namespace Molpot {

std::string RecordName(const Outcome& outcome) {
  std::string name = "record " + std::to_string(outcome.record);
  if (!outcome.title.empty()) name += " (" + outcome.title + ")";
  if (outcome.conformer > 0) name += ", conformer " + std::to_string(outcome.conformer);
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
         (outcome.IsUnconverged() ? "; not converged: " + outcome.reason : "") + "\n";
}

std::string CoordinatesLine(const Outcome& outcome) {
  std::string text;
  const auto add = [&text](unsigned int count, const char* what) {
    if (count > 0) text += Format("%s%u %s", text.empty() ? "" : ", ", count, what);
  };
  const auto& routes = outcome.backTransformations;
  add(outcome.optimizer.revisions, "changes of variables on the way");
  add(outcome.optimizer.restarts, "restarts");
  add(routes.geodesic, "geometries found along the path only");
  add(routes.cartesian, "by one linear step");
  add(routes.held, "not at all");
  if (outcome.optimizer.fellBack)
    text += (text.empty() ? "" : ", ") + std::string("went on in cartesian");
  return text.empty() ? text : "  " + outcome.coordinates + " coordinates: " + text + "\n";
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

std::string HostLine(const Outcome& outcome) {
  if (!outcome.interactionEnergy.has_value()) return {};
  std::string text =
      Format("  interaction with the host %.4f kcal/mol", *outcome.interactionEnergy);
  if (outcome.strainEnergy.has_value()) text += Format(", strain %.4f", *outcome.strainEnergy);
  return text + "\n";
}

std::string ModesTable(const Outcome& outcome) {
  const QZMolPotential::QZNormalModes& modes = outcome.modes;
  if (!modes.valid) return {};
  std::string text = Format("  %zu modes, %u imaginary; frequencies in 1/cm:",
                            modes.frequencies.size(),
                            modes.numImaginary);
  for (std::size_t k = 0; k < modes.frequencies.size(); ++k) {
    text += (k % 8 == 0 ? "\n  " : "") + Format("%10.2f", modes.frequencies[k]);
  }
  return text + Format(
                    "\n  zero-point energy %.4f kcal/mol, entropy %.6f kcal/mol/K, free energy "
                    "%.4f kcal/mol\n",
                    modes.zeroPointEnergy,
                    modes.entropy,
                    modes.freeEnergy);
}

std::string HeldLines(const Outcome& outcome) {
  std::string text;
  for (const HeldReport& held : outcome.held) {
    text += "  " + held.origin.option + ", " + held.what +
            Format(": %.4f %s", held.reached, held.unit.c_str()) +
            (held.IsViolated() ? Format(" (off by %.4f)", held.beyond) : "") +
            Format(", %.4f kcal/mol\n", held.energy);
  }
  return text;
}

}  // namespace Molpot
