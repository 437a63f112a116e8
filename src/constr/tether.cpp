// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/tether.h"

#include <algorithm>
#include <cmath>

#include "constr/atoms.h"
#include "constr/radial.h"
#include "kernels/sinks.h"
#include "qzchem/mol.h"

namespace QZConstr {

using QZMolPotential::AddToAtom;
using QZMolPotential::LoadAtom;

void QZTetherRestraint::AddTarget(unsigned int index, double x, double y, double z) {
  targets_.push_back({index, {x, y, z}});
}

bool QZTetherRestraint::SetOnset(double onset) {
  if (!std::isfinite(onset) || onset < 0.0) return false;
  onset_ = onset;
  return true;
}

bool QZTetherRestraint::Setup(const QZChem::QZMolBase& mol) {
  numVar_ = 0;
  for (const Target& target : targets_) {
    if (!Occurs(mol, std::array{target.atom}, "Atom to be tethered")) return false;
  }
  numVar_ = 3 * mol.AtomIndexBound();
  return true;
}

double QZTetherRestraint::evaluate(const double* x, double* grad, double* hessian) const {
  double energy = 0.0;
  QZMolPotential::PackedSink sink(hessian);
  for (const Target& target : targets_) {
    const RadialWall wall(
        LoadAtom(x, target.atom) - LoadAtom(target.point.data(), 0), k_, width_, onset_);
    energy += wall.law.value;
    if (grad != nullptr) AddToAtom(grad, target.atom, wall.Slope());
    if (hessian != nullptr) sink.Diagonal(target.atom, wall.Curvature());
  }
  return energy;
}

bool QZTetherRestraint::operator()(const double* x, double* hessian, double* grad) {
  evaluate(x, grad, hessian);
  return true;
}

bool QZTetherRestraint::AppendModelHessian(const double* x,
                                           std::vector<QZOpt::QZMatrixEntry>& entries) {
  QZMolPotential::EntrySink<QZOpt::QZMatrixEntry> sink(entries);
  for (const Target& target : targets_) {
    const RadialWall wall(LoadAtom(x, target.atom) - LoadAtom(target.point.data(), 0),
                          std::max(k_, 0.0),
                          width_,
                          onset_);
    sink.Diagonal(target.atom, wall.Curvature());
  }
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZTetherRestraint::GetFComponents(const double* x) {
  return MakeComponent(*this, "Tether Restraint", x);
}

}  // namespace QZConstr
