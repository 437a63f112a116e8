// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/subset.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <set>
#include <utility>

#include "coordinates/interactions.h"
#include "kernels/packed.h"
#include "kernels/vec3.h"
#include "qzchem/mol.h"

namespace QZMolPotential {

QZSubsetAdaptor::QZSubsetAdaptor() = default;

QZSubsetAdaptor::QZSubsetAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions)
    : QZForwardingAdaptor(func, own), restrictInteractions_(restrictInteractions) {}

QZSubsetAdaptor::QZSubsetAdaptor(QZMolFunc2& func, bool own, bool restrictInteractions)
    : QZForwardingAdaptor(func, own), restrictInteractions_(restrictInteractions), func2_(&func) {}

QZSubsetAdaptor::~QZSubsetAdaptor() = default;

bool QZSubsetAdaptor::SetMolFunc(QZMolFunc1& func, bool own) {
  func2_ = nullptr;
  workHessian_.reset();
  return QZForwardingAdaptor::SetMolFunc(func, own);
}

bool QZSubsetAdaptor::SetMolFunc2(QZMolFunc2& func, bool own) {
  if (!SetMolFunc(func, own)) return false;
  func2_ = &func;
  allocateHessian();
  return true;
}

void QZSubsetAdaptor::allocateHessian() {
  workHessian_.reset();
  if (func2_ == nullptr || atomCount_ == 0) return;
  // A size beyond the address space is refused like one beyond the memory: null.
  workHessian_.reset(new (std::nothrow) double[PackedSize(coordCount())]);
}

bool QZSubsetAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!fixedPred_ || !mol.IsValid() || !wrapped_) return false;
  movingAtoms_.clear();
  atomCount_ = mol.AtomIndexBound();
  movingAtoms_.reserve(atomCount_);
  for (auto* buffer : {&referenceCoords_, &workCoords_, &workGrad_, &reducedVars_}) {
    buffer->assign(coordCount(), 0.0);
  }
  allocateHessian();
  std::set<const QZChem::QZAtomBase*> moving;
  bool anyFixed = false;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if ((*fixedPred_)(atom)) {
      anyFixed = true;
    } else {
      movingAtoms_.push_back(atom.GetIndex());
      if (restrictInteractions_) moving.insert(moving.end(), &atom);
    }
  }
  if (!anyFixed) return false;
  if (restrictInteractions_) RestrictInteractions(*wrapped_, std::move(moving));
  return wrapped_->Setup(mol);
}

void QZSubsetAdaptor::Clear() {
  atomCount_ = 0;
  movingAtoms_.clear();
  workHessian_.reset();
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
  return 3 * static_cast<unsigned int>(movingAtoms_.size());
}

const double* QZSubsetAdaptor::GetVar(const double* cartesian) {
  std::copy_n(cartesian, coordCount(), referenceCoords_.begin());
  for (std::size_t k = 0; k < movingAtoms_.size(); ++k) {
    StoreAtom(reducedVars_.data(), k, LoadAtom(cartesian, movingAtoms_[k]));
  }
  return reducedVars_.data();
}

bool QZSubsetAdaptor::AdaptVar(double* cartesian, const double* vars) const {
  if (atomCount_ == 0) return false;
  std::copy_n(referenceCoords_.begin(), coordCount(), cartesian);
  for (std::size_t k = 0; k < movingAtoms_.size(); ++k) {
    StoreAtom(cartesian, movingAtoms_[k], LoadAtom(vars, k));
  }
  return true;
}

bool QZSubsetAdaptor::AdaptGrad(double* grad, const double* cartGrad) const {
  if (atomCount_ == 0) return false;
  for (std::size_t k = 0; k < movingAtoms_.size(); ++k) {
    AddToAtom(grad, k, LoadAtom(cartGrad, movingAtoms_[k]));
  }
  return true;
}

bool QZSubsetAdaptor::AdaptHessian(double* hess, const double* cartHess) const {
  if (func2_ == nullptr || atomCount_ == 0) return false;
  for (std::size_t ka = 0; ka < movingAtoms_.size(); ++ka) {
    const std::size_t a = std::size_t{3} * movingAtoms_[ka];
    for (std::size_t k = 0; k < 3; ++k) {
      std::copy_n(cartHess + PackedIndex(a + k, a), k + 1, hess + PackedIndex(3 * ka + k, 3 * ka));
    }
    for (std::size_t kb = ka + 1; kb < movingAtoms_.size(); ++kb) {
      const std::size_t b = std::size_t{3} * movingAtoms_[kb];
      const auto [low, high] = std::minmax(a, b);
      for (std::size_t k = 0; k < 3; ++k) {
        std::copy_n(
            cartHess + PackedIndex(high + k, low), 3, hess + PackedIndex(3 * kb + k, 3 * ka));
      }
    }
  }
  return true;
}

double QZSubsetAdaptor::operator()(const double* vars) {
  if (!AdaptVar(workCoords_.data(), vars)) return 0.0;
  return (*wrapped_)(workCoords_.data());
}

double QZSubsetAdaptor::operator()(const double* vars, double* grad) {
  if (!AdaptVar(workCoords_.data(), vars)) return 0.0;
  std::fill(workGrad_.begin(), workGrad_.end(), 0.0);
  const double energy = (*wrapped_)(workCoords_.data(), workGrad_.data());
  AdaptGrad(grad, workGrad_.data());
  return energy;
}

bool QZSubsetAdaptor::operator()(const double* vars, double* hess, double* grad) {
  if (func2_ == nullptr || !workHessian_) return false;
  AdaptVar(workCoords_.data(), vars);
  if (grad != nullptr) {
    std::fill(workGrad_.begin(), workGrad_.end(), 0.0);
    (*wrapped_)(workCoords_.data(), workGrad_.data());
    AdaptGrad(grad, workGrad_.data());
  }
  std::fill_n(workHessian_.get(), PackedSize(coordCount()), 0.0);
  const bool ok = (*func2_)(workCoords_.data(), workHessian_.get(), workGrad_.data());
  AdaptHessian(hess, workHessian_.get());
  return ok;
}

}  // namespace QZMolPotential
