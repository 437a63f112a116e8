// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <random>

#include "molpotential/redundant.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZChem::QZAtomBase;
using QZChem::QZGraphMol;
using QZMolPotential::QZRedundantInterAdaptor;
using TestSupport::Coords;
using TestSupport::ProbeFunc;
using Values = std::vector<double>;

constexpr unsigned int kFrozen = 0x400000;

auto below(unsigned int bound) {
  return QZSystem::QZMakeUnaryPredicate<QZAtomBase>(
      [bound](const QZAtomBase& a) { return a.GetIndex() < bound; });
}

struct Adapted {
  explicit Adapted(const QZGraphMol& mol, unsigned int frozenBelow = 0)
      : adaptor(probe, /*own=*/false, /*restrictInteractions=*/false), x(Coords(mol)) {
    if (frozenBelow > 0) adaptor.Set(below(frozenBelow), kFrozen);
    ready = adaptor.Setup(mol);
  }
  Values Vars(const Values& coords) {
    const double* v = adaptor.GetVar(coords.data());
    return {v, v + adaptor.NumVar()};
  }
  ProbeFunc probe;
  QZRedundantInterAdaptor adaptor;
  Values x;
  bool ready = false;
};

double largestDifference(const Values& a, const Values& b) {
  double largest = a.size() == b.size() ? 0.0 : INFINITY;
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    const double d = std::abs(a[i] - b[i]);
    if (!(d <= largest)) largest = d;
  }
  return largest;
}

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

TEST(Redundant, CountsEveryBondAngleAndDihedral) {
  EXPECT_EQ(Adapted(TestSupport::LinearChain(2, 1.2)).adaptor.NumVar(), 1U);
  EXPECT_EQ(Adapted(TestSupport::Water()).adaptor.NumVar(), 3U);
  EXPECT_EQ(Adapted(TestSupport::WaterDimer()).adaptor.NumVar(), 6U);
  EXPECT_EQ(Adapted(TestSupport::Butane()).adaptor.NumVar(), 13U + 24U + 27U);
  // The dihedrals of a three-membered ring begin and end with the same atom.
  EXPECT_EQ(Adapted(ring(3)).adaptor.NumVar(), 9U);
  EXPECT_EQ(Adapted(ring(4)).adaptor.NumVar(), 12U);
}

TEST(Redundant, ValuesAreBondsThenAnglesThenUnsignedDihedrals) {
  const QZGraphMol mol = TestSupport::Butane();
  Adapted a(mol);
  const Values v = a.Vars(a.x);
  std::size_t next = 0;
  for (auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    const double r = std::hypot(
        a.x[3 * bond.GetBegin()->GetIndex()] - a.x[3 * bond.GetEnd()->GetIndex()],
        a.x[3 * bond.GetBegin()->GetIndex() + 1] - a.x[3 * bond.GetEnd()->GetIndex() + 1],
        a.x[3 * bond.GetBegin()->GetIndex() + 2] - a.x[3 * bond.GetEnd()->GetIndex() + 2]);
    EXPECT_NEAR(v[next++], r, 1e-14);
  }
  Values mirrored = a.x;
  for (std::size_t i = 0; i < mirrored.size(); i += 3) mirrored[i] = -mirrored[i];
  EXPECT_LE(largestDifference(a.Vars(mirrored), v), 1e-12);
  EXPECT_NEAR(v[13], 112.0 * std::numbers::pi / 180.0, 0.1);
  for (std::size_t i = 37; i < v.size(); ++i) EXPECT_TRUE(v[i] >= 0.0 && v[i] <= std::numbers::pi);
}

TEST(Redundant, StraightAnglesAndDihedralsInLineHaveTheirOwnValues) {
  Adapted a(TestSupport::LinearChain(4, 1.2));
  const Values v = a.Vars(a.x);
  ASSERT_EQ(v.size(), 6U);
  EXPECT_EQ(v[3], std::acos(-1.0 + 1e-6));
  EXPECT_EQ(v[4], std::acos(-1.0 + 1e-6));
  EXPECT_EQ(v[5], 0.0);
  // Trans snaps to π exactly.
  EXPECT_EQ(Adapted(TestSupport::CarbonChain(4)).Vars(Coords(TestSupport::CarbonChain(4))).back(),
            std::acos(-1.0));
}

