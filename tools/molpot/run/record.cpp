// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/record.h"

#include <chrono>
#include <cmath>

#include "input/errors.h"
#include "input/records.h"
#include "output/format.h"
#include "run/messages.h"
#include "run/minimise.h"

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
  const std::vector<unsigned int> frozen = FrozenAtoms(task, outcome.mol);
  if (task.freeze.has_value()) {
    std::string line = "--freeze \"" + task.freeze->Text() + "\": atoms";
    for (const unsigned int index : frozen) line += " " + std::to_string(index + 1);
    outcome.matched.push_back(line);
  }
  for (const auto& held : task.restraints.Build(outcome.mol)) {
    outcome.matched.push_back(held.option + ": " + held.what);
  }
  for (const auto& held : task.restraints.BuildConstraints(outcome.mol)) {
    outcome.matched.push_back(held.option + ": " + held.what);
  }
}

void Annotate(const Task& task, Outcome& outcome) {
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

void RunGood(const Task& task, Outcome& outcome) {
  Prepare(task, outcome.mol);
  outcome.numAtoms = outcome.mol.NumAtoms();
  if (task.dryRun) {
    ListMatches(task, outcome);
    return;
  }
  Energy energy(task, outcome.mol);
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
  if (task.minimise) Annotate(task, outcome);
}

}  // namespace

void Run(const Task& task, Outcome& outcome) {
  outcome.begun = std::chrono::steady_clock::now();
  const MessageCollector collector(outcome.warnings);
  if (outcome.error.empty()) {
    outcome.title = outcome.mol.GetTitle();
    try {
      RunGood(task, outcome);
    } catch (const RecordError& error) {
      outcome.error = error.what();
    } catch (const std::bad_alloc&) {
      outcome.error = "out of memory";
    } catch (const std::exception& error) {
      outcome.error = std::string("unexpected: ") + error.what();
    }
  }
  outcome.seconds = outcome.Age();
}

}  // namespace Molpot
