// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/degfree.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "coordinates/cartesian/frame_map.h"
#include "coordinates/evaluation.h"
#include "qzchem/mol.h"

namespace QZMolPotential {

QZDegFreeAdaptor::QZDegFreeAdaptor() : work_(std::make_unique<Evaluation>()) {}
QZDegFreeAdaptor::QZDegFreeAdaptor(QZMolFunc1& func, bool own)
    : QZForwardingAdaptor(func, own), work_(std::make_unique<Evaluation>()) {}
QZDegFreeAdaptor::~QZDegFreeAdaptor() = default;

bool QZDegFreeAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!mol.IsValid() || !wrapped_) return false;
  std::vector<unsigned int> atoms(mol.AtomIndexBound());
  std::iota(atoms.begin(), atoms.end(), 0U);
  map_ = std::make_unique<FrameMap>(
      atoms.size(), atoms, /*overallMotion=*/false, FrameMap::Frame::Standard);
  degVars_.assign(NumVar(), 0.0);
  work_->Resize(map_->NumCoords(), /*hessian=*/false);
  return wrapped_->Setup(mol);
}

void QZDegFreeAdaptor::Clear() {
  map_.reset();
  QZForwardingAdaptor::Clear();
}

unsigned int QZDegFreeAdaptor::NumVar() const {
  return map_ ? std::max(1U, static_cast<unsigned int>(map_->NumVar())) : 1;
}

const double* QZDegFreeAdaptor::GetVar(const double* cartesian) {
  if (!map_) return nullptr;
  map_->Start(cartesian, degVars_.data());
  return degVars_.data();
}

bool QZDegFreeAdaptor::AdaptVar(double* cartesian, const double* vars) const {
  return map_ && map_->Place(vars, cartesian);
}

bool QZDegFreeAdaptor::AdaptGrad(double* grad, const double* cartGrad) const {
  std::fill_n(grad, NumVar(), 0.0);
  if (map_) map_->PullGradient(cartGrad, grad);
  return true;
}

double QZDegFreeAdaptor::operator()(const double* vars) {
  return map_ ? work_->Energy(*wrapped_, *map_, vars) : 0.0;
}

double QZDegFreeAdaptor::operator()(const double* vars, double* grad) {
  if (!map_) return 0.0;
  std::fill_n(grad, NumVar(), 0.0);
  return work_->Gradient(*wrapped_, *map_, vars, grad);
}

}  // namespace QZMolPotential
