// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "qzsystem/predicate.h"

namespace QZConstr {

/// A private copy of a caller's predicate, or none; copied with its owner.
template <class T>
class PredicateCopy {
 public:
  using Predicate = QZSystem::QZUnaryPredicate<T>;

  PredicateCopy() = default;
  explicit PredicateCopy(const Predicate& pred) : pred_(pred.CreateCopy()) {}
  PredicateCopy(const PredicateCopy& other)
      : pred_(other.pred_ ? other.pred_->CreateCopy() : nullptr) {}
  PredicateCopy(PredicateCopy&&) noexcept = default;
  PredicateCopy& operator=(PredicateCopy other) noexcept {
    pred_.swap(other.pred_);
    return *this;
  }
  ~PredicateCopy() = default;

  const Predicate* Get() const { return pred_.get(); }

 private:
  std::unique_ptr<const Predicate> pred_;
};

}  // namespace QZConstr
