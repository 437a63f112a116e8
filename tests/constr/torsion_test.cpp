// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>

#include "constr/constr_support.h"
#include "qzchem/geometry.h"

namespace {

using namespace TestSupport;
using QZConstr::QZTorsionAngleRestraint;
using QZConstr::QZTorsionHarmConstr;

const char* const kChain = "[C:1][C:2][C:3][C:4]";

double Term(const std::vector<double>& x, std::size_t first, double cosTarget) {
  QZChem::QZGraphMol mol(4);
  for (std::size_t i = first; i < first + 4; ++i) mol.AddAtom(6);
  QZConstr::QZDihedralQuadPenalty one(
      Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3), std::acos(cosTarget), 1.0);
  return one(&x[3 * first]);
}

TEST(TorsionRestraint, PatternGivesOneTorsionForEachUniqueMatch) {
  std::mt19937 rng(5401);
  for (const unsigned int n : {4U, 5U, 8U}) {
    const auto mol = CarbonChain(n);
    const auto x = Jittered(Coords(mol), 0.2, rng);
    QZTorsionHarmConstr f(kChain, 10.0, kPi / 3.0);
    ASSERT_TRUE(f.Setup(mol));
    EXPECT_EQ(f.NumVar(), 3 * n);
    double expected = 0.0;
    for (std::size_t i = 0; i + 4 <= n; ++i) expected += 0.5 * 10.0 * Term(x, i, 0.5);
    EXPECT_NEAR(f(x.data()), expected, 1e-12) << n;
    EXPECT_EQ(CheckContract([&] { return f.CreateCopy(); }, mol, x), "") << "seed 5401";
    f.SetTorsionPattern("[C:3][C:1][C:4][C:2]");  // atoms stand in pattern order all the same
    ASSERT_TRUE(f.Setup(mol));
    EXPECT_NEAR(f(x.data()), expected, 1e-12) << n;
    // Map numbers inside a recursive pattern are none of the pattern's own.
    f.SetTorsionPattern("[#6;$([#6:7]~[#6:2]):1][#6:2][#6;$([#6:3][#6:1]):3][#6:4]");
    ASSERT_TRUE(f.Setup(mol));
    EXPECT_NEAR(f(x.data()), expected, 1e-12) << n;
  }
  const auto holed = ButaneWithHole();
  QZTorsionHarmConstr f("[#1:1][#6:2][#6:3][#6:4]", 4.0, 2.0);
  ASSERT_TRUE(f.Setup(holed));
  EXPECT_EQ(f.NumVar(), 3 * holed.AtomIndexBound());
  EXPECT_EQ(CheckContract([&] { return f.CreateCopy(); }, holed, Jittered(Coords(holed), 0.1, rng)),
            "")
      << "seed 5401";
}

TEST(TorsionRestraint, RefusesPatternsThatDefineOrFindNoTorsion) {
  const auto mol = CarbonChain(5);
  QZTorsionHarmConstr f(kChain, 1.0, 1.0);
  ASSERT_TRUE(f.Setup(mol));
  for (const char* pattern :
       {"[C:1][C:2][C:3", "[C:1][C:2][C:3]C", "[C:1][C:2][C:3][C:5]", "[N:1][C:2][C:3][C:4]"}) {
    MessageCapture messages;
    f.SetTorsionPattern(pattern);
    EXPECT_FALSE(f.Setup(mol)) << pattern;
    EXPECT_EQ(messages.Warnings().size(), 1u) << pattern;
  }
  EXPECT_EQ(f(Coords(mol).data()), 0.0);
  MessageCapture messages;
  f.SetTorsionPattern("[C:2][C:1]C[C:9][C:8]");
  EXPECT_FALSE(f.Setup(mol));
  EXPECT_EQ(messages.Warnings().at(0), "Map Index >4 (9)");
  QZTorsionHarmConstr copy(f);
  copy.SetTorsionPattern("[C:1][C:1][C:2][C:3]");  // four marked atoms, whatever their numbers
  EXPECT_TRUE(copy.Setup(mol));
  EXPECT_FALSE(f.Setup(mol));
  EXPECT_EQ(messages.Warnings().at(1), messages.Warnings().at(0));
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
    EXPECT_EQ(CheckContract(make, mol, x), "");
    EXPECT_EQ(CheckContract(make, mol, Jittered(x, 0.2, rng)), "");
    const std::unique_ptr<QZTorsionAngleRestraint> f(make());
    ASSERT_TRUE(f->Setup(mol));
    for (const double off : {0.0, -0.1, 3.1}) {
      f->Set_phi0(phi + 2.0 * kPi - off);
      EXPECT_NEAR((*f)(x.data()), 3.0 * off * off, 1e-9);
    }
  }
}

TEST(SignedTorsionRestraint, EveryRotorHasATorsion) {
  const auto mol = Butane();  // methyls do not count
  const auto found = QZConstr::QZFindRotorTorsions(mol);
  ASSERT_EQ(found.size(), 1u);
  const auto& [a, b, c, d] = found.front();
  EXPECT_TRUE(std::minmax(b, c) == std::minmax(1u, 2u));
  QZTorsionAngleRestraint f(
      3.0,
      QZChem::QZGetTorsion(mol, mol.GetAtom(a), mol.GetAtom(b), mol.GetAtom(c), mol.GetAtom(d)));
  f.SetTorsion(a, b, c, d);
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_NEAR(f(Coords(mol).data()), 0.0, 1e-12);
}

TEST(SignedTorsionRestraint, AtomsInLineGiveNoGradientAndMissingAtomsNoSetup) {
  const auto line = LinearChain(4, 1.2);
  QZTorsionAngleRestraint restraint(2.0, 1.0);
  restraint.SetTorsion(0, 1, 2, 3);
  ASSERT_TRUE(restraint.Setup(line));
  std::vector<double> grad(12, 0.0);
  EXPECT_NEAR(restraint(Coords(line).data(), grad.data()), 2.0, 1e-12);
  EXPECT_EQ(grad, std::vector<double>(12, 0.0));
  EXPECT_FALSE(restraint.Setup(Water()));
}

}  // namespace
