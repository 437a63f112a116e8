// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "molpotential/molpotential.h"
#include "qzchem/mol.h"

namespace TestSupport {

using Reals = std::vector<double>;

/// Lets `QZCheckFunc` look at value, gradient and Hessian (of a `QZFunc2`) of a function at `x`,
/// with differences of relative step `step`. The length of `x` counts: some functions report the
/// variables of their own atoms only. Returns "" or what is wrong, NaN included: beyond 1e-6 in a
/// gradient or 1e-5 in a Hessian, relative to the entry, with 1 as the floor.
std::string CheckDerivatives(QZOpt::QZFunc1& f, const Reals& x, double step = 1e-5);

/// The whole contract of a molecular function at one geometry of a molecule on which it is set up:
/// derivatives, gradient added rather than assigned, energy unchanged by rigid motion unless it
/// belongs to a place, `Setup` repeated gives the same, a copy evaluates alike and survives its
/// original. `make` builds the function ready for `Setup`; a null copy is accepted.
std::string CheckContract(const std::function<QZMolPotential::QZMolFunc1*()>& make,
                          const QZChem::QZMolBase& mol,
                          const Reals& coords,
                          bool rigidInvariant = true);

using AtomPred = QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>;
using BondPredicate = QZSystem::QZUnaryPredicate<QZChem::QZBondBase>;
using AtomPairPred = QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>;
using BondPairPred = QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>;

/// The atoms whose indices `f` accepts.
auto AtomsWhere(auto f) {
  return QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
      [f](const QZChem::QZAtomBase& atom) { return f(atom.GetIndex()); });
}

/// A differentiable function of all distances of a molecule that counts how many of its kind live
/// and keeps the predicates that reach it: the wrapped function of adaptor and ownership tests.
/// E = sum over i < j of 0.5 (r_ij - 1.7)^2 exp(-0.3 r_ij); holes are skipped. Evaluation allocates
/// nothing.
class ProbeFunc final : public QZMolPotential::QZMolFunc2 {
 public:
  explicit ProbeFunc(bool acceptsPredicates = true) : accepts_(acceptsPredicates) {}

  struct Call {
    std::string kind;  // "bond", "atom", "bond pair", "atom pair"
    unsigned int which;
    bool operator==(const Call&) const = default;
  };
  const std::vector<Call>& Calls() const { return calls_; }
  static int Living() { return static_cast<int>(tally_.use_count()) - 1; }
  int SetupCount() const { return setupCount_; }
  int ClearedPredicates() const { return cleared_; }
  bool Verbose() const { return verbose_; }
  void FailSetup(bool fail) { failSetup_ = fail; }

  using QZMolFunc2::operator();
  unsigned int NumVar() const override { return numVar_; }
  bool Setup(const QZChem::QZMolBase& mol) override;
  bool Set(const BondPairPred& p, unsigned n) override { return keep("bond pair", bondPair, p, n); }
  bool Set(const AtomPairPred& p, unsigned n) override { return keep("atom pair", atomPair, p, n); }
  bool Set(const BondPredicate& p, unsigned n) override { return keep("bond", bond, p, n); }
  bool Set(const AtomPred& p, unsigned n) override { return keep("atom", atom, p, n); }
  void ClearPredicates() override { ++cleared_; }
  void SetVerbose(bool on) override { verbose_ = on; }
  double operator()(const double* x) override { return evaluate(x, nullptr, nullptr); }
  double operator()(const double* x, double* grad) override { return evaluate(x, grad, nullptr); }
  bool operator()(const double* x, double* hessian, double* grad) override {
    evaluate(x, grad, hessian);
    return true;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  ProbeFunc* CreateCopy() const override { return new ProbeFunc(*this); }

  // The last predicate of each kind.
  std::shared_ptr<const AtomPred> atom;
  std::shared_ptr<const BondPredicate> bond;
  std::shared_ptr<const AtomPairPred> atomPair;
  std::shared_ptr<const BondPairPred> bondPair;

 private:
  bool keep(const char* kind, auto& slot, const auto& pred, unsigned which) {
    slot.reset(pred.CreateCopy());
    calls_.push_back({kind, which});
    return accepts_;
  }
  double evaluate(const double* x, double* grad, double* hessian) const;

  static inline const auto tally_ = std::make_shared<int>();
  std::shared_ptr<int> alive_ = tally_;
  bool accepts_;
  bool failSetup_ = false;
  bool verbose_ = false;
  int setupCount_ = 0;
  int cleared_ = 0;
  unsigned int numVar_ = 0;
  std::vector<unsigned int> atoms_;
  std::vector<Call> calls_;
};

}  // namespace TestSupport
