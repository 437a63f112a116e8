// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/redundant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZChem::QZAtomBase;
using QZChem::QZGraphMol;
using QZMolPotential::QZRedundantInterAdaptor;
using TestSupport::Coords;
using TestSupport::LargestDifference;
using TestSupport::ProbeFunc;
using Values = std::vector<double>;

constexpr unsigned int kFrozen = 0x400000;

auto below(unsigned int bound) {
  return TestSupport::AtomsWhere([bound](unsigned int i) { return i < bound; });
}

struct Adapted {
  explicit Adapted(const QZGraphMol& mol, unsigned int frozenBelow = 0)
      : adaptor(probe, /*own=*/false, /*restrictInteractions=*/false), x(Coords(mol)) {
    if (frozenBelow > 0) adaptor.Set(below(frozenBelow), kFrozen);
    EXPECT_TRUE(adaptor.Setup(mol));
  }
  Values Vars(const Values& coords) {
    const double* v = adaptor.GetVar(coords.data());
    return {v, v + adaptor.NumVar()};
  }
  ProbeFunc probe;
  QZRedundantInterAdaptor adaptor;
  Values x;
};

QZGraphMol ring(unsigned int n) {
  QZGraphMol mol;
  std::vector<QZAtomBase*> atoms;
  for (unsigned int i = 0; i < n; ++i) {
    const double phi = 2.0 * std::numbers::pi * i / n;
    atoms.push_back(mol.AddAtom(6, 1.1 * std::cos(phi), 1.1 * std::sin(phi), 0.15 * (i % 2)));
  }
  for (unsigned int i = 0; i < n; ++i) mol.AddBond(atoms[i], atoms[(i + 1) % n]);
  return mol;
}

TEST(Redundant, OwnVariablesConvergeAtOnceAndSmallStepsReachTheirTarget) {
  std::mt19937 rng(5);
  for (const QZGraphMol& mol :
       {TestSupport::Butane(), TestSupport::WaterDimer(), ring(3), ring(4)}) {
    Adapted a(mol);
    Values found(a.x.size());
    // The buffer that GetVar returns may be handed back as it is.
    EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), a.adaptor.GetVar(a.x.data())));
    EXPECT_EQ(found, a.x);
    const Values target = a.Vars(TestSupport::Jittered(a.x, 0.05, rng));
    a.Vars(a.x);
    EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), target.data())) << "seed 5";
    EXPECT_LE(LargestDifference(a.Vars(found), target), 1e-8) << "seed 5";
  }
}

TEST(Redundant, NegativeBondTargetsTurnPositive) {
  Adapted a(TestSupport::LinearChain(2, 1.2));
  const double target = -1.3;
  Values found(6);
  EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), &target));
  EXPECT_NEAR(a.Vars(found)[0], 1.3, 1e-9);
}

TEST(Redundant, ImpossibleTargetsAreReported) {
  Adapted a(ring(3));
  Values target = a.Vars(a.x);
  target[0] = 10.0;  // beyond the sum of the other sides, the angles left as they are
  Values found(a.x.size());
  EXPECT_FALSE(a.adaptor.AdaptVar(found.data(), target.data()));
  target[0] = std::nan("");
  a.Vars(a.x);
  EXPECT_FALSE(a.adaptor.AdaptVar(found.data(), target.data()));
  EXPECT_EQ(found, a.x);
}

TEST(Redundant, ResultOfABackTransformationIsWhereTheNextOneStarts) {
  Adapted a(TestSupport::WaterDimer());
  Values target = a.Vars(a.x);
  target[0] += 1e-7;
  Values first(a.x.size());
  Values second(a.x.size());
  EXPECT_TRUE(a.adaptor.AdaptVar(first.data(), target.data()));
  EXPECT_TRUE(a.adaptor.AdaptVar(second.data(), target.data()));
  EXPECT_NE(first, a.x);
  EXPECT_LE(LargestDifference(first, second), 1e-13);
}

