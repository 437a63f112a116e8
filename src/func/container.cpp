// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/container.h"

#include <algorithm>
#include <utility>

#include "func/components.h"

namespace QZMolPotential {

QZMolContainerFunc::QZMolContainerFunc(const QZMolContainerFunc& other)
    : QZMolFunc(other),
      QZOpt::QZFunc0(other),
      QZMolFunc0(other),
      QZOpt::QZFunc1(other),
      QZMolFunc1(other),
      numVar_(other.numVar_),
      pushCount_(other.pushCount_),
      members_(other.members_) {}

QZMolContainerFunc::QZMolContainerFunc(QZMolContainerFunc&& other) noexcept
    : QZMolFunc(other),
      QZOpt::QZFunc0(other),
      QZMolFunc0(other),
      QZOpt::QZFunc1(other),
      QZMolFunc1(other),
      numVar_(other.numVar_),
      pushCount_(other.pushCount_),
      members_(std::exchange(other.members_, {})),
      scratch_(std::move(other.scratch_)) {}

QZMolContainerFunc& QZMolContainerFunc::operator=(const QZMolContainerFunc& other) {
  members_ = other.members_;
  numVar_ = other.numVar_;
  pushCount_ = other.pushCount_;
  return *this;
}

QZMolContainerFunc& QZMolContainerFunc::operator=(QZMolContainerFunc&& other) noexcept {
  if (this == &other) return *this;
  numVar_ = other.numVar_;
  pushCount_ = other.pushCount_;
  members_ = std::exchange(other.members_, {});
  scratch_ = std::move(other.scratch_);
  return *this;
}

void QZMolContainerFunc::push(QZMolFunc1* func) {
  if (func == nullptr) return;
  members_.push_back(func);
  if (pushCount_ == 0) numVar_ = func->NumVar();
  ++pushCount_;
}

void QZMolContainerFunc::clear() {
  members_.clear();
  pushCount_ = 0;
}

double QZMolContainerFunc::operator()(const double* x) {
  double energy = 0.0;
  for (QZMolFunc1* member : members_) energy += (*member)(x);
  return energy;
}

double QZMolContainerFunc::operator()(const double* x, double* grad) {
  std::fill_n(grad, numVar_, 0.0);
  // Counts are not compared, so the array has room for the largest member.
  std::size_t room = numVar_;
  for (const QZMolFunc1* member : members_) room = std::max<std::size_t>(room, member->NumVar());
  scratch_.reset(new double[room]);
  double energy = 0.0;
  for (QZMolFunc1* member : members_) {
    std::fill_n(scratch_.get(), room, 0.0);
    energy += (*member)(x, scratch_.get());
    for (std::size_t i = 0; i < numVar_; ++i) grad[i] += scratch_[i];
  }
  return energy;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZMolContainerFunc::GetFComponents(const double* x) {
  std::vector<QZOpt::QZFComponent> terms;
  for (QZMolFunc1* member : members_) AppendComponents(terms, *member, x);
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>(std::move(terms));
}

bool QZMolContainerFunc::Setup(const QZChem::QZMolBase& /*mol*/) {
  return false;
}

bool QZMolContainerFunc::IsFrameInvariant() const {
  return std::ranges::all_of(members_,
                             [](const auto* member) { return QZIsFrameInvariant(*member); });
}

bool QZMolContainerFunc::Freeze(const unsigned char* fixed) {
  bool any = false;
  for (QZMolFunc1* member : members_) any = FreezeTerms(*member, fixed) || any;
  return any;
}

bool QZMolContainerFunc::AppendModelHessian(const double* x,
                                            std::vector<QZOpt::QZMatrixEntry>& entries) {
  bool any = false;
  for (QZMolFunc1* member : members_) any = AppendModel(*member, x, entries) || any;
  return any;
}

}  // namespace QZMolPotential
