// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "kernels/cells.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>
#include <vector>

namespace {

using namespace QZMolPotential;

// A cluster, far outliers, points on cell faces, twins, and points that are not finite.
std::vector<Vec3> Points(std::mt19937& rng) {
  std::uniform_real_distribution<double> near(-6.0, 6.0);
  std::uniform_real_distribution<double> far(-1e5, 1e5);
  std::vector<Vec3> points;
  for (int i = 0; i < 150; ++i) points.push_back({near(rng), near(rng), near(rng)});
  for (int i = 0; i < 5; ++i) points.push_back({far(rng), far(rng), 1e12 * far(rng)});
  for (int i = -3; i < 4; ++i) points.push_back({2.5 * i, -2.5 * i, 5.0});
  points.push_back(points[3]);
  points.push_back({std::numeric_limits<double>::quiet_NaN(), 0.0, 0.0});
  points.push_back({0.0, -std::numeric_limits<double>::infinity(), 0.0});
  return points;
}

double Distance2(const Vec3& a, const Vec3& b) {
  return Dot(a - b, a - b);
}

TEST(CellList, FindsWhatALoopOverAllPointsFinds) {
  std::mt19937 rng(75);
  for (int trial = 0; trial < 20; ++trial) {
    SCOPED_TRACE("seed 75, trial " + std::to_string(trial));
    const std::vector<Vec3> points = Points(rng);
    const auto position = [&](std::size_t i) { return points[i]; };
    CellList cells;
    cells.Build(points.size(), 2.5, position);
    std::set<std::pair<unsigned, unsigned>> pairs;
    cells.ForEachPair([&](unsigned i, unsigned j) {
      EXPECT_TRUE(pairs.emplace(std::min(i, j), std::max(i, j)).second) << i << ", " << j;
    });
    const auto finite = static_cast<unsigned>(points.size()) - 2;
    for (unsigned j = 0; j < finite; ++j) {
      EXPECT_FALSE(pairs.contains({j, j}));
      for (unsigned i = 0; i < j; ++i) {
        if (Distance2(points[i], points[j]) < 2.5 * 2.5) {
          EXPECT_TRUE(pairs.contains({i, j})) << i << ", " << j;
        }
      }
    }
    for (const double reach : {0.0, 1.0, 9.0, 3e5}) {
      const Vec3 p = points[static_cast<std::size_t>(trial) * 7];
      std::multiset<unsigned> found;
      cells.ForEachNear(p, reach, [&](unsigned i) { found.insert(i); });
      for (unsigned i = 0; i < points.size(); ++i) {
        const bool within = Distance2(points[i], p) <= reach * reach;
        EXPECT_TRUE(found.count(i) == 1 || (!within && found.count(i) == 0)) << i;
      }
      // Of the first half every second point.
      unsigned nearest = 9999;
      double best = reach * reach;
      for (unsigned i = 0; i < finite / 2; i += 2) {
        if (Distance2(points[i], p) < best) best = Distance2(points[nearest = i], p);
      }
      EXPECT_EQ(
          cells.Nearest(
              p, finite / 2, reach * reach, 9999, position, [](unsigned i) { return i % 2 == 0; }),
          nearest);
    }
  }
}

// Empty space costs nothing: two points at the ends of the world and a box around both.
TEST(CellList, IsQuickInEmptySpace) {
  const std::vector<double> x{0.0, 0.0, 0.0, 1e6, 1e6, 1e6};
  CellList cells;
  cells.Build(x.data(), 2, 1.0);
  int found = 0;
  cells.ForEachInBox({-1.0, -1.0, -1.0}, {2e6, 2e6, 2e6}, [&](unsigned) { ++found; });
  cells.ForEachPair([&](unsigned, unsigned) { found += 10; });
  EXPECT_EQ(found, 2);
  cells.Build(x.data(), 0, 1.0);
  cells.ForEachInBox({}, {1.0, 1.0, 1.0}, [&](unsigned) { ++found; });
  EXPECT_EQ(found, 2);
}

}  // namespace
