// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/coordinateconstr.h"

#include <algorithm>
#include <limits>

#include "kernels/packed.h"

namespace QZMolPotential {

bool QZCoordinateConstr::place(const double* vars) {
  coords_.resize(func_.NumCoords());
  return func_.AdaptVar(coords_.data(), vars);
}

double QZCoordinateConstr::operator()(const double* vars) {
  if (!place(vars)) return std::numeric_limits<double>::quiet_NaN();
  return constraint_(coords_.data());
}

double QZCoordinateConstr::operator()(const double* vars, double* grad) {
  if (!place(vars)) return std::numeric_limits<double>::quiet_NaN();
  cartGrad_.assign(coords_.size(), 0.0);
  const double value = constraint_(coords_.data(), cartGrad_.data());
  if (!func_.AdaptGrad(grad, cartGrad_.data(), vars)) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  return value;
}

bool QZCoordinateConstr::AddHessian(const double* vars, double factor, double* hessian) const {
  const auto* const bent = dynamic_cast<const QZOpt::QZConstrHessian*>(&constraint_);
  std::vector<double> coords(func_.NumCoords());
  if (bent == nullptr || !func_.AdaptVar(coords.data(), vars)) return false;
  std::vector<double> cartHess(PackedSize(coords.size()), 0.0);
  std::vector<double> cartGrad(coords.size(), 0.0);
  if (!bent->AddHessian(coords.data(), factor, cartHess.data())) return false;
  constraint_(coords.data(), cartGrad.data());
  for (double& g : cartGrad) g *= factor;
  return func_.AdaptHessian(hessian, cartHess.data(), cartGrad.data(), vars);
}

QZOpt::QZConstrFunc* QZCoordinateConstr::FallBack(QZOpt::QZFunc1& fallBack) {
  auto* const other = dynamic_cast<QZCoordinateFunc*>(&fallBack);
  if (other == nullptr) return nullptr;
  fallBack_ = std::make_unique<QZCoordinateConstr>(constraint_, *other);
  return fallBack_.get();
}

}  // namespace QZMolPotential
