// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <array>

#include "coordinates/cartesian/adaptor_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZDegFreeAdaptor;

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

TEST(DegFree, StandardOrientationIsARigidMotionFromEveryStart) {
  std::mt19937 rng(32);
  std::uniform_real_distribution<double> side(-1.0, 1.0);
  // Directions of atom 1: along and just off every axis, on both sides of the 1e-6 threshold.
  std::vector<std::array<double, 3>> directions;
  for (double off : {0.0, 1e-9, 5e-7, 2e-6, -1e-4}) {
    for (double sign : {1.0, -1.0}) {
      directions.insert(directions.end(), {{sign, off, -off}, {off, sign, off}, {-off, off, sign}});
    }
  }
  for (int i = 0; i < 20; ++i) directions.push_back({side(rng), side(rng), side(rng)});
  for (const auto& d : directions) {
    std::vector<double> x = {0.3, -0.2, 0.1, 0.3 + 1.5 * d[0], -0.2 + 1.5 * d[1], 0.1 + 1.5 * d[2]};
    for (int k = 0; k < 9; ++k) x.push_back(2.0 * side(rng));
    const auto y = Oriented(x);
    // Within the threshold about z the azimuth is ignored, which costs up to 1e-6 Å.
    const double rho = 1.5 * std::hypot(d[0], d[1]);
    SCOPED_TRACE(testing::Message() << "seed 32, " << d[0] << ' ' << d[1] << ' ' << d[2]);
    EXPECT_LE(Deviation(y, x), rho > 0.0 && rho < 1e-6 ? 3e-6 : 1e-12);
    for (std::size_t k : {0U, 1U, 2U, 4U, 5U, 8U}) EXPECT_EQ(y[k], 0.0) << k;
    EXPECT_GT(y[3], 0.0);
    EXPECT_GE(y[7], 0.0);
  }
}

TEST(DegFree, SmallAndLinearMolecules) {
  const std::vector<double> position = {1, 2, 3, 1, 2, 5, 1, 3, 3, 4, 4, 4};
  const std::vector<double> expected[] = {{0.0}, {2.0}, {2.0, 0.0, 1.0}};
  for (unsigned int n = 1; n <= 3; ++n) {
    ProbeFunc probe;
    QZDegFreeAdaptor deg(probe, false);
    EXPECT_TRUE(deg.Setup(LinearChain(n, 1.5)));
    EXPECT_LE(LargestDifference(StartVars(deg, position), expected[n - 1]), 1e-14);
  }
  const auto line = Coords(LinearChain(5, 1.5));
  EXPECT_LE(Deviation(Oriented(line), line), 1e-12);
}

}  // namespace
