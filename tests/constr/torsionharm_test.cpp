// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/constr_support.h"

namespace {

using namespace TestSupport;
using QZConstr::QZTorsionAngleRestraint;
using QZConstr::QZTorsionHarmConstr;

constexpr unsigned int kBit = 0x2000000;
const char* const kChain = "[C:1][C:2][C:3][C:4]";

double Term(const std::vector<double>& x, std::size_t first, double cosTarget) {
  QZChem::QZGraphMol mol(4);
  for (std::size_t i = first; i < first + 4; ++i) mol.AddAtom(6);
  QZConstr::QZDihedralQuadPenalty one(
      Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3), std::acos(cosTarget), 1.0);
  return one(&x[3 * first]);
}

TEST(TorsionRestraint, PatternGivesOneTorsionForEachUniqueMatch) {
  const unsigned int seed = 5401;
  std::mt19937 rng(seed);
  for (const unsigned int n : {4U, 5U, 8U}) {
    const auto mol = CarbonChain(n);
    const auto x = Jittered(Coords(mol), 0.2, rng);
    QZTorsionHarmConstr f(kChain, 10.0, kPi / 3.0);
    ASSERT_TRUE(f.Setup(mol));
    EXPECT_EQ(f.NumVar(), 3 * n);
    double expected = 0.0;
    for (std::size_t i = 0; i + 4 <= n; ++i) expected += 0.5 * 10.0 * Term(x, i, 0.5);
    EXPECT_NEAR(f(x.data()), expected, 1e-12) << n;
    EXPECT_EQ(CheckContract([&] { return f.CreateCopy(); }, mol, x, {.rigidInvariant = true}), "")
        << seed;
  }
  const auto holed = ButaneWithHole();
  QZTorsionHarmConstr f("[#1:1][#6:2][#6:3][#6:4]", 4.0, 2.0);
  ASSERT_TRUE(f.Setup(holed));
  EXPECT_EQ(f.NumVar(), 3 * holed.AtomIndexBound());
  EXPECT_EQ(CheckContract([&] { return f.CreateCopy(); }, holed, Jittered(Coords(holed), 0.1, rng)),
            "")
      << seed;
}

TEST(TorsionRestraint, AtomsStandInPatternOrderWhateverTheirMapNumbers) {
  const auto mol = CarbonChain(4);
  std::mt19937 rng(5402);
  const auto x = Jittered(Coords(mol), 0.3, rng);
  QZTorsionHarmConstr ordered(kChain, 2.0, 1.0);
  QZTorsionHarmConstr shuffled("[C:3][C:1][C:4][C:2]", 2.0, 1.0);
  ASSERT_TRUE(ordered.Setup(mol));
  ASSERT_TRUE(shuffled.Setup(mol));
  EXPECT_EQ(ordered(x.data()), shuffled(x.data()));
  // Unmapped atoms of the pattern are passed over.
  QZTorsionHarmConstr inner("C[C:1][C:2][C:3][C:4]", 2.0, 1.0);
  const auto longer = CarbonChain(5);
  ASSERT_TRUE(inner.Setup(longer));
  std::vector<double> g(15, 0.0);
  inner(Jittered(Coords(longer), 0.3, rng).data(), g.data());
  EXPECT_TRUE((g[0] == 0.0) != (g[12] == 0.0));
}

TEST(TorsionRestraint, RefusalsAreWorded) {
  const auto mol = CarbonChain(5);
  const auto warns = [&](QZTorsionHarmConstr& f, const std::string& text) {
    MessageCapture messages;
    EXPECT_FALSE(f.Setup(mol)) << text;
    EXPECT_EQ(messages.Warnings(), std::vector<std::string>{text});
  };
  QZTorsionHarmConstr f("[C:1][C:2][C:3", 1.0, 1.0);
  warns(f, "invalid SMARTS pattern '[C:1][C:2][C:3'");
  f.SetTorsionPattern("[C:1][C:2][C:3]C");
  warns(f, "Failed to find 4 map indices in torsion definition.");
  f.SetTorsionPattern("[C:1][C:2][C:3][C:4][C:4]");
  warns(f, "Failed to find 4 map indices in torsion definition.");
  f.SetTorsionPattern("[C:1][C:2][C:3][C:5]");
  warns(f, "Map Index >4 (5)");
  f.SetTorsionPattern("[N:1][C:2][C:3][C:4]");
  warns(f, "Torsion(s) to be constrained not identified");
  f.SetTorsionPattern(kChain);
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 15u);
  f.SetTorsionPattern("[C:1");  // keeps the variables, unlike finding nothing
  warns(f, "invalid SMARTS pattern '[C:1'");
  EXPECT_EQ(f.NumVar(), 15u);
  f.SetTorsionPattern("");
  warns(f, "Torsion(s) to be constrained not identified");
  EXPECT_EQ(f.NumVar(), 0u);
  EXPECT_EQ(f(Coords(mol).data()), 0.0);
}

