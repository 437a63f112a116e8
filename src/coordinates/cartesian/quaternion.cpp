// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/quaternion.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "coordinates/cartesian/rigid_bodies.h"
#include "coordinates/cartesian/swept.h"
#include "coordinates/evaluation.h"
#include "coordinates/interactions.h"
#include "kernels/rotation.h"
#include "qzchem/geometry.h"

namespace QZMolPotential {
namespace {

std::unique_ptr<RigidBodies> BodyOf(unsigned int atoms) {
  return std::make_unique<RigidBodies>(std::vector<unsigned int>{atoms});
}

}  // namespace

QZQuatAdaptor::QZQuatAdaptor() : body_(BodyOf(0)), work_(std::make_unique<Evaluation>()) {}
QZQuatAdaptor::~QZQuatAdaptor() = default;

QZQuatAdaptor::QZQuatAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions)
    : QZForwardingAdaptor(func, own),
      restrictInteractions_(restrictInteractions),
      body_(BodyOf(0)),
      work_(std::make_unique<Evaluation>()) {}

QZQuatAdaptor::QZQuatAdaptor(const QZQuatAdaptor& other)
    : QZForwardingAdaptor(other), work_(std::make_unique<Evaluation>()) {
  *this = other;
}

QZQuatAdaptor& QZQuatAdaptor::operator=(const QZQuatAdaptor& other) {
  if (this == &other) return *this;
  QZForwardingAdaptor::operator=(other);
  restrictInteractions_ = other.restrictInteractions_;
  translateRefToGC_ = other.translateRefToGC_;
  body_ = std::make_unique<RigidBodies>(*other.body_);
  *work_ = *other.work_;
  return *this;
}

const double* QZQuatAdaptor::GetRefCoord() const {
  return body_->NumCoords() == 0 ? nullptr : body_->Reference().data();
}

bool QZQuatAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!mol.IsValid() || !IsSwept(mol) || !wrapped_) return false;
  body_ = BodyOf(mol.AtomIndexBound());
  work_->Resize(body_->NumCoords(), /*hessian=*/false);
  if (restrictInteractions_) SwitchOffInteractions(*wrapped_);
  return wrapped_->Setup(mol);
}

void QZQuatAdaptor::Clear() {
  body_ = BodyOf(0);
  QZForwardingAdaptor::Clear();
}

const double* QZQuatAdaptor::GetVar(const double* cartesian) {
  if (body_->NumCoords() == 0) return GetRefCoord();
  return body_->SetReference(
      cartesian, translateRefToGC_ ? Centroid(cartesian, body_->NumCoords() / 3) : Vec3{});
}

bool QZQuatAdaptor::AdaptVar(double* cartesian, const double* vars) const {
  body_->Map().Place(vars, cartesian);
  return true;
}

bool QZQuatAdaptor::AdaptGrad(double* grad,
                              const double* cartGrad,
                              const double* vars,
                              const double* refCoords) const {
  return body_->AddGradient(cartGrad, vars, refCoords, grad);
}

double QZQuatAdaptor::operator()(const double* vars) {
  return body_->NumCoords() == 0 ? 0.0 : work_->Energy(*wrapped_, body_->Map(), vars);
}

double QZQuatAdaptor::operator()(const double* vars, double* grad) {
  std::fill_n(grad, 7, 0.0);
  return body_->NumCoords() == 0 ? 0.0 : work_->Gradient(*wrapped_, body_->Map(), vars, grad);
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
                        static_cast<unsigned int>(body_->NumCoords() / 3),
                        /*superpose=*/false,
                        nullptr,
                        nullptr) < tolerance;
}

}  // namespace QZMolPotential