// For an energy that rigid motions of the fragments leave alone, g_q · dq = dE along every feasible
// displacement.
TEST(Redundant, GradientIsTheEnergysAlongFeasibleDisplacements) {
  std::mt19937 rng(17);
  Adapted a(TestSupport::Butane());
  const Values x = TestSupport::Jittered(a.x, 0.05, rng);
  const Values v = a.Vars(x);
  Values end(x.size());
  Values g(v.size(), 1e3);
  ASSERT_TRUE(a.adaptor.AdaptVar(end.data(), v.data()));
  a.adaptor(a.Vars(TestSupport::Jittered(x, 0.01, rng)).data());  // brings B here
  EXPECT_NEAR(a.adaptor(v.data(), g.data()), a.probe(x.data()), 1e-9);
  for (int direction = 0; direction < 5; ++direction) {
    const Values shift = TestSupport::Jittered(Values(x.size(), 0.0), 1e-3, rng);
    Values plus = x;
    Values minus = x;
    for (std::size_t i = 0; i < x.size(); ++i) {
      plus[i] += shift[i];
      minus[i] -= shift[i];
    }
    const Values vPlus = a.Vars(plus);
    const Values vMinus = a.Vars(minus);
    double predicted = 0.0;
    for (std::size_t i = 0; i < v.size(); ++i) predicted += g[i] * (vPlus[i] - vMinus[i]);
    EXPECT_NEAR(predicted, a.probe(plus.data()) - a.probe(minus.data()), 1e-7) << "seed 17";
  }
}

TEST(Redundant, HolesInTheIndexRangeStayWhereTheyAre) {
  QZGraphMol mol = TestSupport::Butane();
  mol.DeleteAtom(mol.GetAtom(5));
  Adapted a(mol);
  Values target = a.Vars(a.x);
  target[0] += 0.01;
  Values found(a.x.size());
  EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), target.data()));
  for (std::size_t k = 15; k < 18; ++k) EXPECT_EQ(found[k], a.x[k]);
}

TEST(Redundant, SetupFailsCleanlyAndRepeatsAfreshWithTheSameFrozenAtoms) {
  ProbeFunc probe;
  QZRedundantInterAdaptor adaptor(probe, /*own=*/false, /*restrictInteractions=*/false);
  Values buffer(100);
  EXPECT_FALSE(adaptor.AdaptVar(buffer.data(), buffer.data()));
  EXPECT_FALSE(adaptor.AdaptGrad(buffer.data(), buffer.data()));
  EXPECT_TRUE(std::isnan(adaptor(buffer.data())));
  EXPECT_FALSE(adaptor.Setup(QZGraphMol()));
  EXPECT_EQ(adaptor.NumVar(), 0U);
  EXPECT_EQ(probe.SetupCount(), 0);
  EXPECT_TRUE(adaptor.Set(below(2), kFrozen | 64));
  EXPECT_TRUE(probe.Calls().empty());
  EXPECT_TRUE(adaptor.Setup(TestSupport::Butane()));
  adaptor.Clear();
  EXPECT_EQ(adaptor.NumVar(), 0U);
  adaptor.ClearPredicates();
  EXPECT_TRUE(adaptor.Setup(TestSupport::Water()));
  EXPECT_EQ(adaptor.NumVar(), 2U);  // without the bond 0-1
  probe.FailSetup(true);
  EXPECT_FALSE(adaptor.Setup(TestSupport::Water()));
}

TEST(Redundant, LongStraightTransChainsStayOnTheSparseRoute) {
  std::mt19937 rng(23);
  QZGraphMol mol = TestSupport::CarbonChain(1500);
  mol.SetCoords(TestSupport::Jittered(Coords(mol), 0.03, rng).data());
  TestSupport::MessageCapture messages;
  Adapted a(mol);
  const Values target = a.Vars(TestSupport::Jittered(a.x, 0.003, rng));
  a.Vars(a.x);
  Values found(a.x.size());
  EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), target.data())) << "seed 23";
  EXPECT_LE(LargestDifference(a.Vars(found), target), 1e-8) << "seed 23";
  EXPECT_TRUE(messages.Warnings().empty());
}

TEST(Redundant, DoubtfulRankBeyondTheDenseLimitWarnsOnceAndStaysFinite) {
  std::mt19937 rng(29);
  QZGraphMol mol = TestSupport::CarbonChain(700);
  mol.SetCoords(TestSupport::Jittered(Coords(mol), 0.1, rng).data());
  TestSupport::MessageCapture messages;
  Adapted a(mol, 650);
  Values target = a.Vars(a.x);
  target[0] += 0.01;
  Values found(a.x.size());
  Values g(target.size());
  a.adaptor(target.data(), g.data());
  a.adaptor(target.data(), g.data());
  EXPECT_EQ(messages.Warnings().size(), 1U);
  for (const double value : g) EXPECT_TRUE(std::isfinite(value));
}

}  // namespace
