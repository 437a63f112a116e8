// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/torsionangle.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "math/dihedral_angle.h"
#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZConstr {

using QZMolPotential::AddToAtom;
using QZMolPotential::DihedralAngle;
using QZMolPotential::LoadAtom;

namespace {

// Below this |N|²|M|² (Å⁸) three of the atoms are in line, and the gradient would overflow.
constexpr double kInLine = 1e-40;

DihedralAngle AngleAt(const double* x, const std::array<unsigned int, 4>& atoms) {
  return {
      LoadAtom(x, atoms[0]), LoadAtom(x, atoms[1]), LoadAtom(x, atoms[2]), LoadAtom(x, atoms[3])};
}

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
  const bool present = std::ranges::all_of(
      atoms_, [&mol](unsigned int index) { return mol.GetAtom(index) != nullptr; });
  if (!present) {
    QZSystem::QZThrow.Warning("Torsion to be restrained does not occur in molecule %s",
                              mol.GetTitle());
    return false;
  }
  numAtoms_ = mol.AtomIndexBound();
  return true;
}

double QZTorsionAngleRestraint::operator()(const double* x) {
  const double d = Difference(AngleAt(x, atoms_).value, phi0_);
  return k_ * d * d;
}

double QZTorsionAngleRestraint::operator()(const double* x, double* grad) {
  const DihedralAngle angle = AngleAt(x, atoms_);
  const double d = Difference(angle.value, phi0_);
  if (Dot(angle.normal, angle.normal) * Dot(angle.normal2, angle.normal2) > kInLine) {
    const auto blocks = angle.Gradient();
    for (std::size_t k = 0; k < 4; ++k) AddToAtom(grad, atoms_[k], (2.0 * k_ * d) * blocks[k]);
  }
  return k_ * d * d;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZTorsionAngleRestraint::GetFComponents(
    const double* x) {
  const double energy = x != nullptr ? (*this)(x) : 0.0;
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"Torsion Angle Restraint", energy}});
}

}  // namespace QZConstr
