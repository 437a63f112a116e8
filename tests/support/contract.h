// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "molpotential/molpotential.h"
#include "qzchem/mol.h"

namespace TestSupport {

/// What the contract checker looks at, and how strictly. A tolerance is relative to the largest
/// entry of the reference, with 1 as its floor.
struct ContractOptions {
  double step = 1e-5;  // times max(1, |x|)
  double gradientTolerance = 1e-6;
  double hessianTolerance = 1e-5;
  bool rigidInvariant = false;  // energy unchanged by motion, net force and torque zero
  unsigned int randomSeed = 20260101;
};

/// Compares value and gradient (and the Hessian, for a `QZFunc2`) of a function at `x` with central
/// differences. `length` is the length of x and gradient; it is an argument since some functions
/// report the variables of their own atoms only. Every coordinate is tested up to 60 of them, three
/// random directions beyond. Returns "" or what is wrong: NaN counts as wrong.
std::string CheckDerivatives(QZOpt::QZFunc1& f,
                             const std::vector<double>& x,
                             const ContractOptions& options = {});
std::string CheckHessian(QZOpt::QZFunc2& f,
                         const std::vector<double>& x,
                         const ContractOptions& options = {});

/// The whole contract of a molecular function at one geometry of a molecule on which it is set up:
/// derivatives, gradient added rather than assigned, rigid-motion invariance when asked for,
/// `Setup` repeated gives the same, a copy evaluates alike and survives its original. `make` builds
/// the function ready for `Setup`; a null copy is accepted.
std::string CheckContract(const std::function<QZMolPotential::QZMolFunc1*()>& make,
                          const QZChem::QZMolBase& mol,
                          const std::vector<double>& x,
                          const ContractOptions& options = {});

/// A differentiable function of all distances of a molecule that counts how many of its kind live
/// and which predicates reach it: the wrapped function of adaptor and ownership tests.
/// E = sum over i < j of 0.5 (r_ij - 1.7)^2 exp(-0.3 r_ij); holes are skipped. Has a Hessian.
class ProbeFunc final : public QZMolPotential::QZMolFunc2 {
 public:
  explicit ProbeFunc(bool acceptsPredicates = true);
  ProbeFunc(const ProbeFunc& other);
  ProbeFunc& operator=(const ProbeFunc&) = delete;
  ~ProbeFunc() override;

  static int Living();
  struct Call {
    std::string kind;  // "bond", "atom", "bond pair", "atom pair"
    unsigned int which;
  };
  const std::vector<Call>& Calls() const { return calls_; }
  int SetupCount() const { return setupCount_; }
  int ClearedPredicates() const { return cleared_; }
  bool Verbose() const { return verbose_; }
  void FailSetup(bool fail) { failSetup_ = fail; }

  using QZMolFunc2::operator();
  unsigned int NumVar() const override { return numVar_; }
  bool Setup(const QZChem::QZMolBase& mol) override;
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>& pred,
           unsigned int which) override;
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>& pred,
           unsigned int which) override;
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred, unsigned int which) override;
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  void ClearPredicates() override { ++cleared_; }
  void SetVerbose(bool on) override { verbose_ = on; }
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  ProbeFunc* CreateCopy() const override { return new ProbeFunc(*this); }

 private:
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
