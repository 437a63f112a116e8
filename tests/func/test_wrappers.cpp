// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "molpotential/molpotential.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using TestSupport::ProbeFunc;

// E = 0.5 x'Ax + b'x with a full matrix; level 2 absent.
class Quadratic final : public QZMolFunc1 {
 public:
  explicit Quadratic(unsigned int n) : n_(n) {}
  using QZMolFunc1::operator();
  unsigned int NumVar() const override { return n_; }
  bool Setup(const QZChem::QZMolBase&) override { return true; }
  bool SetupConf(const double*) override { return false; }
  static double A(unsigned int i, unsigned int j) { return i == j ? 2.0 + i : 1.0 / (1.0 + i + j); }
  double operator()(const double* x) override {
    std::vector<double> unused(n_, 0.0);
    return (*this)(x, unused.data());
  }
  double operator()(const double* x, double* grad) override {
    double energy = 0.0;
    for (unsigned int i = 0; i < n_; ++i) {
      double row = 0.0;
      for (unsigned int j = 0; j < n_; ++j) row += A(i, j) * x[j];
      energy += 0.5 * x[i] * row + 0.3 * x[i];
      grad[i] += row + 0.3;
    }
    return energy;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return nullptr;
  }
  Quadratic* CreateCopy() const override { return new Quadratic(*this); }

 private:
  unsigned int n_;
};

class Sum final : public QZMolContainerFunc {
 public:
  Sum* CreateCopy() const override { return new Sum(*this); }
};

class Defaults final : public QZMolAdaptor {
 public:
  using QZMolAdaptor::CreateCopy;
  using QZMolAdaptor::GetVar;
  using QZMolAdaptor::operator();
  unsigned int NumVar() const override { return 2; }
  bool Setup(const QZChem::QZMolBase&) override { return true; }
  double operator()(const double*) override { return 0.0; }
  double operator()(const double*, double*) override { return 0.0; }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return nullptr;
  }
  const double* GetVar(const double* funcVars) override { return funcVars; }
  bool AdaptVar(double*, const double*) const override { return false; }
  QZMolFunc1& GetMolFunc() const override { std::abort(); }
  bool SetMolFunc(QZMolFunc1&, bool) override { return false; }
};

std::vector<double> Gradient(QZMolFunc1& f, const std::vector<double>& x) {
  std::vector<double> grad(x.size(), 0.0);
  f(x.data(), grad.data());
  return grad;
}

int Count(QZSystem::QZIterBase<QZOpt::QZFComponent>* terms) {
  int count = 0;
  for ([[maybe_unused]] auto& term : QZSystem::QZRange(terms)) ++count;
  return count;
}

TEST(Interfaces, DefaultsAnswerAsTheProtocolSays) {
  Defaults f;
  const auto water = TestSupport::Water();
  EXPECT_TRUE(f.SetupConf(nullptr));
  EXPECT_FALSE(f.Set(QZSystem::QZUnaryTrue<QZChem::QZAtomBase>(), 8));
  EXPECT_FALSE(f.Set(QZSystem::QZUnaryTrue<QZChem::QZBondBase>(), 8));
  EXPECT_FALSE(f.Set(QZSystem::QZBinaryTrue<QZChem::QZAtomBase, QZChem::QZAtomBase>(), 8));
  EXPECT_FALSE(f.Set(QZSystem::QZBinaryTrue<QZChem::QZBondBase, QZChem::QZBondBase>(), 8));
  const std::unique_ptr<QZSystem::QZIterBase<QZInteraction>> none(
      f.GetInteractions(water, nullptr, 0));
  ASSERT_NE(none, nullptr);
  EXPECT_FALSE(none->IsValid());
  EXPECT_EQ(f.CreateCopy(), nullptr);
  const double x[3] = {1.0, 2.0, 3.0};
  double out[3] = {0.0, 0.0, -7.0};
  f.GetVar(out, x);
  EXPECT_EQ(out[1], 2.0);
  EXPECT_EQ(out[2], -7.0) << "copies NumVar() values and no more";
}

