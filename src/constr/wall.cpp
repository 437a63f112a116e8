// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/wall.h"

#include <algorithm>
#include <cmath>

#include "constr/atoms.h"
#include "constr/radial.h"
#include "kernels/sinks.h"
#include "qzchem/mol.h"

namespace QZConstr {

using QZMolPotential::LoadAtom;
using QZMolPotential::Mat3;
using QZMolPotential::Vec3;

namespace {

Mat3 MatrixOf(const double* byRows) {
  return {LoadAtom(byRows, 0), LoadAtom(byRows, 1), LoadAtom(byRows, 2)};
}

}  // namespace

bool QZWallRestraint::SetOnset(double onset) {
  if (!std::isfinite(onset) || onset < 0.0) return false;
  onset_ = onset;
  return true;
}

bool QZWallRestraint::Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred,
                          unsigned int which) {
  if ((which & QZMolPotential::QZCategoryPositional) == 0) return false;
  selection_.reset(pred.CreateCopy());
  return true;
}

bool QZWallRestraint::Setup(const QZChem::QZMolBase& mol) {
  atoms_.clear();
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if (selection_ == nullptr || (*selection_)(atom)) atoms_.push_back(atom.GetIndex());
  }
  numVar_ = 3 * mol.AtomIndexBound();
  return true;
}

void QZWallRestraint::Clear() {
  atoms_.clear();
  numVar_ = 0;
}

double QZWallRestraint::evaluate(const double* x, double* grad, double* hessian) const {
  double energy = 0.0;
  QZMolPotential::PackedSink sink(hessian);
  for (const unsigned int atom : atoms_) {
    std::array<double, 3> slope{};
    std::array<double, 9> curvature{};
    const double value = wall(x + 3 * std::size_t{atom}, slope.data(), curvature.data());
    if (value == 0.0) continue;
    energy += value;
    if (grad != nullptr) QZMolPotential::AddToAtom(grad, atom, LoadAtom(slope.data(), 0));
    if (hessian != nullptr) sink.Diagonal(atom, MatrixOf(curvature.data()));
  }
  return energy;
}

bool QZWallRestraint::operator()(const double* x, double* hessian, double* grad) {
  evaluate(x, grad, hessian);
  return true;
}

bool QZWallRestraint::AppendModelHessian(const double* x,
                                         std::vector<QZOpt::QZMatrixEntry>& entries) {
  if (!(k_ > 0.0)) return true;
  QZMolPotential::EntrySink<QZOpt::QZMatrixEntry> sink(entries);
  for (const unsigned int atom : atoms_) {
    std::array<double, 3> slope{};
    std::array<double, 9> curvature{};
    if (wall(x + 3 * std::size_t{atom}, slope.data(), curvature.data()) == 0.0) continue;
    sink.Diagonal(atom, MatrixOf(curvature.data()));
  }
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZWallRestraint::GetFComponents(const double* x) {
  return MakeComponent(*this, "Wall Restraint", x);
}

double QZSphereWall::wall(const double* p, double* slope, double* curvature) const {
  const RadialWall at(LoadAtom(p, 0) - LoadAtom(centre_.data(), 0), Get_k(), radius_, GetOnset());
  QZMolPotential::StoreAtom(slope, 0, at.Slope());
  const Mat3 h = at.Curvature();
  QZMolPotential::StoreAtom(curvature, 0, h.row0);
  QZMolPotential::StoreAtom(curvature, 1, h.row1);
  QZMolPotential::StoreAtom(curvature, 2, h.row2);
  return at.law.value;
}

double QZBoxWall::wall(const double* p, double* slope, double* curvature) const {
  double energy = 0.0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const bool below = p[axis] < low_[axis];
    const WallLaw law(Get_k(), below ? low_[axis] - p[axis] : p[axis] - high_[axis], GetOnset());
    energy += law.value;
    slope[axis] = below ? -law.first : law.first;
    curvature[4 * axis] = law.second;
  }
  return energy;
}

}  // namespace QZConstr
