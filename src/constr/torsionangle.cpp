// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/torsionangle.h"

#include <cmath>
#include <numbers>

#include "constr/dihedral_atoms.h"
#include "constr/onset.h"
#include "kernels/dihedral_hessian.h"
#include "qzchem/mol.h"
#include "qzchem/predicates.h"

namespace QZConstr {

namespace {

bool IsWidth(double value) {
  return std::isfinite(value) && value >= 0.0;
}

// Energy, slope and curvature over φ.
WallLaw LawAt(const QZMolPotential::DihedralCosine& angle,
              double k,
              double phi0,
              double width,
              double onset) {
  const double d = std::remainder(angle.SignedAngle() - phi0, 2.0 * std::numbers::pi);
  WallLaw law(k, std::abs(d) - width, onset);
  law.first = std::copysign(law.first, d);
  // Without a flat bottom the minimum has the curvature of both sides.
  if (d == 0.0 && width == 0.0 && onset == 0.0) law.second = 2.0 * k;
  return law;
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

bool QZTorsionAngleRestraint::SetWidth(double width) {
  if (!IsWidth(width)) return false;
  width_ = width;
  return true;
}

bool QZTorsionAngleRestraint::SetOnset(double onset) {
  if (!IsWidth(onset)) return false;
  onset_ = onset;
  return true;
}

double QZTorsionAngleRestraint::operator()(const double* x) {
  return LawAt(CosineAt(x, atoms_), k_, phi0_, width_, onset_).value;
}

double QZTorsionAngleRestraint::operator()(const double* x, double* grad) {
  const QZMolPotential::DihedralCosine angle = CosineAt(x, atoms_);
  const WallLaw law = LawAt(angle, k_, phi0_, width_, onset_);
  if (!angle.IsDegenerate()) AddBlocks(grad, atoms_, law.first, angle.AngleGradient());
  return law.value;
}

bool QZTorsionAngleRestraint::operator()(const double* x, double* hessian, double* grad) {
  const QZMolPotential::DihedralCosine angle = CosineAt(x, atoms_);
  const WallLaw law = LawAt(angle, k_, phi0_, width_, onset_);
  QZMolPotential::PackedSink sink(hessian);
  QZMolPotential::AddDihedralDerivatives(sink, grad, atoms_, angle, law.first, law.second);
  return true;
}

bool QZTorsionAngleRestraint::AppendModelHessian(const double* x,
                                                 std::vector<QZOpt::QZMatrixEntry>& entries) {
  const QZMolPotential::DihedralCosine angle = CosineAt(x, atoms_);
  const double curvature = LawAt(angle, k_, phi0_, width_, onset_).second;
  if (!angle.IsDegenerate() && curvature > 0.0) {
    AppendProducts(entries, atoms_, angle.AngleGradient(), curvature);
  }
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZTorsionAngleRestraint::GetFComponents(
    const double* x) {
  return MakeComponent(*this, "Torsion Angle Restraint", x);
}

std::vector<std::array<unsigned int, 4>> QZFindRotorTorsions(const QZChem::QZMolBase& mol) {
  const auto neighbour = [](const QZChem::QZAtomBase& atom, const QZChem::QZAtomBase& other) {
    for (const auto& next : QZSystem::QZRange(atom.GetNeighbours())) {
      if (next.GetIndex() != other.GetIndex()) return next.GetIndex();
    }
    return atom.GetIndex();  // a rotor's ends have others
  };
  const QZChem::QZIsRotor isRotor;
  std::vector<std::array<unsigned int, 4>> torsions;
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    if (!isRotor(bond)) continue;
    const auto& b = *bond.GetBegin();
    const auto& c = *bond.GetEnd();
    torsions.push_back({neighbour(b, c), b.GetIndex(), c.GetIndex(), neighbour(c, b)});
  }
  return torsions;
}

}  // namespace QZConstr
