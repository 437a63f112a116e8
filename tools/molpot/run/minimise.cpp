// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/minimise.h"

#include <cmath>
#include <memory>

#include "input/errors.h"
#include "run/watch.h"

namespace Molpot {

using QZChem::QZMolBase;

namespace {

Coordinates ChosenCoordinates(const Task& task) {
  if (task.coordinates.has_value()) return *task.coordinates;
  return task.freeze.has_value() ? Coordinates::Subset : Coordinates::Cartesian;
}

// Redundant variables drift from what their geometry has, until no step helps any more; starting
// again from the geometry reached makes them consistent. Elsewhere a second start gains nothing,
// and ends the run.
QZOpt::QZOptResult MinimiseWithRestarts(const QZOpt::QZOptOptions& options,
                                        Variables& variables,
                                        std::vector<double>& x,
                                        Watch& watch) {
  constexpr double kWorthwhile = 1e-6;  // kcal/mol
  const auto minimise = [&](const QZOpt::QZOptOptions& chosen) {
    QZOpt::QZMinimizer minimizer(chosen);
    minimizer.SetScales(variables.Scales());
    return minimizer.Minimize(variables.Function(), x.data(), &watch);
  };
  QZOpt::QZOptResult total = minimise(options);
  while (variables.StartMatters() && !total.converged && watch.Reason().empty() &&
         total.iterations < options.maxIterations && std::isfinite(total.energy)) {
    QZOpt::QZOptOptions rest = options;
    rest.maxIterations = options.maxIterations - total.iterations;
    x = variables.Start(variables.Cartesian(x.data()));
    const double before = total.energy;
    watch.ContinueFrom(total.iterations);
    QZOpt::QZOptResult more = minimise(rest);
    more.iterations += total.iterations;
    more.evaluations += total.evaluations;
    total = more;
    if (!(before - total.energy > kWorthwhile)) break;
  }
  return total;
}

}  // namespace

const std::map<std::string, QZOpt::QZOptMethod>& MethodNames() {
  static const std::map<std::string, QZOpt::QZOptMethod> names = {
      {"auto", QZOpt::QZOptMethod::Auto},
      {"quasi-newton", QZOpt::QZOptMethod::QuasiNewton},
      {"newton", QZOpt::QZOptMethod::Newton},
  };
  return names;
}

std::vector<unsigned int> FrozenAtoms(const Task& task, const QZMolBase& mol) {
  if (!task.freeze.has_value()) return {};
  std::vector<unsigned int> atoms = task.freeze->Atoms(mol);
  if (atoms.empty()) {
    throw RecordError("--freeze: \"" + task.freeze->Text() + "\" matches nothing");
  }
  return atoms;
}

void Minimise(const Task& task, Energy& energy, Outcome& outcome) {
  QZChem::QZGraphMol& mol = outcome.mol;
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  const std::vector<unsigned int> frozen = FrozenAtoms(task, mol);
  const auto variables = MakeVariables(ChosenCoordinates(task), energy.Function(), mol, frozen);
  if (!energy.Function().SetupConf(coords.data())) {
    throw RecordError("the energy function refuses the starting coordinates");
  }
  std::vector<double> x = variables->Start(coords);
  outcome.coordinates = CoordinateName(ChosenCoordinates(task));
  outcome.numVariables = static_cast<unsigned int>(x.size());

  Watch watch(task, outcome, *variables);
  std::vector<HeldConstraint> constraints = task.restraints.BuildConstraints(mol);
  if (constraints.empty()) {
    outcome.optimizer = MinimiseWithRestarts(task.optimizer, *variables, x, watch);
  } else {
    QZOpt::QZConstrainedMinimizer minimizer(task.optimizer);
    for (auto& constraint : constraints) minimizer.AddConstraint(*constraint.function);
    outcome.optimizer = minimizer.Minimize(variables->Function(), x.data(), &watch);
  }
  outcome.trajectory = watch.Trajectory();
  outcome.reason = outcome.optimizer.converged || watch.Reason().empty() ? outcome.optimizer.message
                                                                         : watch.Reason();

  // Selections that left out constant terms are taken back, so that energies are of everything.
  const std::vector<double> final = variables->Cartesian(x.data());
  if (!frozen.empty()) {
    if (!energy.Unrestrict(mol)) throw RecordError("the energy function cannot be set up");
  }
  outcome.components = energy.Components(final.data());
  for (const auto& held : energy.Held()) {
    HeldReport report{held.option, held.what, held.unit, 0.0, (*held.function)(final.data())};
    outcome.held.push_back(report);
  }
  mol.SetCoords(final.data());
  std::size_t k = 0;
  for (const auto& held : energy.Held()) outcome.held[k++].reached = held.measure(mol);
  for (const auto& held : constraints) {
    outcome.held.push_back({held.option, held.what, held.unit, held.measure(mol), 0.0});
  }
}

}  // namespace Molpot
