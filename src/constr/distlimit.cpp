// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/distlimit.h"

#include <cmath>

#include "constr/distance.h"
#include "constr/onset.h"
#include "qzchem/mol.h"

namespace QZConstr {

struct QZDistLimitPenalty::Data {
  AtomIndices<2> atoms;
  double k;
  double lower;
  double upper;
  double onset = 0.0;
  unsigned int numAtoms = 0;

  bool Inside(double r) const { return !(r < lower) && r <= upper; }
  // The law at r beyond the violated limit, its slope along growing r.
  WallLaw Law(double r) const {
    if (r >= lower) return {k, r - upper, onset};
    WallLaw law(k, lower - r, onset);
    law.first = -law.first;
    return law;
  }
  // The violated limit outside the band; NaN counts as beyond the upper one.
  double Wall(double r) const { return r < lower ? lower : upper; }
};

QZDistLimitPenalty::QZDistLimitPenalty(
    const QZChem::QZAtomBase& a, const QZChem::QZAtomBase& b, double lower, double upper, double k)
    : data_(Data{{a.GetIndex(), b.GetIndex()}, k, lower, upper}) {}

QZDistLimitPenalty::QZDistLimitPenalty(const QZDistLimitPenalty&) = default;
QZDistLimitPenalty& QZDistLimitPenalty::operator=(const QZDistLimitPenalty&) = default;
QZDistLimitPenalty::~QZDistLimitPenalty() = default;

double QZDistLimitPenalty::GetLowerLimit() const {
  return data_->lower;
}
void QZDistLimitPenalty::SetLowerLimit(double lower) {
  data_->lower = lower;
}
double QZDistLimitPenalty::GetUpperLimit() const {
  return data_->upper;
}
void QZDistLimitPenalty::SetUpperLimit(double upper) {
  data_->upper = upper;
}
double QZDistLimitPenalty::Get_k() const {
  return data_->k;
}
void QZDistLimitPenalty::Set_k(double k) {
  data_->k = k;
}

double QZDistLimitPenalty::GetOnset() const {
  return data_->onset;
}
bool QZDistLimitPenalty::SetOnset(double onset) {
  if (!std::isfinite(onset) || onset < 0.0) return false;
  data_->onset = onset;
  return true;
}

bool QZDistLimitPenalty::Setup(const QZChem::QZMolBase& mol) {
  data_->numAtoms = mol.AtomIndexBound();
  return Occurs(mol, data_->atoms, kPenalisedDistance);
}

void QZDistLimitPenalty::Clear() {
  data_->numAtoms = 0;
}

unsigned int QZDistLimitPenalty::NumVar() const {
  return 3 * data_->numAtoms;
}

double QZDistLimitPenalty::operator()(const double* x) {
  const PairDistance pair(x, data_->atoms);
  if (data_->Inside(pair.r)) return 0.0;
  if (data_->onset > 0.0) return data_->Law(pair.r).value;
  return pair.Square(data_->k, data_->Wall(pair.r));
}

double QZDistLimitPenalty::operator()(const double* x, double* grad) {
  const PairDistance pair(x, data_->atoms);
  if (data_->Inside(pair.r)) return 0.0;
  if (data_->onset > 0.0) [[unlikely]] {
    const WallLaw law = data_->Law(pair.r);
    QZMolPotential::AddDistanceGradient(grad, data_->atoms, pair, law.first);
    return law.value;
  }
  return pair.AddGradient(grad, data_->atoms, data_->k, data_->Wall(pair.r));
}

bool QZDistLimitPenalty::operator()(const double* x, double* hessian, double* grad) {
  const PairDistance pair(x, data_->atoms);
  if (data_->Inside(pair.r)) return true;
  if (data_->onset > 0.0) [[unlikely]] {
    const WallLaw law = data_->Law(pair.r);
    QZMolPotential::PackedSink sink(hessian);
    QZMolPotential::AddDistanceDerivatives(sink, grad, data_->atoms, pair, law.first, law.second);
    return true;
  }
  pair.AddDerivatives(hessian, grad, data_->atoms, data_->k, data_->Wall(pair.r));
  return true;
}

bool QZDistLimitPenalty::AppendModelHessian(const double* x,
                                            std::vector<QZOpt::QZMatrixEntry>& entries) {
  const PairDistance pair(x, data_->atoms);
  if (data_->Inside(pair.r)) return true;
  const WallLaw law = data_->Law(pair.r);
  pair.AppendModel(entries, data_->atoms, law.first, law.second);
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZDistLimitPenalty::GetFComponents(const double* x) {
  return MakeComponent(*this, "Distance Limit Penalty", x);
}

}  // namespace QZConstr
