// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>
#include <utility>
#include <vector>

#include "molpotential/freezable.h"
#include "molpotential/molfunc.h"

namespace QZMolPotential {

/// Leaves out the terms of a function among fixed atoms and knows their constant sum. They are left
/// out only while a `Scope` exists, so that other users of the same function get all of its terms.
class FrozenTerms {
 public:
  /// `fixed`: a flag for every atom index; empty: none is fixed.
  void Reset(std::vector<unsigned char> fixed = {}) {
    fixed_ = std::move(fixed);
    isKnown_ = false;
  }
  /// Forgets the constant, so that it has to be computed again.
  void Forget() { isKnown_ = false; }
  /// Whether the constant is known. `Constant()` must then be added to energies.
  bool IsKnown() const { return isKnown_; }
  double Constant() const { return constant_; }

  /// While a scope exists, the terms are left out of `f`, if `wanted` and if `f` can do so.
  class Scope {
   public:
    Scope(const FrozenTerms& terms, QZMolFunc1& f, bool wanted = true) {
      if (!wanted || terms.fixed_.empty()) return;
      auto* const freezable = dynamic_cast<QZFreezable*>(&f);
      if (freezable != nullptr && freezable->Freeze(terms.fixed_.data())) out_ = freezable;
    }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() {
      if (out_ != nullptr) out_->Freeze(nullptr);
    }
    bool LeavesOut() const { return out_ != nullptr; }

   private:
    QZFreezable* out_ = nullptr;
  };

  /// Finds the constant, from the whole energy at `coords`.
  void Learn(QZMolFunc1& f, const double* coords, double energy) {
    // Where atoms overlap at the start the energy is so large that the constant would be lost in
    // its rounding: 1e6 kcal/mol leave 1e-10. The terms stay in until it has come down.
    constexpr double kMost = 1e6;
    if (fixed_.empty() || !(std::abs(energy) < kMost)) return;
    const Scope without(*this, f);
    if (!without.LeavesOut()) return;
    constant_ = energy - f(coords);
    isKnown_ = std::isfinite(constant_);
  }

 private:
  std::vector<unsigned char> fixed_;
  bool isKnown_ = false;
  double constant_ = 0.0;
};

}  // namespace QZMolPotential