TEST(Redundant, FrozenFlagsStickWithinABondAndAnAtom) {
  // A star: the angles of atom 0 come in neighbour order; those after the first frozen one follow.
  QZGraphMol star;
  auto* centre = star.AddAtom(6, 0, 0, 0);
  const double ends[4][3] = {{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};
  for (const auto& e : ends) star.AddBond(centre, star.AddAtom(1, e[0], e[1], e[2]));
  // Frozen 0, 1, 2: two bonds, and the first angle (1, 0, 2) takes all six with it.
  EXPECT_EQ(Adapted(star, 3).adaptor.NumVar(), 2U);

  // Frozen: all but the last atom of butane's hydrogens. The first dihedral of each bond that is
  // frozen as a whole silences the rest, the last atom's included.
  const QZGraphMol butane = TestSupport::Butane();
  const unsigned int n = butane.AtomIndexBound();
  EXPECT_EQ(Adapted(butane, n - 1).adaptor.NumVar(), 1U);
  EXPECT_EQ(Adapted(butane, n).adaptor.NumVar(), 0U);
}

TEST(Redundant, OwnVariablesConvergeAtOnceAndComeBack) {
  for (const QZGraphMol& mol : {TestSupport::Butane(),
                                TestSupport::WaterDimer(),
                                TestSupport::LinearChain(4, 1.2),
                                ring(3),
                                ring(4)}) {
    Adapted a(mol);
    Values back(a.x.size());
    // The buffer that GetVar returns may be handed back as it is.
    EXPECT_TRUE(a.adaptor.AdaptVar(back.data(), a.adaptor.GetVar(a.x.data())));
    EXPECT_EQ(back, a.x);
  }
}

TEST(Redundant, SmallStepsReachTheirTarget) {
  constexpr unsigned int kSeed = 5;
  std::mt19937 rng(kSeed);
  for (const QZGraphMol& mol : {TestSupport::Butane(), TestSupport::WaterDimer(), ring(4)}) {
    Adapted a(mol);
    const Values target = a.Vars(TestSupport::Jittered(a.x, 0.05, rng));
    a.Vars(a.x);
    Values found(a.x.size());
    EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), target.data())) << "seed " << kSeed;
    EXPECT_LE(largestDifference(a.Vars(found), target), 1e-8) << "seed " << kSeed;
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
  // The last iterate is the current geometry: its own variables are reached at once.
  const Values own = a.Vars(found);
  Values again(a.x.size());
  a.adaptor.AdaptVar(again.data(), own.data());
  EXPECT_LE(largestDifference(again, found), 1e-12);

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
  EXPECT_LE(largestDifference(first, second), 1e-13);
}

// For an energy that rigid motions of the fragments leave alone, g_q · dq = dE along every feasible
// displacement.
TEST(Redundant, GradientIsTheEnergysAlongFeasibleDisplacements) {
  constexpr unsigned int kSeed = 17;
  std::mt19937 rng(kSeed);
  const QZGraphMol mol = TestSupport::Butane();
  Adapted a(mol);
  const Values x = TestSupport::Jittered(a.x, 0.05, rng);
  const Values v = a.Vars(x);
  Values end(x.size());
  Values g(v.size(), 1e3);
  ASSERT_TRUE(a.adaptor.AdaptVar(end.data(), v.data()));
  a.adaptor(a.Vars(TestSupport::Jittered(x, 0.01, rng)).data());  // brings B here
  const double energy = a.adaptor(v.data(), g.data());
  EXPECT_NEAR(energy, a.probe(x.data()), 1e-9);
  for (int direction = 0; direction < 5; ++direction) {
    constexpr double kStep = 1e-3;
    const Values shift = TestSupport::Jittered(Values(x.size(), 0.0), 1.0, rng);
    Values plus = x;
    Values minus = x;
    for (std::size_t i = 0; i < x.size(); ++i) {
      plus[i] += kStep * shift[i];
      minus[i] -= kStep * shift[i];
    }
    const double dE = a.adaptor(a.Vars(plus).data()) - a.adaptor(a.Vars(minus).data());
    const Values vPlus = a.Vars(plus);
    const Values vMinus = a.Vars(minus);
    double predicted = 0.0;
    for (std::size_t i = 0; i < v.size(); ++i) predicted += g[i] * (vPlus[i] - vMinus[i]);
    EXPECT_TRUE(std::abs(predicted - dE) <= 1e-4 * kStep)
        << predicted << " " << dE << ", seed " << kSeed;
  }
}

TEST(Redundant, HolesInTheIndexRangeStayWhereTheyAre) {
  QZGraphMol mol = TestSupport::Butane();
  const Values full = Coords(mol);
  mol.DeleteAtom(mol.GetAtom(5));
  Adapted a(mol);
  ASSERT_TRUE(a.ready);
  Values target = a.Vars(a.x);
  target[0] += 0.01;
  Values found(a.x.size());
  EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), target.data()));
  for (std::size_t k = 15; k < 18; ++k) EXPECT_EQ(found[k], a.x[k]);
}

