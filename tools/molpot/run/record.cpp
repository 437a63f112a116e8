// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/record.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <set>

#include "input/errors.h"
#include "input/records.h"
#include "output/format.h"
#include "run/in_host.h"
#include "run/interrupt.h"
#include "run/messages.h"
#include "run/minimise.h"
#include "run/vibrations.h"

namespace Molpot {

using QZChem::QZMolBase;

namespace {

double RootMeanSquare(const std::vector<double>& v) {
  double sum = 0.0;
  for (const double value : v) sum += value * value;
  return v.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(v.size()));
}

double Sum(const std::vector<Component>& components) {
  double sum = 0.0;
  for (const Component& component : components) sum += component.energy;
  return sum;
}

void ListMatches(const Task& task, Outcome& outcome) {
  const auto list = [&outcome](
                        const char* option, const AtomSelection& selection, const QZMolBase& mol) {
    outcome.matched.push_back(std::string(option) + " \"" + selection.Text() +
                              "\": " + AtomRanges(selection.Atoms(mol)));
  };
  if (task.freeze.has_value()) list("--freeze", *task.freeze, outcome.mol);
  if (task.move.has_value()) list("--move", *task.move, outcome.mol);
  if (task.hostFlexible.has_value()) {
    list("--host-flexible", *task.hostFlexible, *task.host->GetHost());
  }
  std::set<std::string> matched;
  const auto listHeld = [&](const Held& held) {
    matched.insert(held.origin.Label());
    outcome.matched.push_back(held.origin.Label() + ": " + held.what);
  };
  for (const auto& held : task.restraints.Build(outcome.mol, outcome.mol)) listHeld(held);
  for (const auto& held : task.restraints.BuildConstraints(outcome.mol, outcome.mol)) {
    listHeld(held);
  }
  for (const Origin& origin : task.restraints.Origins()) {
    if (!matched.contains(origin.Label())) {
      outcome.matched.push_back(origin.Label() + ": matches nothing");
    }
  }
}

void Annotate(const Task& task, Outcome& outcome) {
  if (!outcome.partialCharges.empty()) {
    std::string charges;
    for (const double charge : outcome.partialCharges) charges += Format("%.5f ", charge);
    charges.pop_back();
    QZChem::QZSetSDData(outcome.mol, "molpotential.partial_charges", charges);
    for (auto& atom : QZSystem::QZRange(outcome.mol.GetAtoms())) {
      QZChem::QZSetPartialCharge(atom, outcome.partialCharges[atom.GetIndex()]);
    }
  }
  const auto setEnergy = [&outcome](const char* tag, const std::optional<double>& energy) {
    if (energy.has_value()) QZChem::QZSetSDData(outcome.mol, tag, FullDigits(*energy));
  };
  setEnergy("molpotential.interaction_energy", outcome.interactionEnergy);
  setEnergy("molpotential.strain_energy", outcome.strainEnergy);
  if (!task.minimise) return;
  const char* converged = outcome.optimizer.converged ? "yes" : "no";
  outcome.mol.SetEnergy(outcome.energy);
  const auto set = [&outcome](const char* tag, const std::string& value) {
    QZChem::QZSetSDData(outcome.mol, tag, value);
  };
  set("Energy (kcal/mol)", FullDigits(outcome.energy));
  set("Force field", task.forceField);
  set("Gradient RMS", Format("%.3e", outcome.optimizer.gradientNorm));
  set("Converged", converged);
  set("molpotential.converged", converged);
  set("molpotential.energy", FullDigits(outcome.energy));
  set("molpotential.gradient", FullDigits(outcome.optimizer.gradientNorm));
  set("molpotential.iterations", std::to_string(outcome.optimizer.iterations));
  set("molpotential.reason", outcome.reason);
}

// Runs a molecule that is ready for the force field.
void RunPrepared(const Task& task, Outcome& outcome) {
  outcome.numAtoms = outcome.mol.NumAtoms();
  JoinHost(task, outcome);
  Energy energy(task, outcome.Named(), outcome.mol);
  energy.SetUp(outcome.mol);
  std::vector<double> coords(std::size_t{3} * outcome.mol.AtomIndexBound());
  outcome.mol.GetCoords(coords.data());
  outcome.initialComponents = energy.Components(coords.data());
  outcome.initialEnergy = Sum(outcome.initialComponents);
  if (!std::isfinite(outcome.initialEnergy)) throw RecordError("the starting energy is not finite");
  if (task.minimise) {
    Minimise(task, energy, outcome);
  } else {
    outcome.components = outcome.initialComponents;
    std::vector<double> gradient(coords.size(), 0.0);
    energy.Function()(coords.data(), gradient.data());
    outcome.optimizer.gradientNorm = RootMeanSquare(gradient);
    if (task.numInteractions > 0) {
      outcome.interactions = energy.Highest(outcome.mol, coords.data(), task.numInteractions);
    }
  }
  outcome.energy = Sum(outcome.components);
  if (!std::isfinite(outcome.energy)) throw RecordError(outcome.optimizer.message);
  if (task.normalModes) AnalyseModes(task, energy, outcome);
  if (task.partialCharges) outcome.partialCharges = energy.PartialCharges();
  LeaveHost(task, energy, outcome);
  Annotate(task, outcome);
}

// Calls `work`; what it throws becomes the outcome's error.
template <class Work>
void Guard(Outcome& outcome, Work work) {
  try {
    work();
  } catch (const RecordError& error) {
    outcome.error = error.what();
  } catch (const std::bad_alloc&) {
    outcome.error = "out of memory";
  } catch (const std::exception& error) {
    outcome.error = std::string("unexpected: ") + error.what();
  }
  outcome.seconds = outcome.Age();
}

std::vector<std::vector<double>> MakeConformers(const Task& task, const Outcome& record) {
  QZChem::QZConformerOptions options;
  options.count = task.numConformers;
  options.rmsThreshold = task.conformerRms;
  std::vector<std::vector<double>> conformers;
  std::vector<std::string> messages;
  const MessageCollector collector(messages);
  if (!QZChem::QZMakeConformers(record.mol, options, conformers)) {
    std::string error = "no conformer can be made";
    for (const auto& text : messages) error += "; " + text;
    throw RecordError(error);
  }
  return conformers;
}

// One outcome a conformer, lowest energy first, failures last.
std::vector<Outcome> RunConformers(const Task& task, const Outcome& record) {
  std::vector<Outcome> outcomes;
  for (const auto& coords : MakeConformers(task, record)) {
    if (IsInterrupted() && !outcomes.empty()) break;
    Outcome& one = outcomes.emplace_back(record);
    one.begun = std::chrono::steady_clock::now();
    one.mol.SetCoords(coords.data());
    Guard(one, [&] { RunPrepared(task, one); });
  }
  std::ranges::stable_sort(outcomes, [](const Outcome& a, const Outcome& b) {
    if (a.error.empty() != b.error.empty()) return a.error.empty();
    return a.error.empty() && a.energy < b.energy;
  });
  for (std::size_t k = 0; k < outcomes.size(); ++k) {
    outcomes[k].conformer = static_cast<unsigned int>(k + 1);
    QZChem::QZSetSDData(outcomes[k].mol, "molpotential.conformer", std::to_string(k + 1));
  }
  return outcomes;
}

}  // namespace

std::vector<Outcome> Run(const Task& task, Outcome record) {
  record.begun = std::chrono::steady_clock::now();
  const MessageCollector collector(record.warnings);
  std::vector<Outcome> conformers;
  if (record.error.empty()) {
    Guard(record, [&] {
      Prepare(task, record.mol);
      if (task.dryRun) {
        ListMatches(task, record);
      } else if (task.numConformers > 0) {
        conformers = RunConformers(task, record);
      } else {
        RunPrepared(task, record);
      }
    });
  }
  if (!conformers.empty()) return conformers;
  return {std::move(record)};
}

}  // namespace Molpot
