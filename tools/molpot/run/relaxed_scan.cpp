// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/relaxed_scan.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "input/errors.h"
#include "input/internals.h"
#include "output/console.h"
#include "output/format.h"
#include "run/coordinates.h"
#include "run/interrupt.h"
#include "run/minimise.h"

namespace Molpot {

RelaxedScan::RelaxedScan(const Task& task,
                         QZChem::QZGraphMol& mol,
                         const std::vector<Drive>& drives)
    : task_(task),
      mol_(mol),
      drives_(drives),
      energy_(task, mol, mol),
      fixed_(FrozenAtoms(task, mol)) {
  energy_.SetUp(mol_);
  function_ = Present(energy_.Function(), mol_, QZMolPotential::QZCoordinates::Cartesian, fixed_);
  for (const Drive& drive : drives) {
    const std::vector<unsigned int> atoms = drive.Resolve(mol_);
    const auto isFixed = [this](unsigned int atom) {
      return std::ranges::binary_search(fixed_, atom);
    };
    if (std::ranges::all_of(atoms, isFixed)) {
      throw RecordError(std::string("the ") + drive.Name() + " " + drive.AtomsText() +
                        " cannot be scanned: all its atoms are frozen");
    }
    driven_.push_back(HoldInternal(atoms));
    if (!driven_.back()->Setup(mol_)) throw RecordError("the scan cannot be set up");
    inVariables_.emplace_back(*driven_.back(), *function_);
  }
  held_ = task.restraints.BuildConstraints(mol_, mol_);
  for (auto& held : held_) inVariables_.emplace_back(*held.function, *function_);
}

std::vector<QZOpt::QZScanPoint> RelaxedScan::Run() {
  QZOpt::QZOptOptions options = task_.optimizer;
  options.maxSeconds = task_.timeLimit;
  QZOpt::QZRelaxedScan scan(options);
  for (std::size_t k = 0; k < drives_.size(); ++k) {
    std::vector<double> targets = drives_[k].Targets();
    for (double& target : targets) target *= drives_[k].ToLibrary();
    QZMolPotential::QZGeometryConstr& constraint = *driven_[k];
    scan.Drive(
        inVariables_[k], [&constraint](double target) { constraint.SetTarget(target); }, targets);
  }
  for (std::size_t k = 0; k < held_.size(); ++k) {
    scan.AddBounds(inVariables_[drives_.size() + k],
                   -held_[k].halfWidth,
                   held_[k].halfWidth,
                   kConstraintTolerance);
  }
  scan.SetPlace([this](const std::vector<double>&, double* x) { place(x); });
  scan.SetProgress([](const QZOpt::QZScanPoint& point, std::size_t run, std::size_t runs) {
    if (IsStatusDue(0.1)) {
      ShowStatus(Format("run %zu of %zu, %.4f kcal/mol", run, runs, point.energy));
    }
    return !IsInterrupted();
  });
  std::vector<double> start(std::size_t{3} * mol_.AtomIndexBound());
  mol_.GetCoords(start.data());
  const double* x = function_->GetVar(start.data());
  std::vector<QZOpt::QZScanPoint> points =
      scan.Run(*function_, std::vector<double>(x, x + function_->NumVar()).data());
  ClearStatus();
  for (QZOpt::QZScanPoint& point : points) name(point);
  return points;
}

std::vector<double> RelaxedScan::Coords(const QZOpt::QZScanPoint& point) const {
  std::vector<double> coords(function_->NumCoords());
  function_->AdaptVar(coords.data(), point.x.data());
  return coords;
}

double RelaxedScan::Reached(std::size_t drive, const QZOpt::QZScanPoint& point) const {
  if (point.x.empty()) return std::numeric_limits<double>::quiet_NaN();
  QZMolPotential::QZGeometryConstr& constraint = *driven_[drive];
  const double value =
      (constraint(Coords(point).data()) + constraint.GetTarget()) / drives_[drive].ToLibrary();
  return drives_[drive].IsTorsion() ? std::remainder(value, 360.0) : value;
}

// Puts names and where they are in place of the numbers of constraints that are not met.
void RelaxedScan::name(QZOpt::QZScanPoint& point) {
  const std::size_t at = point.message.find("; constraint ");
  if (point.converged || at == std::string::npos) return;
  point.message.resize(at);
  for (std::size_t k = 0; k < drives_.size(); ++k) {
    point.message += Format("; %s %s is at %.3f%s",
                            drives_[k].Name(),
                            drives_[k].AtomsText().c_str(),
                            Reached(k, point),
                            drives_[k].Unit());
  }
  if (point.x.empty()) return;
  mol_.SetCoords(Coords(point).data());
  for (const HeldConstraint& held : held_) {
    const double beyond = held.Beyond(held.measure(mol_));
    if (beyond < HeldReport::kNegligible) continue;
    point.message +=
        "; " + held.origin.Label() + Format(" is missed by %.3f %s", beyond, held.unit.c_str());
  }
}

// Turns and shifts whole sides of the molecule; in rings, and where frozen atoms would move, the
// constraints pull instead.
void RelaxedScan::place(double* x) {
  std::vector<double> before(function_->NumCoords());
  if (!function_->AdaptVar(before.data(), x)) return;
  mol_.SetCoords(before.data());
  for (const auto& constraint : driven_) constraint->Place(mol_);
  std::vector<double> after(before.size());
  mol_.GetCoords(after.data());
  const bool movesFixed = std::ranges::any_of(fixed_, [&](unsigned int atom) {
    const auto at = static_cast<std::ptrdiff_t>(3 * std::size_t{atom});
    return !std::equal(before.begin() + at, before.begin() + at + 3, after.begin() + at);
  });
  if (movesFixed) return;
  // The variables are the coordinates of the atoms that are not fixed, by index.
  for (const auto& atom : QZSystem::QZRange(mol_.GetAtoms())) {
    if (std::ranges::binary_search(fixed_, atom.GetIndex())) continue;
    x = std::copy_n(&after[3 * std::size_t{atom.GetIndex()}], 3, x);
  }
}

}  // namespace Molpot
