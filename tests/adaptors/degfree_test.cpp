// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <array>
#include <cmath>

#include "adaptors/adaptor_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZDegFreeAdaptor;

// Six times the signed volume of atoms 0 to 3: a reflection would change its sign.
double Volume(const std::vector<double>& x) {
  std::array<double, 9> d{};
  for (std::size_t k = 0; k < 9; ++k) d[k] = x[3 + k] - x[k % 3];
  return d[0] * (d[4] * d[8] - d[5] * d[7]) - d[1] * (d[3] * d[8] - d[5] * d[6]) +
         d[2] * (d[3] * d[7] - d[4] * d[6]);
}

// The oriented coordinates of a chain of atoms at `x`.
std::vector<double> Oriented(const std::vector<double>& x) {
  const auto mol = LinearChain(static_cast<unsigned int>(x.size() / 3), 1.5);
  ProbeFunc probe;
  QZDegFreeAdaptor deg(probe, false);
  EXPECT_TRUE(deg.Setup(mol));
  std::vector<double> back(x.size(), 7.0);
  EXPECT_TRUE(deg.AdaptVar(back.data(), deg.GetVar(x.data())));
  return back;
}

TEST(DegFree, GradientIsExactInRandomOrientations) {
  std::mt19937 rng(31);
  const auto mol = Butane();
  auto* probe = new ProbeFunc;
  QZDegFreeAdaptor deg(*probe, true);
  ASSERT_TRUE(deg.Setup(mol));
  ASSERT_EQ(deg.NumVar(), 36U);
  for (int round = 0; round < 5; ++round) {
    const auto x = Jittered(Coords(mol), 0.4, rng);
    auto vars = StartVars(deg, x);
    EXPECT_NEAR(deg(vars.data()), (*probe)(x.data()), 1e-11);
    EXPECT_EQ(CheckOverwriting(deg, vars), "") << "seed 31, round " << round;
  }
}

TEST(DegFree, StandardOrientationIsARigidMotionFromEveryStart) {
  std::mt19937 rng(32);
  std::uniform_real_distribution<double> side(-1.0, 1.0);
  // Directions of atom 1: along and just off every axis, on both sides of the 1e-6 threshold.
  std::vector<std::array<double, 3>> directions;
  for (double off : {0.0, 1e-9, 5e-7, 2e-6, -1e-4}) {
    for (double sign : {1.0, -1.0}) {
      directions.push_back({sign, off, -off});
      directions.push_back({off, sign, off});
      directions.push_back({-off, off, sign});
    }
  }
  for (int i = 0; i < 20; ++i) directions.push_back({side(rng), side(rng), side(rng)});
  for (const auto& d : directions) {
    std::vector<double> x = {0.3, -0.2, 0.1, 0.3 + 1.5 * d[0], -0.2 + 1.5 * d[1], 0.1 + 1.5 * d[2]};
    for (int k = 0; k < 9; ++k) x.push_back(2.0 * side(rng));
    const auto y = Oriented(x);
    // Within the threshold about z the azimuth is ignored, which costs up to 1e-6 Å.
    const double rho = 1.5 * std::hypot(d[0], d[1]);
    const double tolerance = rho > 0.0 && rho < 1e-6 ? 3e-6 : 1e-12;
    SCOPED_TRACE(testing::Message() << "seed 32, " << d[0] << ' ' << d[1] << ' ' << d[2]);
    ExpectNear(Distances(y), Distances(x), tolerance);
    EXPECT_NEAR(Volume(y), Volume(x), 20.0 * tolerance);
    for (std::size_t k : {0U, 1U, 2U, 4U, 5U, 8U}) EXPECT_EQ(y[k], 0.0) << k;
    EXPECT_GT(y[3], 0.0);
    EXPECT_GE(y[7], 0.0);
  }
}

TEST(DegFree, Atom2IsTurnedAboutX) {
  const auto turned = [](double y2, double z2) {
    return Oriented({0, 0, 0, 1.5, 0, 0, 2, y2, z2, 2.5, 0.3, 0.4});
  };
  const std::vector<double> start = {0, 0, 0, 1.5, 0, 0, 2};
  const auto expect = [&](double y2, double z2, std::vector<double> tail) {
    auto want = start;
    want.insert(want.end(), tail.begin(), tail.end());
    ExpectNear(turned(y2, z2), want, 1e-14);
  };
  expect(0.7, 0.0, {0.7, 0, 2.5, 0.3, 0.4});
  expect(-0.7, 0.0, {0.7, 0, 2.5, -0.3, -0.4});  // a half turn
  expect(0.6, -0.8, {1.0, 0, 2.5, 0.3 * 0.6 - 0.4 * 0.8, 0.4 * 0.6 + 0.3 * 0.8});
  expect(0.0, 0.8, {0.8, 0, 2.5, 0.4, -0.3});
  expect(0.0, -0.8, {-0.8, 0, 2.5, 0.4, -0.3});  // the sign stays with y
  const double r = std::hypot(1e-3, 0.8);        // just off that case: turned to positive y
  expect(1e-3, -0.8, {r, 0, 2.5, (0.3e-3 - 0.32) / r, (0.4e-3 + 0.24) / r});
}

TEST(DegFree, SmallAndLinearMolecules) {
  const double position[12] = {1, 2, 3, 1, 2, 5, 1, 3, 3, 4, 4, 4};
  const auto vars = [&](unsigned int n) {
    const auto mol = LinearChain(n, 1.5);
    ProbeFunc probe;
    QZDegFreeAdaptor deg(probe, false);
    EXPECT_TRUE(deg.Setup(mol));
    std::vector<double> v(deg.NumVar());
    deg.GetVar(v.data(), position);
    std::vector<double> g(v.size(), 9.0);
    deg(v.data(), g.data());
    EXPECT_EQ(g[0] == 0.0, n == 1);
    return v;
  };
  ExpectNear(vars(1), {0.0}, 0.0);
  ExpectNear(vars(2), {2.0}, 1e-14);
  ExpectNear(vars(3), {2.0, 0.0, 1.0}, 1e-14);
  EXPECT_EQ(vars(4).size(), 6U);

  std::vector<double> line;
  for (int i = 0; i < 5; ++i) line.insert(line.end(), {1.0 + i, 2.0 - i, 0.5 * i});
  const auto oriented = Oriented(line);
  ExpectNear(Distances(oriented), Distances(line), 1e-12);
  std::vector<double> coincident = {1, 1, 1, 1, 1, 1, 2, 2, 2};
  EXPECT_TRUE(std::isnan(Oriented(coincident)[6]));
}

TEST(DegFree, FailuresAreFalseWithoutMessage) {
  MessageCapture messages;
  ProbeFunc probe;
  QZDegFreeAdaptor deg(probe, false);
  double x[9] = {};
  EXPECT_FALSE(deg.AdaptVar(x, x));
  EXPECT_FALSE(deg.Setup(QZChem::QZGraphMol()));
  EXPECT_EQ(probe.SetupCount(), 0);
  probe.FailSetup(true);
  EXPECT_FALSE(deg.Setup(Water()));
  EXPECT_TRUE(messages.All().empty());
}

}  // namespace
