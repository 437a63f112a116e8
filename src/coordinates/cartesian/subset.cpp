// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/subset.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <utility>

#include "coordinates/cartesian/cartesian_map.h"
#include "coordinates/evaluation.h"
#include "coordinates/interactions.h"
#include "kernels/packed.h"
#include "qzchem/mol.h"

namespace QZMolPotential {

QZSubsetAdaptor::QZSubsetAdaptor() : work_(std::make_unique<Evaluation>()) {}

QZSubsetAdaptor::QZSubsetAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions)
    : QZForwardingAdaptor(func, own),
      restrictInteractions_(restrictInteractions),
      work_(std::make_unique<Evaluation>()) {}

QZSubsetAdaptor::QZSubsetAdaptor(QZMolFunc2& func, bool own, bool restrictInteractions)
    : QZForwardingAdaptor(func, own),
      restrictInteractions_(restrictInteractions),
      func2_(&func),
      work_(std::make_unique<Evaluation>()) {}

QZSubsetAdaptor::~QZSubsetAdaptor() = default;

bool QZSubsetAdaptor::SetMolFunc(QZMolFunc1& func, bool own) {
  func2_ = nullptr;
  work_->DropHessian();
  return QZForwardingAdaptor::SetMolFunc(func, own);
}

bool QZSubsetAdaptor::SetMolFunc2(QZMolFunc2& func, bool own) {
  if (!SetMolFunc(func, own)) return false;
  func2_ = &func;
  allocate();
  return true;
}

void QZSubsetAdaptor::allocate() {
  if (map_) work_->Resize(map_->NumCoords(), /*hessian=*/func2_ != nullptr);
}

bool QZSubsetAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!fixedPred_ || !mol.IsValid() || !wrapped_) return false;
  std::vector<unsigned int> movingAtoms;
  movingAtoms.reserve(mol.NumAtoms());
  std::set<const QZChem::QZAtomBase*> moving;
  bool anyFixed = false;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if ((*fixedPred_)(atom)) {
      anyFixed = true;
    } else {
      movingAtoms.push_back(atom.GetIndex());
      if (restrictInteractions_) moving.insert(moving.end(), &atom);
    }
  }
  map_ = std::make_unique<CartesianMap>(mol.AtomIndexBound(), std::move(movingAtoms));
  reducedVars_.assign(map_->NumVar(), 0.0);
  allocate();
  if (!anyFixed) return false;
  if (restrictInteractions_) RestrictInteractions(*wrapped_, std::move(moving));
  return wrapped_->Setup(mol);
}

void QZSubsetAdaptor::Clear() {
  map_.reset();
  work_->DropHessian();
  QZForwardingAdaptor::Clear();
}

bool QZSubsetAdaptor::Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred,
                          unsigned int which) {
  if ((which & QZCategorySubsetFixed) == 0) return QZForwardingAdaptor::Set(pred, which);
  fixedPred_.reset(pred.CreateCopy());
  return fixedPred_ != nullptr;
}

void QZSubsetAdaptor::ClearPredicates() {
  fixedPred_.reset();
  QZForwardingAdaptor::ClearPredicates();
}

unsigned int QZSubsetAdaptor::NumVar() const {
  return map_ ? static_cast<unsigned int>(map_->NumVar()) : 0;
}

const double* QZSubsetAdaptor::GetVar(const double* cartesian) {
  if (map_) map_->Start(cartesian, reducedVars_.data());
  return reducedVars_.data();
}

bool QZSubsetAdaptor::AdaptVar(double* cartesian, const double* vars) const {
  return map_ && map_->Place(vars, cartesian);
}

bool QZSubsetAdaptor::AdaptGrad(double* grad, const double* cartGrad) const {
  if (!map_) return false;
  map_->PullGradient(cartGrad, grad);
  return true;
}

bool QZSubsetAdaptor::AdaptHessian(double* hess, const double* cartHess) const {
  if (func2_ == nullptr || !map_) return false;
  std::fill_n(hess, PackedSize(map_->NumVar()), 0.0);
  return map_->PullHessian(cartHess, nullptr, hess);
}

double QZSubsetAdaptor::operator()(const double* vars) {
  return map_ ? work_->Energy(*wrapped_, *map_, vars) : 0.0;
}

double QZSubsetAdaptor::operator()(const double* vars, double* grad) {
  return map_ ? work_->Gradient(*wrapped_, *map_, vars, grad) : 0.0;
}

bool QZSubsetAdaptor::operator()(const double* vars, double* hess, double* grad) {
  if (func2_ == nullptr || !map_ || !work_->HasHessian()) return false;
  if (grad != nullptr) (*this)(vars, grad);
  return work_->Hessian(
      *func2_,
      [&](double* x) { return AdaptVar(x, vars); },
      [&](bool ok, const double* cartHess, const double* /*cartGrad*/) {
        AdaptHessian(hess, cartHess);
        return ok;
      });
}

bool QZSubsetAdaptor::AppendModelHessian(const double* vars,
                                         std::vector<QZOpt::QZMatrixEntry>& entries) {
  return map_ && work_->Model(*wrapped_, *map_, vars, entries);
}

}  // namespace QZMolPotential
