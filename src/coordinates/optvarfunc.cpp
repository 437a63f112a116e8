// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/optvarfunc.h"

#include <algorithm>

namespace QZMolPotential {

QZOptVarFunc::QZOptVarFunc(QZOpt::QZFunc1& f, QZFixMolAdaptor1& a, Order order)
    : function_(f), adaptor_(a), order_(order) {}

QZOptVarFunc::QZOptVarFunc(QZOpt::QZFunc1& f, QZZmatAdaptor& a)
    : QZOptVarFunc(f, a, Order::CoordsGradOut) {}
QZOptVarFunc::QZOptVarFunc(QZOpt::QZFunc1& f, QZTorsionAdaptor& a)
    : QZOptVarFunc(f, a, Order::GradOutCoords) {}
QZOptVarFunc::QZOptVarFunc(QZOpt::QZFunc1& f, QZRigidAdaptor& a)
    : QZOptVarFunc(f, a, Order::GradOutCoords) {}

// Functions of a molecule with holes have more variables than the adaptor fills.
void QZOptVarFunc::place(const double* x) {
  coords_.resize(std::max(adaptor_.NumFuncVar(), function_.NumVar()));
  adaptor_.OptVarToFuncVar(x, coords_.data());
}

double QZOptVarFunc::operator()(const double* x) {
  place(x);
  return function_(coords_.data());
}

double QZOptVarFunc::operator()(const double* x, double* grad) {
  place(x);
  cartGrad_.assign(coords_.size(), 0.0);
  optGrad_.resize(adaptor_.NumOptVar());
  const double energy = function_(coords_.data(), cartGrad_.data());
  if (order_ == Order::CoordsGradOut) {
    adaptor_.FuncGradToOptGrad(coords_.data(), cartGrad_.data(), optGrad_.data());
  } else {
    adaptor_.FuncGradToOptGrad(cartGrad_.data(), optGrad_.data(), coords_.data());
  }
  for (std::size_t i = 0; i < optGrad_.size(); ++i) grad[i] += optGrad_[i];
  return energy;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZOptVarFunc::GetFComponents(const double* x) {
  if (x == nullptr) return function_.GetFComponents(nullptr);
  place(x);
  return function_.GetFComponents(coords_.data());
}

}  // namespace QZMolPotential