TEST(Redundant, SetupFailsCleanlyAndRepeatsAfresh) {
  ProbeFunc probe;
  QZRedundantInterAdaptor adaptor(probe, /*own=*/false, /*restrictInteractions=*/false);
  Values buffer(100);
  EXPECT_FALSE(adaptor.AdaptVar(buffer.data(), buffer.data()));
  EXPECT_FALSE(adaptor.AdaptGrad(buffer.data(), buffer.data()));
  EXPECT_TRUE(std::isnan(adaptor(buffer.data())));
  EXPECT_FALSE(adaptor.Setup(QZGraphMol()));
  EXPECT_EQ(adaptor.NumVar(), 0U);
  EXPECT_EQ(probe.SetupCount(), 0);
  EXPECT_TRUE(adaptor.Setup(TestSupport::Butane()));
  EXPECT_TRUE(adaptor.Setup(TestSupport::Water()));
  EXPECT_EQ(adaptor.NumVar(), 3U);
  probe.FailSetup(true);
  EXPECT_FALSE(adaptor.Setup(TestSupport::Water()));
  EXPECT_FALSE(QZRedundantInterAdaptor().Setup(TestSupport::Water()));
  adaptor.Clear();
  EXPECT_EQ(adaptor.NumVar(), 0U);
}

TEST(Redundant, OwnershipFollowsTheFlag) {
  const int before = ProbeFunc::Living();
  {
    QZRedundantInterAdaptor adaptor(*new ProbeFunc, /*own=*/true, /*restrictInteractions=*/false);
    ProbeFunc second;
    EXPECT_TRUE(adaptor.SetMolFunc(second, /*own=*/false));
    EXPECT_EQ(ProbeFunc::Living(), before + 1);
    EXPECT_EQ(&adaptor.GetMolFunc(), &second);
    EXPECT_TRUE(adaptor.SetMolFunc(*new ProbeFunc, /*own=*/true));
  }
  EXPECT_EQ(ProbeFunc::Living(), before);
}

TEST(Redundant, SelectionsGoWhereTheyBelong) {
  using QZChem::QZBondBase;
  ProbeFunc probe;
  QZRedundantInterAdaptor adaptor(probe, /*own=*/false, /*restrictInteractions=*/true);
  EXPECT_TRUE(adaptor.Set(below(3), 64));
  EXPECT_FALSE(adaptor.Set(QZSystem::QZUnaryTrue<QZBondBase>(), 8));
  EXPECT_FALSE(adaptor.Set(QZSystem::QZBinaryTrue<QZAtomBase, QZAtomBase>(), 5));
  EXPECT_FALSE(adaptor.Set(QZSystem::QZBinaryTrue<QZBondBase, QZBondBase>(), 48));
  EXPECT_TRUE(adaptor.Set(below(8), kFrozen | 64));
  ASSERT_EQ(probe.Calls().size(), 1U);
  adaptor.ClearPredicates();
  EXPECT_EQ(probe.ClearedPredicates(), 1);
  ASSERT_TRUE(adaptor.Setup(TestSupport::Butane()));
  EXPECT_LT(adaptor.NumVar(), 64U);  // still frozen
  ASSERT_EQ(probe.Calls().size(), 5U);
  const unsigned int masks[] = {8, 5, 48, 192};
  const char* kinds[] = {"bond", "atom pair", "bond pair", "atom"};
  for (std::size_t k = 0; k < 4; ++k) {
    EXPECT_EQ(probe.Calls()[k + 1].which, masks[k]);
    EXPECT_EQ(probe.Calls()[k + 1].kind, kinds[k]);
  }
}

TEST(Redundant, LongStraightTransChainsStayOnTheSparseRoute) {
  constexpr unsigned int kSeed = 23;
  std::mt19937 rng(kSeed);
  QZGraphMol mol = TestSupport::CarbonChain(1500);
  mol.SetCoords(TestSupport::Jittered(Coords(mol), 0.03, rng).data());
  TestSupport::MessageCapture messages;
  Adapted a(mol);
  const Values target = a.Vars(TestSupport::Jittered(a.x, 0.003, rng));
  a.Vars(a.x);
  Values found(a.x.size());
  EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), target.data())) << "seed " << kSeed;
  EXPECT_LE(largestDifference(a.Vars(found), target), 1e-8) << "seed " << kSeed;
  EXPECT_TRUE(messages.Warnings().empty());
}

TEST(Redundant, DoubtfulRankBeyondTheDenseLimitWarnsOnceAndStaysFinite) {
  constexpr unsigned int kSeed = 29;
  std::mt19937 rng(kSeed);
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
