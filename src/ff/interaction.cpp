// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/interaction.h"

#include <algorithm>

namespace QZMolPotential {

QZInteractImpl::QZInteractImpl(const char* name,
                               double value,
                               unsigned int numValues,
                               const double* values,
                               const std::vector<QZChem::QZAtomBase*>& atoms)
    : name_(name), value_(value), atoms_(atoms) {
  if (numValues != 0) values_.assign(values, values + numValues);
}

QZInteractImpl& QZInteractImpl::operator*=(double s) {
  value_ *= s;
  for (double& value : values_) value *= s;
  return *this;
}

QZInteraction::QZInteraction(const QZInteraction& other)
    : impl_(std::make_unique<QZInteractImpl>(*other.impl_)) {}

QZInteraction& QZInteraction::operator=(const QZInteraction& other) {
  if (this != &other) impl_ = std::make_unique<QZInteractImpl>(*other.impl_);
  return *this;
}

QZInteraction::~QZInteraction() = default;

double QZInteraction::GetValues(double* out) const {
  if (out != nullptr) std::ranges::copy(impl_->GetValues(), out);
  return impl_->GetValue();
}

QZSystem::QZIterBase<QZChem::QZAtomBase>* QZInteraction::GetAtoms() const {
  return new QZSystem::QZPointerIter<QZChem::QZAtomBase>(impl_->GetAtoms());
}

}  // namespace QZMolPotential
