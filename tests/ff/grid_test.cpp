// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <random>
#include <vector>

#include "molpotential/nearnbrgrid.h"
#include "qzchem/mol.h"
#include "support/molecules.h"

namespace {

using QZMolPotential::QZNearNbrGrid;
using Point = std::array<double, 3>;
using Hosts = std::vector<unsigned int>;

constexpr double kEdge = 0.5;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

QZChem::QZGraphMol Atoms(const std::vector<Point>& points) {
  QZChem::QZGraphMol mol;
  for (const auto& p : points) mol.AddAtom(6, p[0], p[1], p[2]);
  return mol;
}

std::vector<Point> RandomPoints(std::size_t count, Point centre, double half, unsigned int seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> shift(-half, half);
  std::vector<Point> points(count, centre);
  for (auto& p : points) {
    for (double& value : p) value += shift(rng);
  }
  return points;
}

// The list of every cell against its definition: the hosts nearer to the cell's centre than edge
// plus radius, in order. Returns the number of entries.
std::size_t ExpectLists(const QZNearNbrGrid& grid,
                        const QZChem::QZMolBase& hosts,
                        const QZChem::QZMolBase& region,
                        double radius) {
  const auto corners = TestSupport::Coords(region);
  Point low{corners[0], corners[1], corners[2]};
  Point high = low;
  for (std::size_t i = 0; i < corners.size(); ++i) {
    low[i % 3] = std::min(low[i % 3], corners[i]);
    high[i % 3] = std::max(high[i % 3], corners[i]);
  }
  const auto centre = [&](std::size_t k, int i) { return low[k] + i * kEdge + kEdge / 2; };
  const auto inside = [&](std::size_t k, int i) { return i <= (high[k] - low[k]) * 2.0; };
  std::size_t entries = 0;
  for (int ix = 0; inside(0, ix); ++ix) {
    for (int iy = 0; inside(1, iy); ++iy) {
      for (int iz = 0; inside(2, iz); ++iz) {
        const Point c{centre(0, ix), centre(1, iy), centre(2, iz)};
        Hosts expected;
        for (const auto& atom : QZSystem::QZRange(hosts.GetAtoms())) {
          Point p;
          hosts.GetCoords(&atom, p.data());
          const double dx = p[0] - c[0];
          const double dy = p[1] - c[1];
          const double dz = p[2] - c[2];
          if (dx * dx + dy * dy + dz * dz < (kEdge + radius) * (kEdge + radius)) {
            expected.push_back(atom.GetIndex());
          }
        }
        EXPECT_EQ(grid.GetHostAtoms(c.data()), expected) << ix << " " << iy << " " << iz;
        entries += expected.size();
      }
    }
  }
  return entries;
}

// The definition itself reaches every host within the radius of any point of the cell: half the
// diagonal of a cell is less than its edge.
TEST(Grid, ListsMatchTheDefinitionForRandomHostsWithHoles) {
  for (const unsigned int seed : {11U, 12U, 13U}) {
    const Point centre{100.0 * seed, -7.3, 0.01};
    const auto region = Atoms(RandomPoints(40, centre, 3.7, seed));
    auto hosts = Atoms(RandomPoints(500, centre, 12.0, seed + 100));
    for (unsigned int i = 0; i < 500; i += 3) hosts.DeleteAtom(hosts.GetAtom(i));
    for (const double radius : {0.0, 0.7, 3.0, 9.0, 40.0, -0.2, -2.0}) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", radius " << radius);
      QZNearNbrGrid grid;
      ASSERT_TRUE(grid.Init(hosts, region, radius));
      EXPECT_TRUE(ExpectLists(grid, hosts, region, radius) > 0 || radius <= 0.0);
    }
  }
}

