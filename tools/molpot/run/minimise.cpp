// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/minimise.h"

#include <deque>
#include <memory>

#include "input/errors.h"
#include "run/coordinates.h"
#include "run/watch.h"

namespace Molpot {

using QZChem::QZMolBase;

const std::map<std::string, QZOpt::QZOptMethod>& MethodNames() {
  static const std::map<std::string, QZOpt::QZOptMethod> names = {
      {"auto", QZOpt::QZOptMethod::Auto},
      {"quasi-newton", QZOpt::QZOptMethod::QuasiNewton},
      {"newton", QZOpt::QZOptMethod::Newton},
  };
  return names;
}

std::vector<unsigned int> FrozenAtoms(const Task& task, const QZMolBase& mol) {
  std::vector<bool> held(mol.AtomIndexBound(), task.move.has_value());
  if (task.move.has_value()) {
    for (const unsigned int index : task.move->Atoms(mol)) held[index] = false;
  }
  if (task.freeze.has_value()) {
    for (const unsigned int index : task.freeze->Atoms(mol)) held[index] = true;
  }
  std::vector<unsigned int> atoms;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if (held[atom.GetIndex()]) atoms.push_back(atom.GetIndex());
  }
  return atoms;
}

namespace {

void ReportHeld(Energy& energy,
                const std::vector<HeldConstraint>& constraints,
                const std::vector<double>& coords,
                Outcome& outcome) {
  for (const auto& held : energy.Held()) {
    const double value = (*held.function)(coords.data());
    outcome.held.push_back({held.option, held.what, held.unit, held.measure(outcome.mol), value});
  }
  for (const auto& held : constraints) {
    outcome.held.push_back({held.option, held.what, held.unit, held.measure(outcome.mol), 0.0});
  }
}

}  // namespace

void Minimise(const Task& task, Energy& energy, Outcome& outcome) {
  QZChem::QZGraphMol& mol = outcome.mol;
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  const auto kind = task.coordinates.value_or(QZMolPotential::QZCoordinates::Cartesian);
  const std::vector<unsigned int> fixed = FrozenAtoms(task, outcome.Named());
  const auto function = Present(energy.Function(), mol, kind, fixed);
  std::vector<HeldConstraint> constraints = task.restraints.BuildConstraints(outcome.Named(), mol);
  const double* start = function->GetVar(coords.data());
  std::vector<double> x(start, start + function->NumVar());
  outcome.coordinates = QZMolPotential::QZGetCoordinatesName(kind);
  outcome.numVariables = function->NumVar();
  {
    Watch watch(task, outcome, *function);
    if (constraints.empty()) {
      QZOpt::QZMinimizer minimizer(task.optimizer);
      minimizer.SetScales(function->GetScales());
      outcome.optimizer = minimizer.Minimize(*function, x.data(), &watch);
    } else {
      QZOpt::QZConstrainedMinimizer minimizer(task.optimizer);
      minimizer.SetScales(function->GetScales());
      std::deque<QZMolPotential::QZCoordinateConstr> inVariables;
      for (auto& constraint : constraints) {
        minimizer.AddConstraint(inVariables.emplace_back(*constraint.function, *function));
      }
      outcome.optimizer = minimizer.Minimize(*function, x.data(), &watch);
    }
    outcome.trajectory = watch.Trajectory();
    outcome.reason = outcome.optimizer.converged || watch.Reason().empty()
                         ? outcome.optimizer.message
                         : watch.Reason();
  }
  if (!function->AdaptVar(coords.data(), x.data())) {
    throw RecordError("the minimiser's result has no finite geometry");
  }
  mol.SetCoords(coords.data());
  outcome.components = energy.Components(coords.data());
  ReportHeld(energy, constraints, coords, outcome);
}

}  // namespace Molpot
