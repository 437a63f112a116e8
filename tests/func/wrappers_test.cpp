// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "molpotential/molpotential.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using TestSupport::ProbeFunc;

// E = sum of x_i^2 over n variables; without terms, level 2 and `SetupConf`.
class Squares final : public QZMolFunc1 {
 public:
  explicit Squares(unsigned int n) : n_(n) {}
  using QZMolFunc1::operator();
  unsigned int NumVar() const override { return n_; }
  bool Setup(const QZChem::QZMolBase&) override { return true; }
  bool SetupConf(const double*) override { return false; }
  double operator()(const double* x) override { return std::inner_product(x, x + n_, x, 0.0); }
  double operator()(const double* x, double* grad) override {
    for (unsigned int i = 0; i < n_; ++i) grad[i] += 2.0 * x[i];
    return (*this)(x);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return nullptr;
  }
  Squares* CreateCopy() const override { return new Squares(*this); }

 private:
  unsigned int n_;
};

class Sum final : public QZMolContainerFunc {
 public:
  Sum* CreateCopy() const override { return new Sum(*this); }
};

std::vector<double> Gradient(QZMolFunc1& f, const std::vector<double>& x) {
  std::vector<double> grad(x.size(), 0.0);
  f(x.data(), grad.data());
  return grad;
}

TEST(Container, SumsOverwritesTheGradientAndAllocatesRoomForEveryMember) {
  const auto mol = TestSupport::Butane();
  const auto x = TestSupport::Coords(mol);
  ProbeFunc probe;
  ASSERT_TRUE(probe.Setup(mol));
  Squares squares(probe.NumVar());
  Sum sum;
  sum.push(&probe);
  sum.push(&squares);
  sum.push(nullptr);
  const auto a = Gradient(probe, x);
  const auto b = Gradient(squares, x);
  std::vector<double> grad(x.size(), 1e3);
  for (int repeat = 0; repeat < 2; ++repeat) {
    EXPECT_DOUBLE_EQ(sum(x.data(), grad.data()), probe(x.data()) + squares(x.data()));
    for (std::size_t i = 0; i < x.size(); ++i) ASSERT_DOUBLE_EQ(grad[i], a[i] + b[i]);
  }
  EXPECT_DOUBLE_EQ(sum(x.data()), probe(x.data()) + squares(x.data()));
  std::unique_ptr<QZSystem::QZIterBase<QZOpt::QZFComponent>> terms(sum.GetFComponents(x.data()));
  EXPECT_TRUE(terms->IsValid());
  EXPECT_FALSE((++*terms).IsValid()) << "a null iterator contributes nothing";
  EXPECT_FALSE(sum.Setup(mol));

  // The first member decides the count; a longer one is summed over that many entries.
  Sum narrow;
  Squares first(3);
  narrow.push(&first);
  narrow.push(&squares);
  double three[3];
  narrow(x.data(), three);
  EXPECT_EQ(narrow.NumVar(), 3U);
  EXPECT_DOUBLE_EQ(three[2], Gradient(first, {x[0], x[1], x[2]})[2] + b[2]);
}

TEST(Container, CopiesShareMembersMovesTakeThemAndAnEmptyOneIsZero) {
  Squares f(2);
  const double x[2] = {1.0, -2.0};
  Sum sum;
  sum.push(&f);
  const std::unique_ptr<Sum> copy(sum.CreateCopy());
  Sum moved(std::move(sum));
  Sum assigned;
  assigned = std::move(moved);
  EXPECT_EQ((*copy)(x), f(x));
  EXPECT_EQ(assigned(x), f(x));
  for (Sum* empty : {&sum, &moved}) EXPECT_EQ((*empty)(x), 0.0);
  assigned.clear();
  EXPECT_EQ(assigned.NumVar(), 2U) << "the old count until the next push";
  double grad[2] = {5.0, 5.0};
  EXPECT_EQ(assigned(x, grad), 0.0);
  EXPECT_EQ(grad[0], 0.0);
  assigned = *copy;
  assigned(x, grad);
  EXPECT_EQ(grad[1], Gradient(f, {x[0], x[1]})[1]);
}

TEST(NumericHessian, IsAddedAndMatchesTheAnalyticOne) {
  const auto mol = TestSupport::Butane();
  const auto x = TestSupport::Coords(mol);
  ProbeFunc probe;
  QZNumericMolFunc2 numeric(probe, /*own=*/false);
  ASSERT_TRUE(numeric.Setup(mol));
  std::vector<double> analytic(x.size() * (x.size() + 1) / 2, 1.0);
  std::vector<double> differences = analytic;
  std::vector<double> grad(x.size(), 0.0);
  ASSERT_TRUE(probe(x.data(), analytic.data(), nullptr));
  ASSERT_TRUE(numeric(x.data(), differences.data(), grad.data()));
  EXPECT_EQ(grad, Gradient(probe, x));
  for (std::size_t i = 0; i < analytic.size(); ++i) {
    ASSERT_TRUE(std::abs(differences[i] - analytic[i]) <= 2e-7) << i;
  }
  EXPECT_TRUE(numeric(x.data(), differences.data(), nullptr)) << "a null gradient is accepted";
}

