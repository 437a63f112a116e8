// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <functional>

#include "constr/constr_support.h"

namespace {

using namespace TestSupport;
using QZConstr::QZDihedralQuadPenalty;
using QZConstr::QZDistanceQuadPenalty;
using QZConstr::QZDistLimitPenalty;

using Maker = std::function<QZMolPotential::QZMolFunc2*(const QZChem::QZMolBase&)>;

Maker Square(unsigned int i, unsigned int j, double target) {
  return [=](const auto& m) {
    return new QZDistanceQuadPenalty(Atom(m, i), Atom(m, j), target, 30.0);
  };
}
Maker Band(unsigned int i, unsigned int j, double lower, double upper) {
  return [=](const auto& m) {
    return new QZDistLimitPenalty(Atom(m, i), Atom(m, j), lower, upper, 25.0);
  };
}
Maker Cosine(unsigned int a, unsigned int b, unsigned int c, unsigned int d) {
  return [=](const auto& m) {
    return new QZDihedralQuadPenalty(Atom(m, a), Atom(m, b), Atom(m, c), Atom(m, d), 2.1, 12.0);
  };
}

TEST(Penalties, FulfilTheContractForAnyOrderOfIndices) {
  std::mt19937 rng(5201);
  const auto mol = ButaneWithHole();
  std::vector<Maker> makers{Cosine(0, 1, 2, 3), Cosine(9, 2, 1, 0), Cosine(13, 3, 2, 8)};
  for (const auto& [i, j] : {std::pair{0U, 1U}, {13U, 2U}, {3U, 8U}}) {
    for (const double target : {0.0, 1.3, 4.0}) makers.push_back(Square(i, j, target));
  }
  // Inside, below, above, with the limits crossed, and of no width.
  for (const auto& [lower, upper] :
       {std::pair{0.5, 3.0}, {2.0, 3.0}, {0.2, 0.9}, {4.0, 0.3}, {1.2, 1.2}}) {
    makers.push_back(Band(2, 1, lower, upper));
  }
  for (std::size_t k = 0; k < makers.size(); ++k) {
    const auto make = [&] { return makers[k](mol); };
    const auto x = Jittered(Coords(mol), 0.2, rng);
    EXPECT_EQ(CheckContract(make, mol, x), "") << k << ", seed 5201";
  }
}

// However the distance is rounded, nothing is left over at the target.
TEST(Penalties, DistancesAtTheirTargetHaveNoEnergyAndNoGradient) {
  std::mt19937 rng(5202);
  const auto mol = Butane();
  for (int trial = 0; trial < 500; ++trial) {
    SCOPED_TRACE("seed 5202, trial " + std::to_string(trial));
    const auto x = Jittered(Coords(mol), 0.4, rng);
    const double dx = x[3] - x[12];
    const double dy = x[4] - x[13];
    const double dz = x[5] - x[14];
    QZDistanceQuadPenalty penalty(
        Atom(mol, 1), Atom(mol, 4), std::sqrt(dx * dx + dy * dy + dz * dz), 30.0);
    ASSERT_TRUE(penalty.Setup(mol));
    Reals grad(x.size(), 0.0);
    EXPECT_EQ(penalty(x.data()), 0.0);
    EXPECT_EQ(penalty(x.data(), grad.data()), 0.0);
    EXPECT_EQ(grad, Reals(x.size(), 0.0));
  }
}

TEST(Penalties, MissingAndRepeatedAtomsAreRefusedWithAWarning) {
  const auto butane = Butane();
  auto cut = Butane();
  cut.DeleteAtom(cut.GetAtom(2));
  const auto warningsOf = [&](const Maker& make, const QZChem::QZGraphMol& mol) {
    const std::unique_ptr<QZMolPotential::QZMolFunc2> f(make(butane));
    MessageCapture messages;
    EXPECT_FALSE(f->Setup(mol));
    return messages.Warnings().size();
  };
  for (const auto& make : {Square(0, 2, 1.0), Band(2, 0, 1.0, 2.0), Cosine(0, 1, 2, 3)}) {
    EXPECT_EQ(warningsOf(make, cut), 1u);
  }
  EXPECT_EQ(warningsOf(Square(3, 3, 1.0), butane), 1u);
}

TEST(DistancePenalties, ClosedForms) {
  const auto mol = LinearChain(2, 1.5);
  const auto x = Coords(mol);
  QZDistanceQuadPenalty f(Atom(mol, 1), Atom(mol, 0), 1.0, 2.0);
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 6u);
  EXPECT_DOUBLE_EQ(f(x.data()), 0.5);
  const struct {
    double lower, upper, energy;
  } cases[] = {{1.5, 2.0, 0.0}, {1.0, 1.5, 0.0}, {1.0, 1.25, 0.625}, {2.0, 1.25, 2.5}};
  for (const auto& c : cases) {  // of crossed limits the lower wall comes first
    QZDistLimitPenalty band(Atom(mol, 0), Atom(mol, 1), c.lower, c.upper, 10.0);
    ASSERT_TRUE(band.Setup(mol));
    EXPECT_NEAR(band(x.data()), c.energy, 1e-15) << c.lower << ' ' << c.upper;
  }
}

TEST(DihedralPenalty, IsOnTheCosineAndRegularNearDegenerateShapes) {
  const auto mol = CarbonChain(4);
  QZDihedralQuadPenalty f(Atom(mol, 3), Atom(mol, 2), Atom(mol, 1), Atom(mol, 0), -kPi / 3.0, 5.0);
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 12u);
  for (const double phi : {0.0, 1e-9, 1e-5, -0.4, kPi / 3.0, kPi / 2.0, kPi - 1e-7, kPi}) {
    const double off = std::cos(phi) - 0.5;
    EXPECT_NEAR(f(Dihedral(phi).data()), 5.0 * off * off, 1e-13) << phi;
    EXPECT_EQ(CheckDerivatives(f, Dihedral(phi)), "") << phi;
  }
  auto bent = Dihedral(2.0);  // a-b-c one degree off the line
  bent[0] = -1.4;
  bent[1] = 0.025;
  EXPECT_EQ(CheckDerivatives(f, bent, /*step=*/1e-6), "");
}

TEST(DihedralPenalty, AtomsInLineAndNaNAddNothing) {
  const auto mol = LinearChain(4, 1.4);
  QZDihedralQuadPenalty f(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3), 1.0, 6.0);
  ASSERT_TRUE(f.Setup(mol));
  auto lost = Dihedral(1.0);
  lost[4] = std::nan("");
  for (const auto& x : {Coords(mol), lost}) {
    std::vector<double> h(78, 0.0);
    std::vector<double> g(12, 0.0);
    EXPECT_EQ(f(x.data(), g.data()), 0.0);
    EXPECT_TRUE(f(x.data(), h.data(), g.data()));
    EXPECT_EQ(g, std::vector<double>(12, 0.0));
    EXPECT_EQ(h, std::vector<double>(78, 0.0));
  }
}

}  // namespace
