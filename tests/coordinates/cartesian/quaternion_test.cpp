// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <numeric>

#include "coordinates/cartesian/adaptor_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZQuatAdaptor;

// A quaternion adaptor over a field, with reference geometry `x`.
struct Bound {
  Bound(const QZChem::QZMolBase& mol, const std::vector<double>& x, bool centred) {
    quat.SetTranslateRefToGC(centred);
    EXPECT_TRUE(quat.Setup(mol));
    start = StartVars(quat, x);
  }
  FieldFunc field{2.0, 0.0};
  QZQuatAdaptor quat{field, false, false};
  std::vector<double> start;
};

TEST(Quaternion, RoundTripsAndItsGradientIsExactAtAnyLength) {
  std::mt19937 rng(22);
  for (bool centred : {true, false}) {
    const auto x = Jittered(Coords(Butane()), 2.0, rng);
    Bound bound(Butane(), x, centred);
    auto& vars = bound.start;
    std::vector<double> expected = {1.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
    for (std::size_t i = 0; i < x.size() && centred; ++i) expected[4 + i % 3] += x[i] / 14.0;
    EXPECT_LE(LargestDifference(vars, expected), 1e-14);
    std::vector<double> back(x.size());
    for (double length : {1.0, 2.0, -0.3}) {
      vars[0] = length;
      ASSERT_TRUE(bound.quat.AdaptVar(back.data(), vars.data()));
      EXPECT_LE(LargestDifference(back, x), 1e-14);
      EXPECT_EQ(CheckOverwriting(bound.quat, RandomPlacements(1, rng)), "") << "seed 22";
    }
  }
}

TEST(Quaternion, RotationIsActiveAndAZeroQuaternionCollapsesOntoTheTranslation) {
  QZChem::QZGraphMol mol;
  mol.AddAtom(6);
  Bound bound(mol, {1.0, 2.0, 3.0}, false);
  const auto expect = [&](const std::vector<double>& vars, const std::vector<double>& place) {
    std::vector<double> back(3);
    bound.quat.AdaptVar(back.data(), vars.data());
    EXPECT_LE(LargestDifference(back, place), 1e-13);
  };
  expect({2.0, 0.0, 0.0, 2.0, 10.0, 20.0, 30.0}, {8.0, 21.0, 33.0});    // a quarter turn: x to y
  expect({1e-160, 1e-160, 0.0, 0.0, 0.0, 0.0, 0.0}, {1.0, -3.0, 2.0});  // y to z
  expect({1e-170, 1e-170, 0.0, 0.0, 4.0, 5.0, 6.0}, {4.0, 5.0, 6.0});   // squares underflow: q = 0
}

// The derivative of Σ g·x with another geometry in the place of the reference, added to a rotation
// part that is scaled by 2/|q|² and projected across q first.
TEST(Quaternion, GradientCallTakesAnyReferenceAndScalesWhatStoodThere) {
  std::mt19937 rng(27);
  const auto x = Jittered(Coords(Butane()), 2.0, rng);
  const auto g = Jittered(std::vector<double>(x.size(), 0.0), 3.0, rng);
  Bound bound(Butane(), Coords(Butane()), true);
  Bound other(Butane(), x, false);
  const auto dot = [&](const std::vector<double>& vars) {
    std::vector<double> placed(x.size());
    other.quat.AdaptVar(placed.data(), vars.data());
    return std::inner_product(g.begin(), g.end(), placed.begin(), 0.0);
  };
  auto vars = RandomPlacements(1, rng);
  const std::vector<double> before = {1.0, -2.0, 0.5, 3.0, 4.0, 5.0, 6.0};
  auto grad = before;
  const double energy = bound.quat(vars.data());
  EXPECT_TRUE(bound.quat.AdaptGrad(grad.data(), g.data(), vars.data(), x.data()));
  EXPECT_EQ(bound.quat(vars.data()), energy) << "its own reference stays";
  const double s = std::inner_product(vars.begin(), vars.begin() + 4, vars.begin(), 0.0);
  const double along = std::inner_product(vars.begin(), vars.begin() + 4, before.begin(), 0.0) / s;
  for (std::size_t k = 0; k < 7; ++k) {
    auto up = vars, down = vars;
    up[k] += 1e-5;
    down[k] -= 1e-5;
    const double kept = k < 4 ? 2.0 / s * (before[k] - along * vars[k]) : before[k];
    EXPECT_NEAR(grad[k], kept + (dot(up) - dot(down)) / 2e-5, 1e-6) << "seed 27, variable " << k;
  }
  std::fill_n(vars.begin(), 4, 0.0);
  grad = before;
  EXPECT_FALSE(bound.quat.AdaptGrad(grad.data(), g.data(), vars.data(), x.data()));
  EXPECT_TRUE(std::equal(grad.begin(), grad.begin() + 4, before.begin()));
}

}  // namespace
