// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "forcefields/forcefields.h"
#include "molpotential/molpotential.h"
#include "support/allocations.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using namespace TestSupport;
using Kind = QZForceFieldKind;

// MMFF94 that tells how many contributions it computed at its latest evaluation, and throws when it
// is told to.
class Watched final : public QZMolFunc2, public QZFreezable {
 public:
  bool Setup(const QZChem::QZMolBase& mol) override { return ff.Setup(mol); }
  unsigned int NumVar() const override { return ff.NumVar(); }
  using QZMolFunc2::operator();
  double operator()(const double* x) override { return count(), ff(x); }
  double operator()(const double* x, double* grad) override { return count(), ff(x, grad); }
  bool operator()(const double* x, double* hessian, double* grad) override {
    return count(), ff(x, hessian, grad);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return ff.GetFComponents(x);
  }
  bool Freeze(const unsigned char* fixed) override { return ff.Freeze(fixed); }
  Watched* CreateCopy() const override { return nullptr; }

  QZStandardFF ff{Kind::MMFF94};
  std::size_t contributions = 0;
  bool throws = false;

 private:
  void count() {
    contributions = 0;
    for (QZMolFunc2* f : ff.QZGenericFFImpl2::GetComponentPotentials()) {
      contributions += dynamic_cast<QZForceFieldTerm&>(*f).NumContributions();
    }
    if (throws) throw std::runtime_error("told to");
  }
};

class Container final : public QZMolContainerFunc {
 public:
  Container* CreateCopy() const override { return nullptr; }
};

double Sum(QZSystem::QZIterBase<QZOpt::QZFComponent>* terms) {
  double sum = 0.0;
  for (const auto& term : QZSystem::QZRange(terms)) sum += term.GetValue();
  return sum;
}

TEST(Frozen, EnergiesAreCompleteAndTheFunctionIsWholeBetweenCalls) {
  std::mt19937 rng(31);
  const auto mol = DataMolecule("penicillin_g");
  const auto at = Coords(mol);
  const auto few = [](unsigned int i) { return i >= 21; };
  for (const QZCoordinates kind : {QZCoordinates::Cartesian,
                                   QZCoordinates::ZMatrix,
                                   QZCoordinates::Redundant,
                                   QZCoordinates::Internal}) {
    SCOPED_TRACE(std::string(QZGetCoordinatesName(kind)) + ", seed 31");
    Watched watched;
    QZScaledMolFunc scaled(static_cast<QZMolFunc2&>(watched), 0.5, /*own=*/false);
    QZStandardFF reference(Kind::MMFF94);
    QZCoordinateFunc f(scaled, /*own=*/false, kind);
    QZCoordinateFunc others(scaled, /*own=*/false, QZCoordinates::Cartesian);
    f.SetFixed(AtomsWhere(few));
    others.SetFixed(AtomsWhere([](unsigned int i) { return i > 12; }));
    ASSERT_TRUE(f.Setup(mol) && others.Setup(mol) && reference.Setup(mol));
    ASSERT_GT(f.NumVar(), 0u);
    for (int round = 0; round < 2; ++round) {
      const auto x = Jittered(at, 0.03, rng);
      ASSERT_TRUE(f.SetupConf(x.data()) && others.SetupConf(x.data()));
      std::vector<double> start(f.NumVar());
      std::vector<double> y(others.NumVar());
      f.GetVar(start.data(), x.data());
      others.GetVar(y.data(), x.data());
      std::vector<double> back(x.size());
      for (int step = 0; step < 4; ++step) {
        const auto vars = step == 0 ? start : Jittered(start, 0.02, rng);
        const double energy = f(vars.data());
        const std::size_t visited = watched.contributions;
        scaled(x.data());
        if (step > 0) {
          EXPECT_LT(visited, 9 * watched.contributions / 10) << "pairs of fixed atoms";
        }
        ASSERT_TRUE(f.AdaptVar(back.data(), vars.data()));
        const double expected = 0.5 * reference(back.data());
        EXPECT_NEAR(energy, expected, 1e-9 * std::max(1.0, std::abs(expected)));
        std::vector<double> grad(vars.size(), 0.0);
        EXPECT_NEAR(f(vars.data(), grad.data()), expected, 1e-9 * std::abs(expected));
        EXPECT_EQ(scaled(back.data()), expected) << "the function itself is whole";
        EXPECT_NEAR(Sum(f.GetFComponents(vars.data())), expected, 1e-9 * std::abs(expected));
        EXPECT_NEAR(others(y.data()), 0.5 * reference(x.data()), 1e-8);
      }
    }
    EXPECT_EQ(CheckDerivatives(others,
                               [&] {
                                 std::vector<double> y(others.NumVar());
                                 others.GetVar(y.data(), at.data());
                                 return y;
                               }()),
              "");
  }
}

