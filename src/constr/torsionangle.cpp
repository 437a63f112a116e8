// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/torsionangle.h"

#include <cmath>
#include <numbers>

#include "constr/dihedral_atoms.h"
#include "qzchem/mol.h"

namespace QZConstr {

namespace {

double Difference(double phi, double phi0) {
  return std::remainder(phi - phi0, 2.0 * std::numbers::pi);
}

}  // namespace

QZTorsionAngleRestraint::QZTorsionAngleRestraint(double k, double phi0) : k_(k), phi0_(phi0) {}

void QZTorsionAngleRestraint::SetTorsion(unsigned int a,
                                         unsigned int b,
                                         unsigned int c,
                                         unsigned int d) {
  atoms_ = {a, b, c, d};
}

bool QZTorsionAngleRestraint::Setup(const QZChem::QZMolBase& mol) {
  if (!Occurs(mol, atoms_, "Torsion to be restrained")) return false;
  numAtoms_ = mol.AtomIndexBound();
  return true;
}

double QZTorsionAngleRestraint::operator()(const double* x) {
  const double d = Difference(CosineAt(x, atoms_).SignedAngle(), phi0_);
  return k_ * d * d;
}

double QZTorsionAngleRestraint::operator()(const double* x, double* grad) {
  const QZMolPotential::DihedralCosine angle = CosineAt(x, atoms_);
  const double d = Difference(angle.SignedAngle(), phi0_);
  if (!angle.IsDegenerate()) {
    AddBlocks(grad, atoms_, 2.0 * k_ * d, angle.AngleGradient());
  }
  return k_ * d * d;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZTorsionAngleRestraint::GetFComponents(
    const double* x) {
  return MakeComponent(*this, "Torsion Angle Restraint", x);
}

}  // namespace QZConstr
