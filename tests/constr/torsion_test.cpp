// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/constr_support.h"
#include "qzchem/geometry.h"

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
  QZTorsionHarmConstr f(kChain, 1.0, 1.0);
  ASSERT_TRUE(f.Setup(mol));
  const std::string unidentified = "Torsion(s) to be constrained not identified";
  const struct {
    std::string pattern, message;
  } cases[] = {{"[C:1][C:2][C:3", "invalid SMARTS pattern '[C:1][C:2][C:3'"},
               {"[C:1][C:2][C:3]C", "Failed to find 4 map indices in torsion definition."},
               {"[C:1][C:2][C:3][C:5]", "Map Index >4 (5)"},
               {"[N:1][C:2][C:3][C:4]", unidentified},
               {"", unidentified}};
  for (const auto& [pattern, message] : cases) {
    MessageCapture messages;
    f.SetTorsionPattern(pattern);
    EXPECT_FALSE(f.Setup(mol)) << pattern;
    EXPECT_EQ(messages.Warnings(), std::vector<std::string>{message});
    // Finding nothing leaves no variables, unlike the other failures.
    EXPECT_EQ(f.NumVar(), message == unidentified ? 0u : 15u) << pattern;
  }
  EXPECT_EQ(f(Coords(mol).data()), 0.0);
}

TEST(SignedTorsionRestraint, FulfilsTheContractAtEveryAngleAndTakesTheShortWayRound) {
  std::mt19937 rng(7);
  auto mol = Butane();
  const auto at = [&](unsigned int i) { return mol.GetAtom(i); };
  for (const double degrees : {-179.9, -120.0, -0.001, 0.0, 0.001, 65.0, 179.9}) {
    SCOPED_TRACE(degrees);
    const double phi = degrees * kPi / 180.0;
    QZChem::QZSetTorsion(mol, at(0), at(1), at(2), at(3), phi);
    const auto make = [] {
      auto* restraint = new QZTorsionAngleRestraint(3.0, 0.4);
      restraint->SetTorsion(3, 2, 1, 0);
      return restraint;
    };
    const auto x = Coords(mol);
    EXPECT_EQ(CheckContract(make, mol, x, {.rigidInvariant = true}), "");
    EXPECT_EQ(CheckContract(make, mol, Jittered(x, 0.2, rng), {.rigidInvariant = true}), "");
    const std::unique_ptr<QZTorsionAngleRestraint> f(make());
    ASSERT_TRUE(f->Setup(mol));
    for (const double off : {0.0, -0.1, 3.1}) {
      f->Set_phi0(phi + 2.0 * kPi - off);
      EXPECT_NEAR((*f)(x.data()), 3.0 * off * off, 1e-9);
    }
  }
}

TEST(SignedTorsionRestraint, AtomsInLineGiveNoGradientAndMissingAtomsNoSetup) {
  const auto line = LinearChain(4, 1.2);
  QZTorsionAngleRestraint restraint(2.0, 1.0);
  restraint.SetTorsion(0, 1, 2, 3);
  ASSERT_TRUE(restraint.Setup(line));
  std::vector<double> grad(12, 0.0);
  EXPECT_NEAR(restraint(Coords(line).data(), grad.data()), 2.0, 1e-12);
  EXPECT_EQ(grad, std::vector<double>(12, 0.0));
  MessageCapture messages;
  EXPECT_FALSE(restraint.Setup(Water()));
  EXPECT_EQ(messages.Warnings(),
            std::vector<std::string>{"Torsion to be restrained does not occur in molecule water"});
}

}  // namespace
