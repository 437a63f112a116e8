// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/squarepenalty.h"

#include <cmath>

#include "constr/dihedral_atoms.h"
#include "constr/distance.h"
#include "kernels/dihedral_hessian.h"
#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZConstr {

struct QZDistanceQuadPenalty::Data {
  AtomIndices<2> atoms;
  double k;
  double dist0;
  unsigned int numAtoms = 0;
};

QZDistanceQuadPenalty::QZDistanceQuadPenalty(const QZChem::QZAtomBase& a,
                                             const QZChem::QZAtomBase& b,
                                             double dist0,
                                             double k)
    : data_(Data{{a.GetIndex(), b.GetIndex()}, k, dist0}) {}

QZDistanceQuadPenalty::QZDistanceQuadPenalty(const QZDistanceQuadPenalty&) = default;
QZDistanceQuadPenalty& QZDistanceQuadPenalty::operator=(const QZDistanceQuadPenalty&) = default;
QZDistanceQuadPenalty::~QZDistanceQuadPenalty() = default;

double QZDistanceQuadPenalty::Get_dist0() const {
  return data_->dist0;
}
void QZDistanceQuadPenalty::Set_dist0(double dist0) {
  data_->dist0 = dist0;
}
double QZDistanceQuadPenalty::Get_k() const {
  return data_->k;
}
void QZDistanceQuadPenalty::Set_k(double k) {
  data_->k = k;
}

bool QZDistanceQuadPenalty::Setup(const QZChem::QZMolBase& mol) {
  data_->numAtoms = mol.AtomIndexBound();
  return Occurs(mol, data_->atoms, kPenalisedDistance);
}

void QZDistanceQuadPenalty::Clear() {
  data_->numAtoms = 0;
}

unsigned int QZDistanceQuadPenalty::NumVar() const {
  return 3 * data_->numAtoms;
}

double QZDistanceQuadPenalty::operator()(const double* x) {
  return PairDistance(x, data_->atoms).Square(data_->k, data_->dist0);
}

double QZDistanceQuadPenalty::operator()(const double* x, double* grad) {
  const Data& d = *data_;
  return PairDistance(x, d.atoms).AddGradient(grad, d.atoms, d.k, d.dist0);
}

bool QZDistanceQuadPenalty::operator()(const double* x, double* hessian, double* grad) {
  const Data& d = *data_;
  PairDistance(x, d.atoms).AddDerivatives(hessian, grad, d.atoms, d.k, d.dist0);
  return true;
}

bool QZDistanceQuadPenalty::AppendModelHessian(const double* x,
                                               std::vector<QZOpt::QZMatrixEntry>& entries) {
  const Data& d = *data_;
  const PairDistance pair(x, d.atoms);
  pair.AppendModel(entries, d.atoms, 2.0 * d.k * (pair.r - d.dist0), 2.0 * d.k);
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZDistanceQuadPenalty::GetFComponents(const double* x) {
  return MakeComponent(*this, "Distance Square Penalty", x);
}

struct QZDihedralQuadPenalty::Data {
  AtomIndices<4> atoms;
  double k;
  double alpha0;
  double cosAlpha0;
};

QZDihedralQuadPenalty::QZDihedralQuadPenalty(const QZChem::QZAtomBase& a,
                                             const QZChem::QZAtomBase& b,
                                             const QZChem::QZAtomBase& c,
                                             const QZChem::QZAtomBase& d,
                                             double alpha0,
                                             double k)
    : data_(Data{
          {a.GetIndex(), b.GetIndex(), c.GetIndex(), d.GetIndex()}, k, alpha0, std::cos(alpha0)}) {}

QZDihedralQuadPenalty::QZDihedralQuadPenalty(const QZDihedralQuadPenalty&) = default;
QZDihedralQuadPenalty& QZDihedralQuadPenalty::operator=(const QZDihedralQuadPenalty&) = default;
QZDihedralQuadPenalty::~QZDihedralQuadPenalty() = default;

double QZDihedralQuadPenalty::Get_alpha0() const {
  return data_->alpha0;
}
void QZDihedralQuadPenalty::Set_alpha0(double alpha0) {
  data_->alpha0 = alpha0;
  data_->cosAlpha0 = std::cos(alpha0);
}
double QZDihedralQuadPenalty::Get_k() const {
  return data_->k;
}
void QZDihedralQuadPenalty::Set_k(double k) {
  data_->k = k;
}

bool QZDihedralQuadPenalty::Setup(const QZChem::QZMolBase& mol) {
  if (mol.AtomIndexBound() < 4) {
    QZSystem::QZThrow.Warning(
        "Can't apply a dihedral square penalty to molecules with less than 4 atoms");
    return false;
  }
  return Occurs(mol, data_->atoms, "Dihedral angle to be constrained");
}

unsigned int QZDihedralQuadPenalty::NumVar() const {
  return 12;
}

double QZDihedralQuadPenalty::operator()(const double* x) {
  const auto dihedral = CosineAt(x, data_->atoms);
  if (dihedral.IsDegenerate()) return 0.0;
  const double off = dihedral.cosine - data_->cosAlpha0;
  return data_->k * off * off;
}

double QZDihedralQuadPenalty::operator()(const double* x, double* grad) {
  const auto dihedral = CosineAt(x, data_->atoms);
  if (dihedral.IsDegenerate()) return 0.0;
  const double off = dihedral.cosine - data_->cosAlpha0;
  AddBlocks(grad, data_->atoms, 2.0 * data_->k * off, dihedral.Gradient());
  return data_->k * off * off;
}

bool QZDihedralQuadPenalty::operator()(const double* x, double* hessian, double* grad) {
  const auto dihedral = CosineAt(x, data_->atoms);
  const double curvature = 2.0 * data_->k;
  const double slope = curvature * (dihedral.cosine - data_->cosAlpha0);
  QZMolPotential::PackedSink sink(hessian);
  QZMolPotential::AddDihedralCosineDerivatives(
      sink, grad, data_->atoms, dihedral, slope, curvature);
  return true;
}

bool QZDihedralQuadPenalty::AppendModelHessian(const double* x,
                                               std::vector<QZOpt::QZMatrixEntry>& entries) {
  const auto dihedral = CosineAt(x, data_->atoms);
  if (dihedral.IsDegenerate() || !(data_->k > 0.0)) return true;
  AppendProducts(entries, data_->atoms, dihedral.Gradient(), 2.0 * data_->k);
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZDihedralQuadPenalty::GetFComponents(const double* x) {
  return MakeComponent(*this, "Dihedral Square Penalty", x);
}

}  // namespace QZConstr
