// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <utility>

#include "bonded.h"
#include "pairs/evaluator.h"

namespace QZMolPotential {

/// Van der Waals or electrostatic energy of all pairs. The two terms of a force field share one
/// `PairEvaluator`, which then serves both in one pass.
class PairTerm final : public TermEvaluator {
 public:
  PairTerm(std::shared_ptr<PairEvaluator> pairs, PairTerms terms)
      : pairs_(std::move(pairs)), terms_(terms) {}

  std::unique_ptr<TermEvaluator> Copy() const override {
    return std::make_unique<PairTerm>(std::make_shared<PairEvaluator>(*pairs_), terms_);
  }
  std::unique_ptr<TermEvaluator> Touching(const unsigned char* fixed) const override;
  std::size_t Size() const override { return pairs_->NumPairs(terms_); }
  double Energy(const double* x) override {
    return isIdle() ? 0.0 : pairs_->Energy(x, terms_).Sum();
  }
  double Gradient(const double* x, double* grad) override {
    return isIdle() ? 0.0 : pairs_->Gradient(x, terms_, grad).Sum();
  }
  void Hessian(const double* x, double* packed, double* grad) override {
    if (!isIdle()) pairs_->Hessian(x, terms_, packed, grad);
  }
  void HessianEntries(const double* x, Entries& entries) override;
  bool Model(const double* x, Entries& entries) override;
  void ForEach(const double* x, const Visit& visit) override;

  /// True when the pairs of `other` are the same; from then on both use one evaluator.
  bool ShareWith(PairTerm& other);

  bool SharesWith(const PairTerm& other) const { return pairs_ == other.pairs_; }

  /// While such an object exists, the first of two terms that share an evaluator computes both
  /// energies and the second computes nothing, so that their sum takes one pass over the pairs.
  /// With null terms it has no effect.
  class Joint {
   public:
    explicit Joint(std::pair<PairTerm*, PairTerm*> terms)
        : first_(terms.first), second_(terms.second) {
      swap();
    }
    Joint(const Joint&) = delete;
    Joint& operator=(const Joint&) = delete;
    ~Joint() { swap(); }

   private:
    void swap() {
      if (first_ == nullptr || second_ == nullptr) return;
      std::swap(first_->terms_, firstTerms_);
      std::swap(second_->terms_, secondTerms_);
    }
    PairTerm* first_;
    PairTerm* second_;
    PairTerms firstTerms_{true, true};
    PairTerms secondTerms_{false, false};
  };

 private:
  bool isIdle() const { return !terms_.vanDerWaals && !terms_.electrostatics; }

  std::shared_ptr<PairEvaluator> pairs_;
  PairTerms terms_;
};

}  // namespace QZMolPotential