TEST(Wrappers, ForwardBindingButNotSetupConfAndCannotBeCopied) {
  ProbeFunc probe;
  QZNumericMolFunc2 numeric(probe, /*own=*/false);
  QZScaledMolFunc scaled(static_cast<QZMolFunc1&>(numeric), 2.0, /*own=*/false);
  EXPECT_TRUE(scaled.Setup(TestSupport::Water()));
  EXPECT_EQ(probe.SetupCount(), 1);
  EXPECT_EQ(scaled.NumVar(), 9U);
  EXPECT_TRUE(scaled.Set(QZSystem::QZUnaryTrue<QZChem::QZAtomBase>(), 7));
  EXPECT_TRUE(scaled.Set(QZSystem::QZUnaryTrue<QZChem::QZBondBase>(), 8));
  EXPECT_TRUE(scaled.Set(QZSystem::QZBinaryTrue<QZChem::QZAtomBase, QZChem::QZAtomBase>(), 9));
  EXPECT_TRUE(scaled.Set(QZSystem::QZBinaryTrue<QZChem::QZBondBase, QZChem::QZBondBase>(), 10));
  std::string calls;
  for (const auto& [kind, which] : probe.Calls()) calls += kind + std::to_string(which) + " ";
  EXPECT_EQ(calls, "atom7 bond8 atom pair9 bond pair10 ");
  scaled.ClearPredicates();
  EXPECT_EQ(probe.ClearedPredicates(), 1);
  EXPECT_EQ(numeric.CreateCopy(), nullptr);
  EXPECT_EQ(static_cast<const QZMolFunc1&>(scaled).CreateCopy(), nullptr);
  Squares refusesConformations(3);
  EXPECT_TRUE(QZNumericMolFunc2(refusesConformations, /*own=*/false).SetupConf(nullptr));
}

TEST(Wrappers, DeleteWhatTheyOwnOnce) {
  ASSERT_EQ(ProbeFunc::Living(), 0);
  ProbeFunc kept;
  {
    QZNumericMolFunc2 owning(*new ProbeFunc, /*own=*/true);
    QZScaledMolFunc scaled(static_cast<QZMolFunc2&>(*new ProbeFunc), 2.0, /*own=*/true);
    QZScaledMolFunc borrowing(static_cast<QZMolFunc1&>(kept), 2.0, /*own=*/false);
    EXPECT_EQ(ProbeFunc::Living(), 3);
    QZWrappedFunc held(*new ProbeFunc, /*own=*/true);
    held.Reset(kept, /*own=*/false);
    EXPECT_EQ(ProbeFunc::Living(), 3) << "the owned function goes when it is replaced";
  }
  EXPECT_EQ(ProbeFunc::Living(), 1);
}

TEST(Scaled, MultipliesEnergyTermsAndDerivativesAndWhatTheArraysHeld) {
  const auto mol = TestSupport::Butane();
  const auto x = TestSupport::Coords(mol);
  ProbeFunc probe;
  QZScaledMolFunc scaled(static_cast<QZMolFunc2&>(probe), -2.5, /*own=*/false);
  ASSERT_TRUE(scaled.Setup(mol));
  EXPECT_EQ(TestSupport::CheckDerivatives(scaled, x), "");
  EXPECT_DOUBLE_EQ(scaled(x.data()), -2.5 * probe(x.data()));
  for (const auto& term : QZSystem::QZRange(scaled.GetFComponents(x.data()))) {
    EXPECT_STREQ(term.GetName(), "Probe");
    EXPECT_DOUBLE_EQ(term.GetValue(), -2.5 * probe(x.data()));
  }
  std::vector<double> grad(x.size(), 4.0);
  scaled(x.data(), grad.data());
  EXPECT_DOUBLE_EQ(grad[5], -2.5 * (4.0 + Gradient(probe, x)[5]));

  std::vector<double> hessian(x.size() * (x.size() + 1) / 2, 3.0);
  QZScaledMolFunc noHessian(static_cast<QZMolFunc1&>(probe), 2.0, /*own=*/false);
  const auto before = grad;
  EXPECT_FALSE(noHessian(x.data(), hessian.data(), grad.data()));
  EXPECT_EQ(hessian, std::vector<double>(hessian.size(), 3.0)) << "untouched";
  EXPECT_EQ(grad, before);
  QZScaledMolFunc zero(static_cast<QZMolFunc2&>(probe), 0.0, /*own=*/false);
  ASSERT_TRUE(zero(x.data(), hessian.data(), grad.data()));
  EXPECT_EQ(hessian, std::vector<double>(hessian.size(), 0.0));
  EXPECT_EQ(grad, std::vector<double>(grad.size(), 0.0));
}

}  // namespace
