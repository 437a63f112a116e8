// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/redundantvarfunc.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace QZMolPotential {

QZRedundantVarFunc::QZRedundantVarFunc(QZRedundantInterAdaptor& adaptor)
    : adaptor_(adaptor),
      kinds_(adaptor.GetKinds()),
      folded_(kinds_.size()),
      signs_(kinds_.size(), 1.0),
      grad_(kinds_.size()) {}

// The adaptor's current coordinates as those of `vars`. Allocates the first time only.
void QZRedundantVarFunc::keep(const double* vars, double energy, KnownGeometry& known) const {
  const double* coords = adaptor_.GetCurrentCoords();
  known.vars.assign(vars, vars + kinds_.size());
  known.coords.assign(coords, coords + adaptor_.NumCoords());
  known.energy = energy;
}

std::vector<double> QZRedundantVarFunc::Start(const double* coords) {
  const std::vector<double> vars(adaptor_.GetVar(coords), adaptor_.GetVar(coords) + kinds_.size());
  keep(vars.data(), std::numeric_limits<double>::infinity(), start_);
  adaptor_.Refresh();
  best_ = start_;
  recent_.fill(start_);
  return vars;
}

std::vector<double> QZRedundantVarFunc::GetCoords(const double* vars) {
  const auto matches = [&](const KnownGeometry& point) {
    return point.vars.size() == kinds_.size() &&
           std::equal(point.vars.begin(), point.vars.end(), vars);
  };
  if (matches(best_)) return best_.coords;
  const auto known = std::ranges::find_if(recent_, matches);
  if (known != recent_.end()) return known->coords;
  if (matches(start_)) return start_.coords;
  std::vector<double> coords(adaptor_.NumCoords());
  adaptor_.AdaptVar(coords.data(), fold(vars));
  return coords;
}

// The values in [0, π] that `x` stands for, and in `signs_` their derivatives.
const double* QZRedundantVarFunc::fold(const double* x) {
  for (std::size_t i = 0; i < kinds_.size(); ++i) {
    if (kinds_[i] == QZInternalKind::Bond) {
      folded_[i] = x[i];
      continue;
    }
    const double turn = std::remainder(x[i], 2.0 * std::numbers::pi);
    folded_[i] = std::abs(turn);
    signs_[i] = turn < 0.0 ? -1.0 : 1.0;
  }
  return folded_.data();
}

void QZRedundantVarFunc::remember(const double* x, double energy) {
  if (energy < best_.energy) keep(x, energy, best_);
  keep(x, energy, recent_[next_++ % recent_.size()]);
}

double QZRedundantVarFunc::operator()(const double* x) {
  const double energy = adaptor_(fold(x));
  remember(x, energy);
  return energy;
}

double QZRedundantVarFunc::operator()(const double* x, double* grad) {
  const double energy = adaptor_(fold(x), grad_.data());
  for (std::size_t i = 0; i < kinds_.size(); ++i) grad[i] += signs_[i] * grad_[i];
  remember(x, energy);
  return energy;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZRedundantVarFunc::GetFComponents(const double* x) {
  return adaptor_.GetFComponents(x == nullptr ? nullptr : GetCoords(x).data());
}

}  // namespace QZMolPotential
