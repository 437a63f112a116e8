// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>

#include "adaptors/adaptor_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZQuatAdaptor;

const char* const kHoles =
    "Molecule appears to have deleted atoms -- QZMolBase::Sweep() must be called before using "
    "quaternion adaptor";

// A quaternion adaptor over the field, with reference geometry `x`.
struct Bound {
  Bound(const QZChem::QZMolBase& mol, const std::vector<double>& x, bool centred) {
    EXPECT_TRUE(quat.GetTranslateRefToGC());
    EXPECT_EQ(quat.GetRefCoord(), nullptr);
    quat.SetTranslateRefToGC(centred);
    EXPECT_TRUE(quat.Setup(mol));
    start = StartVars(quat, x);
  }
  FieldFunc field;
  QZQuatAdaptor quat{field, false, false};
  std::vector<double> start;
};

TEST(Quaternion, GradientIsExactAndOrthogonalToQAtAnyLength) {
  std::mt19937 rng(21);
  for (bool centred : {true, false}) {
    Bound bound(Butane(), Coords(Butane()), centred);
    auto& quat = bound.quat;
    for (int round = 0; round < 5; ++round) {
      const auto vars = RandomPlacement(rng);
      EXPECT_EQ(CheckOverwriting(quat, vars), "") << "seed 21, round " << round;
      std::vector<double> g(7);
      quat(vars.data(), g.data());
      EXPECT_GT(std::abs(g[0]) + std::abs(g[1]), 1e-3);
      EXPECT_NEAR(g[0] * vars[0] + g[1] * vars[1] + g[2] * vars[2] + g[3] * vars[3], 0.0, 1e-10);
    }
  }
}

TEST(Quaternion, GetVarAndAdaptVarRoundTrip) {
  std::mt19937 rng(22);
  for (bool centred : {true, false}) {
    const auto x = Jittered(Coords(Butane()), 2.0, rng);
    Bound bound(Butane(), x, centred);
    auto& vars = bound.start;
    std::vector<double> centre(3, 0.0);
    for (std::size_t i = 0; i < x.size() && centred; ++i) {
      centre[i % 3] += x[i] * 3.0 / static_cast<double>(x.size());
    }
    ExpectNear(vars, {1.0, 0.0, 0.0, 0.0, centre[0], centre[1], centre[2]}, 1e-14);
    for (std::size_t i = 0; i < x.size(); ++i) {
      EXPECT_NEAR(bound.quat.GetRefCoord()[i], x[i] - centre[i % 3], 1e-14);
    }
    std::vector<double> back(x.size());
    for (double length : {1.0, 2.0, -0.3}) {
      vars[0] = length;
      ASSERT_TRUE(bound.quat.AdaptVar(back.data(), vars.data()));
      ExpectNear(back, x, 1e-14);
    }
  }
}

TEST(Quaternion, RotationIsActive) {
  QZChem::QZGraphMol mol;
  mol.AddAtom(6);
  Bound bound(mol, {1.0, 2.0, 3.0}, false);
  const auto& quat = bound.quat;
  std::vector<double> back(3);
  const double aboutZ[7] = {2.0, 0.0, 0.0, 2.0, 10.0, 20.0, 30.0};  // a quarter turn: x to y
  quat.AdaptVar(back.data(), aboutZ);
  ExpectNear(back, {10.0 - 2.0, 20.0 + 1.0, 30.0 + 3.0}, 1e-13);
  const double aboutX[7] = {1e-170, 1e-170, 0.0, 0.0, 0.0, 0.0, 0.0};  // squares underflow: q = 0
  quat.AdaptVar(back.data(), aboutX);
  ExpectNear(back, {0.0, 0.0, 0.0}, 0.0);
  const double tiny[7] = {1e-160, 1e-160, 0.0, 0.0, 0.0, 0.0, 0.0};  // y to z
  quat.AdaptVar(back.data(), tiny);
  ExpectNear(back, {1.0, -3.0, 2.0}, 1e-13);
}

TEST(Quaternion, ZeroQuaternionCollapsesOntoTheTranslation) {
  Bound bound(Water(), Coords(Water()), true);
  const auto& quat = bound.quat;
  const double vars[7] = {0.0, 0.0, 0.0, 0.0, 1.0, 2.0, 3.0};
  std::vector<double> x(9);
  EXPECT_TRUE(quat.AdaptVar(x.data(), vars));
  EXPECT_EQ(x, std::vector<double>({1, 2, 3, 1, 2, 3, 1, 2, 3}));
  std::vector<double> g(7, 5.0);
  const std::vector<double> cartGrad = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  EXPECT_FALSE(quat.AdaptGrad(g.data(), cartGrad.data(), vars, quat.GetRefCoord()));
  EXPECT_EQ(g, std::vector<double>({5, 5, 5, 5, 17, 20, 23}));
}