TEST(Frozen, DerivativesAreThoseOfTheEnergyAndEvaluationAllocatesNothing) {
  std::mt19937 rng(32);
  const auto mol = DataMolecule("aspirin");
  const auto x = Coords(mol);
  QZStandardFF ff(Kind::MMFF94);
  for (const QZCoordinates kind : {QZCoordinates::Cartesian, QZCoordinates::ZMatrix}) {
    SCOPED_TRACE(QZGetCoordinatesName(kind));
    QZCoordinateFunc f(ff, /*own=*/false, kind);
    f.SetFixed(AtomsWhere([](unsigned int i) { return i % 4 != 0; }));
    ASSERT_TRUE(f.Setup(mol) && f.SetupConf(x.data()));
    std::vector<double> vars(f.NumVar());
    f.GetVar(vars.data(), x.data());
    EXPECT_EQ(CheckDerivatives(f, Jittered(vars, 0.02, rng)), "");
    std::vector<double> grad(vars.size());
    ASSERT_TRUE(f.SetupConf(x.data()));
    EXPECT_EQ(AllocationsOf([&] {
                for (int i = 0; i < 3; ++i) f(vars.data(), grad.data());
              }),
              0);
  }
}

TEST(Frozen, NothingStaysFrozenWhateverFails) {
  MessageCapture messages;
  const auto mol = DataMolecule("butane");
  const auto x = Coords(mol);
  Watched watched;
  QZStandardFF reference(Kind::MMFF94);
  ASSERT_TRUE(reference.Setup(mol));
  const double whole = reference(x.data());
  {
    QZCoordinateFunc f(watched, /*own=*/false, QZCoordinates::Cartesian);
    f.SetFixed(AtomsWhere([](unsigned int i) { return i > 2; }));
    ASSERT_TRUE(f.Setup(mol));
    std::vector<double> vars(f.NumVar());
    f.GetVar(vars.data(), x.data());
    for (int i = 0; i < 2; ++i) EXPECT_NEAR(f(vars.data()), whole, 1e-9);
    watched.throws = true;
    EXPECT_THROW(f(vars.data()), std::runtime_error);
    watched.throws = false;
    EXPECT_EQ(watched(x.data()), whole);
    const std::unique_ptr<QZStandardFF> copy(watched.ff.CreateCopy());
    EXPECT_EQ((*copy)(x.data()), whole);

    // Atoms on top of each other at the start: no digit of the constant may be lost.
    auto clash = x;
    for (int k = 0; k < 3; ++k) clash[k] = clash[9 + k] + 1e-7;
    ASSERT_TRUE(f.SetupConf(clash.data()));
    std::vector<double> there(f.NumVar());
    f.GetVar(there.data(), clash.data());
    f(there.data());
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(f(vars.data()), whole, 1e-9);
  }
  EXPECT_EQ(watched(x.data()), whole);
  QZCoordinateFunc degfree(watched, /*own=*/false, QZCoordinates::DegFree);
  degfree.SetFixed(AtomsWhere([](unsigned int i) { return i > 2; }));
  EXPECT_FALSE(degfree.Setup(mol));
  EXPECT_EQ(watched(x.data()), whole);

  QZCoordinateFunc none(watched, /*own=*/false, QZCoordinates::Cartesian);
  none.SetFixed(AtomsWhere([](unsigned int) { return true; }));
  ASSERT_TRUE(none.Setup(mol) && none.SetupConf(x.data()));
  QZNumericMolFunc2 numeric(watched, /*own=*/false);
  Container sum;
  EXPECT_FALSE(sum.Freeze(nullptr)) << "nobody to hand it to";
  sum.push(&numeric);
  const std::vector<unsigned char> all(mol.AtomIndexBound(), 1);
  ASSERT_TRUE(sum.Freeze(all.data()));
  EXPECT_EQ(sum(x.data()), 0.0);
  ASSERT_TRUE(sum.Freeze(nullptr));
  EXPECT_EQ(sum(x.data()), whole);
  double unused = 0.0;
  for (int i = 0; i < 2; ++i) EXPECT_NEAR(none(&unused), whole, 1e-9);
  EXPECT_EQ(watched.contributions, 0u) << "nothing moves";
}

}  // namespace
