// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/quaternion.h"

#include <algorithm>
#include <cstddef>

#include "coordinates/cartesian/swept.h"
#include "coordinates/evaluation.h"
#include "coordinates/interactions.h"
#include "kernels/rotation.h"
#include "qzchem/geometry.h"

namespace QZMolPotential {

QZQuatAdaptor::QZQuatAdaptor() : work_(std::make_unique<Evaluation>()) {}
QZQuatAdaptor::~QZQuatAdaptor() = default;

QZQuatAdaptor::QZQuatAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions)
    : QZForwardingAdaptor(func, own),
      restrictInteractions_(restrictInteractions),
      work_(std::make_unique<Evaluation>()) {}

QZQuatAdaptor::QZQuatAdaptor(const QZQuatAdaptor& other)
    : QZForwardingAdaptor(other),
      restrictInteractions_(other.restrictInteractions_),
      translateRefToGC_(other.translateRefToGC_),
      atomCount_(other.atomCount_),
      refCoords_(other.refCoords_),
      quatVars_(other.quatVars_),
      work_(std::make_unique<Evaluation>(*other.work_)) {}

QZQuatAdaptor& QZQuatAdaptor::operator=(const QZQuatAdaptor& other) {
  QZForwardingAdaptor::operator=(other);
  restrictInteractions_ = other.restrictInteractions_;
  translateRefToGC_ = other.translateRefToGC_;
  atomCount_ = other.atomCount_;
  refCoords_ = other.refCoords_;
  quatVars_ = other.quatVars_;
  *work_ = *other.work_;
  return *this;
}

const double* QZQuatAdaptor::GetRefCoord() const {
  return atomCount_ == 0 ? nullptr : refCoords_.data();
}

bool QZQuatAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!mol.IsValid() || !IsSwept(mol) || !wrapped_) return false;
  atomCount_ = mol.AtomIndexBound();
  refCoords_.assign(std::size_t{3} * atomCount_, 0.0);
  work_->Resize(refCoords_.size(), /*hessian=*/false);
  if (restrictInteractions_) SwitchOffInteractions(*wrapped_);
  return wrapped_->Setup(mol);
}

void QZQuatAdaptor::Clear() {
  atomCount_ = 0;
  QZForwardingAdaptor::Clear();
}

const double* QZQuatAdaptor::GetVar(const double* cartesian) {
  if (atomCount_ == 0) return GetRefCoord();
  std::copy_n(cartesian, refCoords_.size(), refCoords_.begin());
  quatVars_ = {1.0};
  if (translateRefToGC_) {
    const Vec3 centre = Centroid(refCoords_.data(), atomCount_);
    for (std::size_t i = 0; i < atomCount_; ++i) AddToAtom(refCoords_.data(), i, -centre);
    StoreAtom(quatVars_.data() + 4, 0, centre);
  }
  return quatVars_.data();
}

bool QZQuatAdaptor::AdaptVar(double* cartesian, const double* vars) const {
  const Mat3 rotation = Rotation(vars);
  const Vec3 translation = LoadAtom(vars + 4, 0);
  for (std::size_t i = 0; i < atomCount_; ++i) {
    StoreAtom(cartesian, i, rotation * LoadAtom(refCoords_.data(), i) + translation);
  }
  return true;
}

bool QZQuatAdaptor::AdaptGrad(double* grad,
                              const double* cartGrad,
                              const double* vars,
                              const double* refCoords) const {
  Vec3 force;
  Mat3 moment;  // sum of r_i ⊗ g_i
  for (std::size_t i = 0; i < atomCount_; ++i) {
    const Vec3 g = LoadAtom(cartGrad, i);
    const Vec3 r = LoadAtom(refCoords, i);
    force += g;
    moment.row0 += r.x * g;
    moment.row1 += r.y * g;
    moment.row2 += r.z * g;
  }
  AddToAtom(grad + 4, 0, force);
  const auto half = HalfQuaternionGradient(moment, vars);
  for (std::size_t k = 0; k < 4; ++k) grad[k] += half[k];
  const double s = SquaredNorm(vars);
  if (s == 0.0) return false;
  // R(q)/|q|² has no derivative along q: that part of the derivative of R(q) goes.
  double along = 0.0;
  for (std::size_t k = 0; k < 4; ++k) {
    grad[k] *= 2.0 / s;
    along += grad[k] * vars[k];
  }
  for (std::size_t k = 0; k < 4; ++k) grad[k] -= vars[k] * along / s;
  return true;
}

double QZQuatAdaptor::operator()(const double* vars) {
  if (atomCount_ == 0) return 0.0;
  return work_->Energy(*wrapped_, [&](double* x) { return AdaptVar(x, vars); });
}

double QZQuatAdaptor::operator()(const double* vars, double* grad) {
  std::fill_n(grad, 7, 0.0);
  if (atomCount_ == 0) return 0.0;
  return work_->Gradient(
      *wrapped_,
      [&](double* x) { return AdaptVar(x, vars); },
      [&](const double* g) { AdaptGrad(grad, g, vars, refCoords_.data()); });
}

bool QZQuatAdaptor::IsRedundant(const double* vars1, const double* vars2, double tolerance) const {
  if (!(tolerance > 0.0)) {
    QZSystem::QZThrow.Error("Tolerance should have positive value in the IsRedundant function!");
    return true;
  }
  AdaptVar(work_->Coords().data(), vars1);
  AdaptVar(work_->Grad().data(), vars2);
  return QZChem::QZRMSD(work_->Coords().data(),
                        work_->Grad().data(),
                        atomCount_,
                        /*superpose=*/false,
                        nullptr,
                        nullptr) < tolerance;
}

}  // namespace QZMolPotential