TEST(Quaternion, AdaptGradScalesAndProjectsWhatTheCallerLeft) {
  Bound bound(Water(), Coords(Water()), true);
  const double vars[7] = {2.0};
  const std::vector<double> cartGrad = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  std::vector<double> g(7, 0.0);
  std::vector<double> left = {5, 1, 2, 3, 4, 5, 6};
  EXPECT_TRUE(bound.quat.AdaptGrad(g.data(), cartGrad.data(), vars, bound.quat.GetRefCoord()));
  EXPECT_TRUE(bound.quat.AdaptGrad(left.data(), cartGrad.data(), vars, bound.quat.GetRefCoord()));
  const double added[7] = {0.0, 0.5, 1.0, 1.5, 4.0, 5.0, 6.0};
  for (std::size_t k = 0; k < 7; ++k) EXPECT_NEAR(left[k], g[k] + added[k], 1e-13) << k;
}

TEST(Quaternion, RestrictionSwitchesEverythingOff) {
  const auto mol = Butane();
  FieldFunc field;
  QZQuatAdaptor quat(field, false, true);
  ASSERT_TRUE(quat.Setup(mol));
  EXPECT_EQ(field.masks, std::vector<unsigned int>({8, 48, 192, 5}));
  EXPECT_FALSE((*field.atom)(*mol.GetAtom(0)));
  EXPECT_FALSE((*field.bond)(*mol.GetBond(0)));
  EXPECT_FALSE((*field.atomPair)(*mol.GetAtom(0), *mol.GetAtom(1)));
  EXPECT_FALSE((*field.bondPair)(*mol.GetBond(0), *mol.GetBond(1)));
}

TEST(Quaternion, MoleculesWithHolesMustBeSwept) {
  auto mol = Butane();
  ProbeFunc probe;
  QZQuatAdaptor quat(probe, false, true);
  MessageCapture messages;
  EXPECT_FALSE(quat.Setup(QZChem::QZGraphMol()));
  EXPECT_TRUE(messages.All().empty());
  mol.DeleteAtom(mol.GetAtom(4));
  EXPECT_FALSE(quat.Setup(mol));
  EXPECT_EQ(messages.Warnings(), std::vector<std::string>({kHoles}));
  EXPECT_TRUE(probe.Calls().empty());
  double vars[7] = {1.0};
  double grad[7] = {1, 1, 1, 1, 1, 1, 1};
  EXPECT_EQ(quat.GetVar(vars), nullptr);
  EXPECT_EQ(quat(vars), 0.0);
  EXPECT_EQ(quat(vars, grad), 0.0);
  EXPECT_EQ(std::vector<double>(grad, grad + 7), std::vector<double>(7, 0.0));
  mol.Sweep();
  EXPECT_TRUE(quat.Setup(mol));
  probe.FailSetup(true);
  EXPECT_FALSE(quat.Setup(mol));
}

TEST(Quaternion, RedundantPlacements) {
  Bound bound(Butane(), Coords(Butane()), true);
  const auto& quat = bound.quat;
  const double a[7] = {0.5, -0.5, 0.5, 0.5, 1.0, 2.0, 3.0};
  const double negated[7] = {-1.0, 1.0, -1.0, -1.0, 1.0, 2.0, 3.0};
  const double shifted[7] = {0.5, -0.5, 0.5, 0.5, 1.3, 2.0, 3.4};  // by 0.5 Å
  MessageCapture messages;
  EXPECT_TRUE(quat.IsRedundant(a, negated, 1e-9));
  EXPECT_TRUE(quat.IsRedundant(a, shifted, 0.501));
  EXPECT_FALSE(quat.IsRedundant(a, shifted, 0.499));
  EXPECT_TRUE(messages.All().empty());
  for (double tolerance : {0.0, -1.0, std::nan("")}) {
    EXPECT_TRUE(quat.IsRedundant(a, shifted, tolerance));
  }
  EXPECT_EQ(messages.At(QZSystem::QZErrorLevel::Error),
            std::vector<std::string>(
                3, "Tolerance should have positive value in the IsRedundant function!"));
}

}  // namespace
