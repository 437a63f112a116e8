// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/minimise.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>
#include <numbers>

#include "input/errors.h"
#include "output/format.h"
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
  const auto report = [&outcome](const Held& held, double value) {
    const double reached = held.measure(outcome.mol);
    outcome.held.push_back(
        {held.origin, held.who, held.what, held.unit, reached, value, held.Beyond(reached)});
  };
  for (const auto& held : energy.Held()) report(held, (*held.function)(coords.data()));
  for (const auto& held : constraints) report(held, 0.0);
}

// The constraint that is missed most at a geometry, by its option; "" when all are met.
std::string MissedConstraint(const std::vector<HeldConstraint>& constraints, const QZMolBase& mol) {
  double most = 1.0;  // in tolerances
  std::string text;
  for (const HeldConstraint& held : constraints) {
    const double beyond = held.Beyond(held.measure(mol));
    const double tolerance =
        held.unit == "Å" ? kConstraintTolerance : kConstraintTolerance * 180.0 / std::numbers::pi;
    if (!(beyond > most * tolerance)) continue;
    most = beyond / tolerance;
    text = held.origin.Label() + " (" + held.what + ") is missed by " +
           Format("%.3g %s", beyond, held.unit.c_str());
  }
  return text;
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
    QZOpt::QZOptOptions options = task.optimizer;
    if (task.timeLimit > 0.0) options.maxSeconds = std::max(task.timeLimit - outcome.Age(), 1e-6);
    if (constraints.empty()) {
      QZOpt::QZMinimizer minimizer(options);
      minimizer.SetScales(function->GetScales());
      outcome.optimizer = minimizer.Minimize(*function, x.data(), &watch);
    } else {
      QZOpt::QZConstrainedMinimizer minimizer(options);
      minimizer.SetScales(function->GetScales());
      std::deque<QZMolPotential::QZCoordinateConstr> inVariables;
      for (auto& constraint : constraints) {
        minimizer.AddBounds(inVariables.emplace_back(*constraint.function, *function),
                            -constraint.halfWidth,
                            constraint.halfWidth,
                            kConstraintTolerance);
      }
      outcome.optimizer = minimizer.Minimize(*function, x.data(), &watch);
    }
    outcome.trajectory = watch.Trajectory();
    outcome.reason = outcome.optimizer.converged || watch.Reason().empty()
                         ? outcome.optimizer.message
                         : watch.Reason();
    const bool isLate = task.timeLimit > 0.0 && outcome.Age() > task.timeLimit;
    if (isLate && !outcome.optimizer.converged) {
      outcome.reason = Format("the time limit of %g s was reached", task.timeLimit);
    }
  }
  if (!function->AdaptVar(coords.data(), x.data())) {
    throw RecordError("the minimiser's result has no finite geometry");
  }
  mol.SetCoords(coords.data());
  if (!outcome.optimizer.converged && !constraints.empty()) {
    // In place of the minimiser's own word on it, which numbers the constraints.
    const std::string missed = MissedConstraint(constraints, mol);
    outcome.reason = missed + (missed.empty() ? "" : "; ") +
                     outcome.reason.substr(0, outcome.reason.find("; constraint "));
  }
  outcome.backTransformations = function->GetBackTransformations();
  outcome.components = energy.Components(coords.data());
  ReportHeld(energy, constraints, coords, outcome);
}

}  // namespace Molpot
