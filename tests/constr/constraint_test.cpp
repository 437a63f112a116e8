// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/constr_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZAngleConstr;
using QZMolPotential::QZDihedralConstr;
using QZMolPotential::QZDistanceConstr;
using QZMolPotential::QZMolConstr;

// Gradients are added, and `scale` times the central difference.
void ExpectGradient(QZMolConstr& c, const std::vector<double>& x, double scale = 1.0) {
  std::vector<double> g(x.size(), 0.5);
  std::vector<double> expected(x.size());
  EXPECT_EQ(c(x.data(), g.data()), c(x.data()));
  for (std::size_t i = 0; i < x.size(); ++i) {
    auto up = x;
    auto down = x;
    up[i] += 1e-5;
    down[i] -= 1e-5;
    expected[i] = 0.5 + scale * (c(up.data()) - c(down.data())) / 2e-5;
  }
  EXPECT_LE(LargestDifference(g, expected), 1e-8);
}

TEST(Constraints, GradientsAreDerivativesTheDistanceOneTimesTheDistance) {
  std::mt19937 rng(5501);
  const auto mol = ButaneWithHole();
  QZDistanceConstr distance(Atom(mol, 9), Atom(mol, 2), 1.2);
  QZAngleConstr angle(Atom(mol, 3), Atom(mol, 2), Atom(mol, 1), 1.8);
  QZDihedralConstr dihedral(Atom(mol, 9), Atom(mol, 2), Atom(mol, 1), Atom(mol, 0), 1.0);
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE("seed 5501");
    const auto x = Jittered(Coords(mol), 0.3, rng);
    ExpectGradient(distance, x, distance(x.data()) + 1.2);
    ExpectGradient(angle, x);
    ExpectGradient(dihedral, x);
  }
  QZDihedralConstr planar(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3), 1.0);
  for (const double phi : {0.0, 1e-6, kPi - 1e-6, kPi}) ExpectGradient(planar, Dihedral(phi));
}

TEST(Constraints, ClosedForms) {
  const auto mol = CarbonChain(4);
  const std::vector<double> x{2.0, 0.0, 0.0, 0.0, 0.0, 0.0, 1.0, 1.0, 0.0, 0.0, 0.0, 0.0};
  QZDistanceConstr distance(Atom(mol, 0), Atom(mol, 1), 1.0);
  EXPECT_DOUBLE_EQ(distance(x.data()), 1.0);
  QZAngleConstr angle(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), kPi / 2.0);
  EXPECT_NEAR(angle(x.data()), std::sqrt(0.5), 1e-15);
  QZDihedralConstr plus(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3), 1.1);
  QZDihedralConstr minus(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3), -1.1);
  EXPECT_NEAR(plus(Dihedral(-1.1).data()), 0.0, 1e-15);
  EXPECT_EQ(plus(Dihedral(0.7).data()), minus(Dihedral(0.7).data()));
  // A straight angle is clamped, not NaN; atoms in line leave the dihedral without a value.
  const auto line = Coords(LinearChain(4, 0.3));
  EXPECT_NEAR(angle(line.data()), -1.0, 1e-15);
  EXPECT_TRUE(std::isnan(plus(line.data())));
}

TEST(Constraints, WithoutATargetMeasureAnewAtEverySetupOrRefuseAMissingAtom) {
  std::mt19937 rng(5502);
  auto mol = ButaneWithHole();
  QZDistanceConstr distance(Atom(mol, 0), Atom(mol, 9));
  QZAngleConstr angle(Atom(mol, 0), Atom(mol, 9), Atom(mol, 4));
  QZDihedralConstr dihedral(Atom(mol, 3), Atom(mol, 2), Atom(mol, 1), Atom(mol, 0));
  QZDistanceConstr given(Atom(mol, 0), Atom(mol, 9), 3.3);
  for (int round = 0; round < 3; ++round) {
    const auto x = Coords(mol);
    for (QZMolConstr* c : std::initializer_list<QZMolConstr*>{&distance, &angle, &dihedral}) {
      ASSERT_TRUE(c->Setup(mol));
      EXPECT_NEAR((*c)(x.data()), 0.0, 1e-14) << "seed 5502";
    }
    ASSERT_TRUE(given.Setup(mol));
    EXPECT_EQ(given.GetDistance(), 3.3);
    mol.SetCoords(Jittered(x, 0.3, rng).data());
  }
  const QZDihedralConstr copy(dihedral);
  const double held = dihedral.GetDihedralAngle();
  ASSERT_TRUE(dihedral.Setup(mol));
  EXPECT_EQ(copy.GetDihedralAngle(), held);
  EXPECT_NE(dihedral.GetDihedralAngle(), held);
  mol.DeleteAtom(mol.GetAtom(9));
  MessageCapture messages;
  EXPECT_FALSE(distance.Setup(mol));
  EXPECT_FALSE(angle.Setup(mol));
  EXPECT_FALSE(dihedral.Setup(Water()));
  EXPECT_EQ(messages.Warnings().size(), 3u);
}

}  // namespace