TEST(TorsionRestraint, TheExplicitTorsionStaysAndThePatternsAreReplaced) {
  const auto mol = CarbonChain(5);
  std::mt19937 rng(5403);
  const auto x = Jittered(Coords(mol), 0.2, rng);
  QZTorsionHarmConstr f(3.0, kPi / 3.0);
  f.SetSingleTorsion(1, 2, 3, 4);
  ASSERT_TRUE(f.Setup(mol));
  const double single = 1.5 * Term(x, 1, 0.5);
  const double first = 1.5 * Term(x, 0, 0.5);
  EXPECT_NEAR(f(x.data()), single, 1e-13);
  f.SetTorsionPattern(kChain);
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(f.Setup(mol));
    EXPECT_NEAR(f(x.data()), 2.0 * single + first, 1e-13) << round;
  }
  f.Clear();
  EXPECT_EQ(f.NumVar(), 0u);
  EXPECT_NEAR(f(x.data()), single, 1e-13);
  f.SetSingleTorsion(0, 1, 2, 3);
  EXPECT_NEAR(f(x.data()), first, 1e-13);
  f.Set_k(6.0);
  EXPECT_NEAR(f(x.data()), 2.0 * first, 1e-13);
  f.Set_phi0(-kPi / 3.0);
  EXPECT_NEAR(f(x.data()), 2.0 * first, 1e-13);
  ExpectComponent(f, "Torsion Constraint", x);
  const auto line = Coords(LinearChain(5, 1.4));
  std::vector<double> g(15, 0.0);
  EXPECT_EQ(f(line.data(), g.data()), 0.0);
  EXPECT_EQ(g, std::vector<double>(15, 0.0));
}

TEST(TorsionRestraint, PredicatesAreKeptAloudForAtomsSilentlyForBonds) {
  const auto mol = CarbonChain(4);
  QZTorsionHarmConstr f(kChain, 3.0, 0.0);
  const QZSystem::QZUnaryFalse<QZChem::QZAtomBase> noAtom;
  const QZSystem::QZUnaryFalse<QZChem::QZBondBase> noBond;
  const auto output = [](const std::function<bool()>& act) {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(act());
    return testing::internal::GetCapturedStdout();
  };
  EXPECT_EQ(output([&] { return f.Set(noAtom, kBit | 8U); }),
            "Will create copy of the predicate\n");
  EXPECT_EQ(output([&] { return f.Set(noAtom, 0x10000); }), "");
  EXPECT_EQ(output([&] { return f.Set(noBond, kBit); }), "");
  EXPECT_TRUE(f.Setup(mol));  // the predicates are not consulted
  QZTorsionHarmConstr copy(f);
  copy = f;
  copy.ClearPredicates();
  EXPECT_TRUE(copy.Setup(mol));
  EXPECT_EQ(copy(Coords(mol).data()), f(Coords(mol).data()));
}

TEST(SignedTorsionRestraint, FulfilsTheContractAndRefusesMissingAtoms) {
  const auto mol = Butane();
  std::mt19937 rng(5404);
  const auto make = [] {
    auto* f = new QZTorsionAngleRestraint(7.0, -2.0);
    f->SetTorsion(3, 2, 1, 0);
    return f;
  };
  EXPECT_EQ(CheckContract(make, mol, Jittered(Coords(mol), 0.1, rng), {.rigidInvariant = true}),
            "");
  MessageCapture messages;
  const std::unique_ptr<QZTorsionAngleRestraint> f(make());
  EXPECT_FALSE(f->Setup(Water()));
  EXPECT_EQ(messages.Warnings(),
            std::vector<std::string>{"Torsion to be restrained does not occur in molecule water"});
}

}  // namespace
