// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/coordinateconstr.h"

#include <algorithm>
#include <limits>

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

}  // namespace QZMolPotential
