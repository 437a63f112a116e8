// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/optvarfunc.h"

#include <algorithm>
#include <cstddef>

#include "coordinates/evaluation.h"

namespace QZMolPotential {

QZOptVarFunc::QZOptVarFunc(QZOpt::QZFunc1& f, QZFixMolAdaptor1& a, Order order)
    : function_(f), adaptor_(a), order_(order), work_(std::make_unique<Evaluation>()) {}

QZOptVarFunc::QZOptVarFunc(QZOpt::QZFunc1& f, QZZmatAdaptor& a)
    : QZOptVarFunc(f, a, Order::CoordsGradOut) {}
QZOptVarFunc::QZOptVarFunc(QZOpt::QZFunc1& f, QZTorsionAdaptor& a)
    : QZOptVarFunc(f, a, Order::GradOutCoords) {}
QZOptVarFunc::QZOptVarFunc(QZOpt::QZFunc1& f, QZRigidAdaptor& a)
    : QZOptVarFunc(f, a, Order::GradOutCoords) {}

QZOptVarFunc::QZOptVarFunc(const QZOptVarFunc& other)
    : QZOptVarFunc(other.function_, other.adaptor_, other.order_) {}
QZOptVarFunc::~QZOptVarFunc() = default;

// Functions of a molecule with holes have more variables than the adaptor fills.
Evaluation& QZOptVarFunc::work() {
  work_->Fit(std::max(adaptor_.NumFuncVar(), function_.NumVar()));
  return *work_;
}

double QZOptVarFunc::operator()(const double* x) {
  return work().Energy(function_,
                       [&](double* coords) { return adaptor_.OptVarToFuncVar(x, coords); });
}

double QZOptVarFunc::operator()(const double* x, double* grad) {
  Evaluation& evaluation = work();
  optGrad_.resize(adaptor_.NumOptVar());
  const auto pull = [&](double* cartGrad) {
    if (order_ == Order::CoordsGradOut) {
      adaptor_.FuncGradToOptGrad(evaluation.Coords().data(), cartGrad, optGrad_.data());
    } else {
      adaptor_.FuncGradToOptGrad(cartGrad, optGrad_.data(), evaluation.Coords().data());
    }
    for (std::size_t i = 0; i < optGrad_.size(); ++i) grad[i] += optGrad_[i];
  };
  return evaluation.Gradient(
      function_, [&](double* coords) { return adaptor_.OptVarToFuncVar(x, coords); }, pull);
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZOptVarFunc::GetFComponents(const double* x) {
  if (x == nullptr) return function_.GetFComponents(nullptr);
  double* const coords = work().Coords().data();
  adaptor_.OptVarToFuncVar(x, coords);
  return function_.GetFComponents(coords);
}

}  // namespace QZMolPotential