TEST(Grid, HostsAtExactlyTheReachAreDecidedAsTheDefinitionDoes) {
  // On a lattice of quarters every distance is exact, and hundreds of hosts lie at the reach; with
  // an offset of a tenth, rounding decides about them.
  for (const double offset : {0.0, 0.1, 1e5 + 0.3}) {
    SCOPED_TRACE(offset);
    const auto region =
        Atoms({{offset, offset, offset}, {offset + 2.0, offset + 3.0, offset + 4.5}});
    QZChem::QZGraphMol hosts;
    for (int i = -12; i <= 16; ++i) {
      for (int j = -12; j <= 16; ++j) {
        for (int k = -12; k <= 16; k += 4) {
          hosts.AddAtom(
              6, offset + 0.25 + 0.25 * i, offset + 0.25 + 0.25 * j, offset + 0.25 + 0.25 * k);
        }
      }
    }
    QZNearNbrGrid grid;
    ASSERT_TRUE(grid.Init(hosts, region, 1.0));
    ExpectLists(grid, hosts, region, 1.0);
  }
  // One host, at the reach of the first of two cells and within that of the second.
  const auto region = Atoms({{0.0, 0.0, 0.0}, {0.6, 0.0, 0.0}});
  const auto host = Atoms({{1.75, 0.25, 0.25}});
  QZNearNbrGrid grid;
  ASSERT_TRUE(grid.Init(host, region, 1.0));
  EXPECT_EQ(ExpectLists(grid, host, region, 1.0), 1U);
}

TEST(Grid, UnusualRadiiAndFarHostsEndInTime) {
  const auto region = Atoms(RandomPoints(10, {}, 2.0, 8));
  auto points = RandomPoints(50, {}, 3.0, 9);
  points.insert(points.end(), {{1e12, -1e12, 1e12}, {1e200, 0.0, 0.0}, {kInf, 0.0, 0.0}});
  const auto hosts = Atoms(points);
  for (const double radius : {2.0, 1e6, 1e13, 1e170, kInf, kNan}) {
    SCOPED_TRACE(radius);
    QZNearNbrGrid grid;
    ASSERT_TRUE(grid.Init(hosts, region, radius));
    ExpectLists(grid, hosts, region, radius);
  }
}

TEST(Grid, OneAtomGivesOneHalfOpenCell) {
  const auto hosts =
      Atoms({{1.25, 2.25, 4.5}, {1.25, 2.25, 4.75}, {kNan, 2.0, 3.0}, {1.0, 2.0, 3.0}});
  QZNearNbrGrid grid;
  ASSERT_TRUE(grid.Init(hosts, Atoms({{1.0, 2.0, 3.0}}), 1.0));
  // A host at the reach itself is out, and NaN is nowhere.
  for (const Point& p : {Point{1.0, 2.0, 3.0}, Point{1.4999, 2.4999, 3.4999}}) {
    EXPECT_EQ(grid.GetHostAtoms(p.data()), (Hosts{0, 3}));
  }
  for (const Point& p : {Point{1.5, 2.0, 3.0},
                         Point{1.0, 2.5, 3.0},
                         Point{1.0, 2.0, 3.5},
                         Point{std::nextafter(1.0, 0.0), 2.0, 3.0},
                         Point{kNan, 2.0, 3.0}}) {
    EXPECT_TRUE(grid.GetHostAtoms(p.data()).empty());
  }
}

TEST(Grid, ASecondInitKeepsListsOfCellsWithoutHostsAndAFailedOneNone) {
  const auto region = Atoms({{0.0, 0.0, 0.0}, {3.9, 0.0, 0.0}});
  const double left[3] = {0.1, 0.1, 0.1};
  const double right[3] = {3.7, 0.1, 0.1};
  for (const auto& bad : {Atoms({}),
                          Atoms({{kNan, 0.0, 0.0}}),
                          Atoms({{0.0, 0.0, 0.0}, {0.0, kInf, 0.0}}),
                          Atoms({{0.0, 0.0, 0.0}, {1e300, 0.0, 0.0}}),
                          Atoms({{0.0, 0.0, 0.0}, {1e9, 1e9, 1e9}})}) {
    QZNearNbrGrid grid;
    EXPECT_TRUE(grid.GetHostAtoms(left).empty());
    ASSERT_TRUE(grid.Init(Atoms({{0.2, 0.2, 0.2}}), region, 0.5));
    ASSERT_TRUE(grid.Init(Atoms({{30.0, 0.0, 0.0}, {3.8, 0.2, 0.2}}), region, 0.5));
    EXPECT_EQ(grid.GetHostAtoms(left), Hosts{0});
    EXPECT_EQ(grid.GetHostAtoms(right), Hosts{1});
    const QZNearNbrGrid copy = grid;
    EXPECT_FALSE(grid.Init(region, bad, 1.0));
    EXPECT_TRUE(grid.GetHostAtoms(left).empty());
    EXPECT_EQ(copy.GetHostAtoms(right), Hosts{1});
  }
}

}  // namespace
