// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/wrappers.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "func/components.h"
#include "kernels/packed.h"
#include "molpotential/interaction.h"

namespace QZMolPotential {
namespace {

constexpr double kHessianStep = 1.0e-4;

void Scale(double* values, std::size_t count, double factor) {
  for (std::size_t i = 0; i < count; ++i) values[i] *= factor;
}

}  // namespace

bool QZNumericMolFunc2::operator()(const double* x, double* hessian, double* grad) {
  if (grad != nullptr) (*wrapped_)(x, grad);
  QZOpt::NumericHessian(*wrapped_, x, hessian, kHessianStep);
  return true;
}

double QZScaledMolFunc::operator()(const double* x) {
  return scale_ * (*wrapped_)(x);
}

double QZScaledMolFunc::operator()(const double* x, double* grad) {
  const double energy = (*wrapped_)(x, grad);
  Scale(grad, NumVar(), scale_);
  return scale_ * energy;
}

bool QZScaledMolFunc::operator()(const double* x, double* hessian, double* grad) {
  if (func2_ == nullptr || !(*func2_)(x, hessian, grad)) return false;
  const std::size_t n = NumVar();
  if (grad != nullptr) Scale(grad, n, scale_);
  Scale(hessian, PackedSize(n), scale_);
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZScaledMolFunc::GetFComponents(const double* x) {
  std::vector<QZOpt::QZFComponent> terms;
  AppendComponents(terms, *wrapped_, x, scale_);
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>(std::move(terms));
}

QZSystem::QZIterBase<QZInteraction>* QZScaledMolFunc::GetInteractions(const QZChem::QZMolBase& mol,
                                                                      const double* coords,
                                                                      unsigned int selector) const {
  std::vector<QZInteraction> interactions;
  for (const auto& term : QZSystem::QZRange(wrapped_->GetInteractions(mol, coords, selector))) {
    *interactions.emplace_back(term).GetImpl() *= scale_;
  }
  return new QZSystem::QZVectorIter<QZInteraction>(std::move(interactions));
}

bool QZMolFuncWrapper::Freeze(const unsigned char* fixed) {
  return FreezeTerms(*wrapped_, fixed);
}

bool QZMolFuncWrapper::AppendModelHessian(const double* x,
                                          std::vector<QZOpt::QZMatrixEntry>& entries) {
  return AppendModel(*wrapped_, x, entries);
}

bool QZScaledMolFunc::AppendModelHessian(const double* x,
                                         std::vector<QZOpt::QZMatrixEntry>& entries) {
  if (!(scale_ >= 0.0)) return false;
  const std::size_t before = entries.size();
  if (!AppendModel(*wrapped_, x, entries)) return false;
  for (std::size_t k = before; k < entries.size(); ++k) entries[k].value *= scale_;
  return true;
}

}  // namespace QZMolPotential