TEST(Container, SumsOverwritesTheGradientAndAllocatesRoomForEveryMember) {
  const auto mol = TestSupport::Butane();
  const auto x = TestSupport::Coords(mol);
  ProbeFunc probe;
  ASSERT_TRUE(probe.Setup(mol));
  Quadratic quadratic(probe.NumVar());
  Sum sum;
  sum.push(&probe);
  sum.push(&quadratic);
  sum.push(nullptr);
  const auto a = Gradient(probe, x);
  const auto b = Gradient(quadratic, x);
  std::vector<double> grad(x.size(), 1e3);
  for (int repeat = 0; repeat < 2; ++repeat) {
    EXPECT_DOUBLE_EQ(sum(x.data(), grad.data()), probe(x.data()) + quadratic(x.data()));
    for (std::size_t i = 0; i < x.size(); ++i) ASSERT_DOUBLE_EQ(grad[i], a[i] + b[i]);
  }
  EXPECT_DOUBLE_EQ(sum(x.data()), probe(x.data()) + quadratic(x.data()));
  EXPECT_EQ(Count(sum.GetFComponents(x.data())), 1) << "a null iterator contributes nothing";
  EXPECT_FALSE(sum.Setup(mol));
  EXPECT_EQ(probe.SetupCount(), 1);

  // The first member decides the count; a longer one is summed over that many entries.
  Sum narrow;
  Quadratic first(3);
  narrow.push(&first);
  narrow.push(&quadratic);
  std::vector<double> three(3);
  narrow(x.data(), three.data());
  EXPECT_EQ(narrow.NumVar(), 3U);
  EXPECT_DOUBLE_EQ(three[2], Gradient(first, {x[0], x[1], x[2]})[2] + b[2]);
}

TEST(Container, EmptyOneClearsAndKeepsItsOldCountUntilTheNextPush) {
  Quadratic f(2);
  Sum sum;
  EXPECT_EQ(sum.NumVar(), 0U);
  sum.push(&f);
  sum.clear();
  EXPECT_EQ(sum.NumVar(), 2U);
  double grad[2] = {5.0, 5.0};
  const double x[2] = {1.0, 1.0};
  EXPECT_EQ(sum(x, grad), 0.0);
  EXPECT_EQ(grad[0], 0.0);
  EXPECT_EQ(Count(sum.GetFComponents(x)), 0);
  Quadratic g(3);
  sum.push(&g);
  EXPECT_EQ(sum.NumVar(), 3U);
}

TEST(Container, CopiesShareMembersAndMovesTakeThem) {
  Quadratic f(2);
  const double x[2] = {1.0, -2.0};
  Sum sum;
  sum.push(&f);
  const std::unique_ptr<Sum> copy(sum.CreateCopy());
  Sum moved(std::move(sum));
  EXPECT_EQ((*copy)(x), f(x));
  EXPECT_EQ(moved(x), f(x));
  EXPECT_EQ(sum(x), 0.0);
  Sum assigned;
  assigned = std::move(moved);
  EXPECT_EQ(assigned(x), f(x));
  EXPECT_EQ(moved(x), 0.0);
  assigned = *copy;
  EXPECT_EQ(assigned(x), f(x));
  double grad[2];
  assigned(x, grad);
  EXPECT_EQ(grad[1], Gradient(f, {x[0], x[1]})[1]);
}

TEST(NumericHessian, MatchesTheMatrixOfAQuadraticAndTheAnalyticHessianOfDistances) {
  Quadratic quadratic(5);
  QZNumericMolFunc2 numeric(quadratic, /*own=*/false);
  const std::vector<double> x{0.4, -1.0, 2.5, 0.0, 7.0};
  std::vector<double> hessian(15, 1.0);
  std::vector<double> grad(5, 0.0);
  ASSERT_TRUE(numeric(x.data(), hessian.data(), grad.data()));
  EXPECT_EQ(grad, Gradient(quadratic, x));
  for (unsigned int r = 0; r < 5; ++r) {
    for (unsigned int c = 0; c <= r; ++c) {
      EXPECT_NEAR(hessian[r * (r + 1) / 2 + c] - 1.0, Quadratic::A(r, c), 1e-10) << "added into";
    }
  }

  const auto mol = TestSupport::Butane();
  ProbeFunc probe;
  QZNumericMolFunc2 wrapped(probe, /*own=*/false);
  ASSERT_TRUE(wrapped.Setup(mol));
  const auto coords = TestSupport::Coords(mol);
  const std::size_t size = coords.size() * (coords.size() + 1) / 2;
  std::vector<double> analytic(size, 0.0);
  std::vector<double> differences(size, 0.0);
  ASSERT_TRUE(probe(coords.data(), analytic.data(), nullptr));
  ASSERT_TRUE(wrapped(coords.data(), differences.data(), nullptr)) << "a null gradient is accepted";
  for (std::size_t i = 0; i < size; ++i) {
    ASSERT_TRUE(std::abs(differences[i] - analytic[i]) <= 2e-7) << i;
  }
  EXPECT_EQ(TestSupport::CheckHessian(wrapped, coords), "");
}

