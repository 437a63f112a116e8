// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/degfree.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "coordinates/evaluation.h"
#include "kernels/vec3.h"
#include "qzchem/mol.h"

namespace QZMolPotential {
namespace {

// Below this (Å) a coordinate counts as zero when the standard orientation is chosen.
constexpr double kAligned = 1e-6;

}  // namespace

QZDegFreeAdaptor::QZDegFreeAdaptor() : work_(std::make_unique<Evaluation>()) {}
QZDegFreeAdaptor::QZDegFreeAdaptor(QZMolFunc1& func, bool own)
    : QZForwardingAdaptor(func, own), work_(std::make_unique<Evaluation>()) {}
QZDegFreeAdaptor::~QZDegFreeAdaptor() = default;

bool QZDegFreeAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!mol.IsValid() || !wrapped_) return false;
  atomCount_ = mol.AtomIndexBound();
  coords_.assign(std::size_t{3} * atomCount_, 0.0);
  degVars_.assign(coords_.size(), 0.0);
  work_->Resize(coords_.size(), /*hessian=*/false);
  return wrapped_->Setup(mol);
}

void QZDegFreeAdaptor::Clear() {
  atomCount_ = 0;
  QZForwardingAdaptor::Clear();
}

unsigned int QZDegFreeAdaptor::NumVar() const {
  return atomCount_ > 2 ? 3 * atomCount_ - 6 : 1;
}

const double* QZDegFreeAdaptor::GetVar(const double* cartesian) {
  if (atomCount_ == 0) return nullptr;
  std::copy_n(cartesian, coords_.size(), coords_.begin());
  StandardOrientation();
  AdaptGrad(degVars_.data(), coords_.data());  // the same elements are kept
  return degVars_.data();
}

void QZDegFreeAdaptor::StandardOrientation() {
  const Vec3 origin = LoadAtom(coords_.data(), 0);
  for (std::size_t i = 0; i < atomCount_; ++i) AddToAtom(coords_.data(), i, -origin);
  if (atomCount_ > 1) turnAtom1OntoX();
  if (atomCount_ > 2) turnAtom2IntoXY();
}

// About z by minus the azimuth of atom 1, then about y. Sines come from their own quotients: taken
// from the cosines they would lose half their digits near the axes.
void QZDegFreeAdaptor::turnAtom1OntoX() {
  const Vec3 p = LoadAtom(coords_.data(), 1);
  const double rho = std::sqrt(p.x * p.x + p.y * p.y);
  const double r = Norm(p);
  const bool hasAzimuth = rho > kAligned;
  const double c = hasAzimuth ? std::clamp(p.x / rho, -1.0, 1.0) : 1.0;
  const double s = hasAzimuth ? p.y / rho : 0.0;
  const double cb = rho / r;
  const double sb = -p.z / r;
  StoreAtom(coords_.data(), 1, {r, 0.0, 0.0});
  for (std::size_t i = 2; i < atomCount_; ++i) {
    const Vec3 q = LoadAtom(coords_.data(), i);
    const double x = q.x * c + q.y * s;
    const double y = q.y * c - q.x * s;
    StoreAtom(coords_.data(), i, {x * cb - q.z * sb, y, x * sb + q.z * cb});
  }
}

void QZDegFreeAdaptor::turnAtom2IntoXY() {
  const Vec3 p = LoadAtom(coords_.data(), 2);
  double c = -1.0;  // a half turn
  double s = 0.0;
  if (std::abs(p.z) > kAligned) {
    const double r = std::sqrt(p.y * p.y + p.z * p.z);
    const bool hasAngle = std::abs(p.y) > kAligned;
    c = hasAngle ? p.y / r : 0.0;
    s = hasAngle ? p.z / r : 1.0;  // 1 for either sign of z: y takes over the sign
    if (c >= 1.0) return;
  } else if (p.y >= 0.0) {
    return;
  }
  for (std::size_t i = 2; i < atomCount_; ++i) {
    const Vec3 q = LoadAtom(coords_.data(), i);
    StoreAtom(coords_.data(), i, {q.x, s * q.z + c * q.y, c * q.z - s * q.y});
  }
  coords_[8] = 0.0;
}

bool QZDegFreeAdaptor::AdaptVar(double* cartesian, const double* vars) const {
  if (atomCount_ == 0) return false;
  const std::size_t count = std::size_t{3} * atomCount_;
  std::fill_n(cartesian, std::min<std::size_t>(count, 9), 0.0);
  if (atomCount_ < 2) return true;
  cartesian[3] = vars[0];
  if (atomCount_ < 3) return true;
  cartesian[6] = vars[1];
  cartesian[7] = vars[2];
  std::copy_n(vars + 3, count - 9, cartesian + 9);
  return true;
}

bool QZDegFreeAdaptor::AdaptGrad(double* grad, const double* cartGrad) const {
  if (atomCount_ == 1) {
    grad[0] = 0.0;
    return true;
  }
  grad[0] = cartGrad[3];
  if (atomCount_ < 3) return true;
  grad[1] = cartGrad[6];
  grad[2] = cartGrad[7];
  std::copy_n(cartGrad + 9, std::size_t{3} * atomCount_ - 9, grad + 3);
  return true;
}

double QZDegFreeAdaptor::operator()(const double* vars) {
  if (atomCount_ == 0) return 0.0;
  return work_->Energy(*wrapped_, [&](double* x) { return AdaptVar(x, vars); });
}

double QZDegFreeAdaptor::operator()(const double* vars, double* grad) {
  if (atomCount_ == 0) return 0.0;
  return work_->Gradient(
      *wrapped_,
      [&](double* x) { return AdaptVar(x, vars); },
      [&](const double* cartGrad) { AdaptGrad(grad, cartGrad); });
}

}  // namespace QZMolPotential