TEST(Wrappers, ForwardBindingButNotSetupConfAndCannotBeCopied) {
  const auto mol = TestSupport::Water();
  ProbeFunc probe;
  QZNumericMolFunc2 numeric(probe, /*own=*/false);
  QZScaledMolFunc scaled(static_cast<QZMolFunc1&>(numeric), 2.0, /*own=*/false);
  EXPECT_TRUE(scaled.Setup(mol));
  EXPECT_EQ(probe.SetupCount(), 1);
  EXPECT_EQ(scaled.NumVar(), 9U);
  EXPECT_TRUE(scaled.Set(QZSystem::QZUnaryTrue<QZChem::QZAtomBase>(), 7));
  EXPECT_TRUE(scaled.Set(QZSystem::QZUnaryTrue<QZChem::QZBondBase>(), 8));
  EXPECT_TRUE(scaled.Set(QZSystem::QZBinaryTrue<QZChem::QZAtomBase, QZChem::QZAtomBase>(), 9));
  EXPECT_TRUE(scaled.Set(QZSystem::QZBinaryTrue<QZChem::QZBondBase, QZChem::QZBondBase>(), 10));
  ASSERT_EQ(probe.Calls().size(), 4U);
  EXPECT_EQ(probe.Calls()[3].kind, "bond pair");
  EXPECT_EQ(probe.Calls()[3].which, 10U);
  scaled.ClearPredicates();
  EXPECT_EQ(probe.ClearedPredicates(), 1);
  scaled.SetVerbose(true);
  EXPECT_TRUE(probe.Verbose());
  EXPECT_EQ(numeric.CreateCopy(), nullptr);
  EXPECT_EQ(static_cast<const QZMolFunc1&>(scaled).CreateCopy(), nullptr);

  Quadratic refusesConformations(3);
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
  EXPECT_EQ(TestSupport::CheckHessian(scaled, x), "");
  EXPECT_DOUBLE_EQ(scaled(x.data()), -2.5 * probe(x.data()));
  const std::unique_ptr<QZSystem::QZIterBase<QZOpt::QZFComponent>> terms(
      scaled.GetFComponents(x.data()));
  EXPECT_STREQ((*terms)->GetName(), "Probe");
  EXPECT_DOUBLE_EQ((*terms)->GetValue(), -2.5 * probe(x.data()));

  const auto plain = Gradient(probe, x);
  std::vector<double> grad(x.size(), 4.0);
  scaled(x.data(), grad.data());
  EXPECT_DOUBLE_EQ(grad[5], -2.5 * (4.0 + plain[5]));

  QZScaledMolFunc zero(static_cast<QZMolFunc2&>(probe), 0.0, /*own=*/false);
  std::vector<double> hessian(x.size() * (x.size() + 1) / 2, 3.0);
  ASSERT_TRUE(zero(x.data(), hessian.data(), grad.data()));
  for (double value : hessian) ASSERT_EQ(value, 0.0);
  for (double value : grad) ASSERT_EQ(value, 0.0);
  EXPECT_EQ(zero(x.data()), 0.0);
}

TEST(Scaled, WithoutAHessianBelowAnswersFalseAndTouchesNothing) {
  const auto mol = TestSupport::Water();
  const auto x = TestSupport::Coords(mol);
  ProbeFunc probe;
  QZScaledMolFunc scaled(static_cast<QZMolFunc1&>(probe), 2.0, /*own=*/false);
  ASSERT_TRUE(scaled.Setup(mol));
  std::vector<double> hessian(45, 3.0);
  std::vector<double> grad(9, 4.0);
  EXPECT_FALSE(scaled(x.data(), hessian.data(), grad.data()));
  EXPECT_EQ(hessian, std::vector<double>(45, 3.0));
  EXPECT_EQ(grad, std::vector<double>(9, 4.0));
}

}  // namespace
