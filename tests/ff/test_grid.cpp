// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "molpotential/nearnbrgrid.h"
#include "qzchem/mol.h"

namespace {

using QZMolPotential::QZNearNbrGrid;
using Point = std::array<double, 3>;
using Lists = std::vector<std::vector<unsigned int>>;

constexpr double kEdge = 0.5;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

struct Box {
  Point lower;
  std::array<std::size_t, 3> dims;
  Point Centre(std::size_t ix, std::size_t iy, std::size_t iz) const {
    const auto at = [&](std::size_t k, std::size_t i) {
      return lower[k] + static_cast<double>(i) * kEdge + kEdge / 2;
    };
    return {at(0, ix), at(1, iy), at(2, iz)};
  }
};

QZChem::QZGraphMol Atoms(const std::vector<Point>& points) {
  QZChem::QZGraphMol mol;
  for (const auto& p : points) mol.AddAtom(6, p[0], p[1], p[2]);
  return mol;
}

Box BoxOf(const QZChem::QZMolBase& region) {
  Point low{};
  Point high{};
  bool first = true;
  for (const auto& atom : QZSystem::QZRange(region.GetAtoms())) {
    Point p;
    region.GetCoords(&atom, p.data());
    if (first) low = high = p;
    first = false;
    for (std::size_t k = 0; k < 3; ++k) {
      if (p[k] < low[k]) low[k] = p[k];
      if (p[k] > high[k]) high[k] = p[k];
    }
  }
  Box box{low, {}};
  for (std::size_t k = 0; k < 3; ++k) {
    box.dims[k] = static_cast<std::size_t>((high[k] - low[k]) * 2.0) + 1;
  }
  return box;
}

// The lists by their definition: every cell against every host.
Lists ByDefinition(const QZChem::QZMolBase& hosts, const Box& box, double radius) {
  const double reach = kEdge + radius;
  const auto [nx, ny, nz] = box.dims;
  Lists lists(nx * ny * nz);
  for (const auto& atom : QZSystem::QZRange(hosts.GetAtoms())) {
    Point p;
    hosts.GetCoords(&atom, p.data());
    for (std::size_t ix = 0; ix < nx; ++ix) {
      for (std::size_t iy = 0; iy < ny; ++iy) {
        for (std::size_t iz = 0; iz < nz; ++iz) {
          const Point c = box.Centre(ix, iy, iz);
          const double dx = p[0] - c[0];
          const double dy = p[1] - c[1];
          const double dz = p[2] - c[2];
          if (dx * dx + dy * dy + dz * dz < reach * reach) {
            lists[(iz * ny + iy) * nx + ix].push_back(atom.GetIndex());
          }
        }
      }
    }
  }
  return lists;
}

Lists Read(const QZNearNbrGrid& grid, const Box& box) {
  const auto [nx, ny, nz] = box.dims;
  Lists lists(nx * ny * nz);
  for (std::size_t iz = 0; iz < nz; ++iz) {
    for (std::size_t iy = 0; iy < ny; ++iy) {
      for (std::size_t ix = 0; ix < nx; ++ix) {
        lists[(iz * ny + iy) * nx + ix] = grid.GetHostAtoms(box.Centre(ix, iy, iz).data());
      }
    }
  }
  return lists;
}

std::vector<Point> RandomPoints(std::size_t count,
                                const Point& centre,
                                double half,
                                unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> shift(-half, half);
  std::vector<Point> points(count);
  for (auto& p : points) {
    for (std::size_t k = 0; k < 3; ++k) p[k] = centre[k] + shift(rng);
  }
  return points;
}

std::size_t Entries(const Lists& lists) {
  std::size_t count = 0;
  for (const auto& list : lists) count += list.size();
  return count;
}

TEST(Grid, ListsMatchTheDefinitionForRandomHostsWithHoles) {
  for (const unsigned int seed : {11U, 12U, 13U}) {
    SCOPED_TRACE(seed);
    const Point centre{100.0 * seed, -7.3, 0.01};
    const auto region = Atoms(RandomPoints(40, centre, 3.7, seed));
    auto hosts = Atoms(RandomPoints(500, centre, 12.0, seed + 100));
    for (unsigned int i = 0; i < 500; i += 3) hosts.DeleteAtom(hosts.GetAtom(i));
    const Box box = BoxOf(region);
    for (const double radius : {0.0, 0.7, 3.0, 9.0, 40.0, -0.2, -2.0}) {
      SCOPED_TRACE(radius);
      QZNearNbrGrid grid;
      ASSERT_TRUE(grid.Init(hosts, region, radius));
      const Lists expected = ByDefinition(hosts, box, radius);
      EXPECT_GT(Entries(expected) + (radius <= 0.0), 0U);
      EXPECT_EQ(Read(grid, box), expected);
    }
  }
}

TEST(Grid, HostsAtExactlyTheReachAreDecidedAsTheDefinitionDoes) {
  // On a lattice of eighths every distance is exact, and hundreds of hosts lie at the reach; with
  // an offset of a tenth, rounding decides about them.
  for (const double offset : {0.0, 0.1, 1e5 + 0.3}) {
    SCOPED_TRACE(offset);
    const auto region =
        Atoms({{offset, offset, offset}, {offset + 2.0, offset + 3.0, offset + 4.5}});
    std::vector<Point> points;
    for (int i = -12; i <= 16; ++i) {
      for (int j = -12; j <= 16; ++j) {
        for (int k = -12; k <= 16; k += 4) {
          points.push_back({offset + 0.25 + 0.25 * i, offset + 0.25 + 0.25 * j, offset + 0.25 * k});
        }
      }
    }
    const auto hosts = Atoms(points);
    QZNearNbrGrid grid;
    ASSERT_TRUE(grid.Init(hosts, region, 1.0));
    const Box box = BoxOf(region);
    EXPECT_EQ(Read(grid, box), ByDefinition(hosts, box, 1.0));
  }
}

TEST(Grid, OneAtomGivesOneHalfOpenCell) {
  const auto region = Atoms({{1.0, 2.0, 3.0}});
  const auto hosts =
      Atoms({{1.25, 2.25, 4.5}, {1.25, 2.25, 4.75}, {kNan, 2.0, 3.0}, {1.0, 2.0, 3.0}});
  QZNearNbrGrid grid;
  ASSERT_TRUE(grid.Init(hosts, region, 1.0));
  const std::vector<unsigned int> expected{0, 3};
  const auto at = [&](double x, double y, double z) {
    const double point[3] = {x, y, z};
    return grid.GetHostAtoms(point);
  };
  EXPECT_EQ(at(1.0, 2.0, 3.0), expected) << "a host at the reach itself is out, NaN is nowhere";
  EXPECT_EQ(at(1.4999, 2.4999, 3.4999), expected);
  EXPECT_TRUE(at(1.5, 2.0, 3.0).empty());
  EXPECT_TRUE(at(1.0, 2.5, 3.0).empty());
  EXPECT_TRUE(at(1.0, 2.0, 3.5).empty());
  EXPECT_TRUE(at(std::nextafter(1.0, 0.0), 2.0, 3.0).empty());
  EXPECT_TRUE(at(kNan, 2.0, 3.0).empty());
}

TEST(Grid, ReachesEveryHostWithinTheRadiusOfAnyPoint) {
  const auto region = Atoms({{-2.6, -2.6, -2.6}, {2.6, 2.6, 2.6}});
  const auto points = RandomPoints(300, {}, 8.0, 6);
  const auto hosts = Atoms(points);
  QZNearNbrGrid grid;
  ASSERT_TRUE(grid.Init(hosts, region, 2.5));
  for (const auto& p : RandomPoints(2000, {}, 2.5, 7)) {
    const auto& list = grid.GetHostAtoms(p.data());
    for (unsigned int i = 0; i < points.size(); ++i) {
      const auto& h = points[i];
      if (std::hypot(h[0] - p[0], h[1] - p[1], h[2] - p[2]) > 2.5) continue;
      ASSERT_TRUE(std::ranges::binary_search(list, i)) << i;
    }
  }
}

TEST(Grid, ASecondInitKeepsTheListsOfCellsWithoutHosts) {
  const auto region = Atoms({{0.0, 0.0, 0.0}, {3.9, 0.0, 0.0}});
  QZNearNbrGrid grid;
  ASSERT_TRUE(grid.Init(Atoms({{0.2, 0.2, 0.2}}), region, 0.5));
  ASSERT_TRUE(grid.Init(Atoms({{30.0, 0.0, 0.0}, {3.8, 0.2, 0.2}}), region, 0.5));
  const double left[3] = {0.1, 0.1, 0.1};
  const double right[3] = {3.7, 0.1, 0.1};
  EXPECT_EQ(grid.GetHostAtoms(left), std::vector<unsigned int>{0});
  EXPECT_EQ(grid.GetHostAtoms(right), std::vector<unsigned int>{1});
  const QZNearNbrGrid copy = grid;
  EXPECT_EQ(copy.GetHostAtoms(right), std::vector<unsigned int>{1});
}

TEST(Grid, TheLastPointBelowTheUpperFaceStaysInItsCell) {
  // point - lower rounds up to the length of the box, one cell too far.
  const auto region = Atoms({{-1000.3, -1000.3, -1000.3}, {0.1, -1000.3, -1000.3}});
  QZNearNbrGrid grid;
  ASSERT_TRUE(grid.Init(Atoms({{0.0, -1000.1, -1000.1}}), region, 1.0));
  const double upper = -1000.3 + 2001 / 2.0;
  const double point[3] = {std::nextafter(upper, 0.0), -1000.2, -1000.2};
  ASSERT_EQ(point[0] - -1000.3, 2001 / 2.0);
  EXPECT_EQ(grid.GetHostAtoms(point), std::vector<unsigned int>{0});
}

TEST(Grid, RegionsThatGiveNoCellsFailAndLeaveEveryPointOutside) {
  const auto hosts = Atoms({{0.0, 0.0, 0.0}});
  const double origin[3] = {0.1, 0.1, 0.1};
  for (const auto& region : {Atoms({}),
                             Atoms({{kNan, 0.0, 0.0}}),
                             Atoms({{0.0, 0.0, 0.0}, {0.0, kInf, 0.0}}),
                             Atoms({{0.0, 0.0, 0.0}, {1e300, 0.0, 0.0}}),
                             Atoms({{0.0, 0.0, 0.0}, {1e9, 1e9, 1e9}})}) {
    QZNearNbrGrid grid;
    EXPECT_TRUE(grid.GetHostAtoms(origin).empty());
    ASSERT_TRUE(grid.Init(hosts, hosts, 1.0));
    EXPECT_FALSE(grid.GetHostAtoms(origin).empty());
    EXPECT_FALSE(grid.Init(hosts, region, 1.0));
    EXPECT_TRUE(grid.GetHostAtoms(origin).empty());
  }
}

TEST(Grid, UnusualRadiiAndFarHostsEndInTime) {
  const auto region = Atoms(RandomPoints(10, {}, 2.0, 8));
  auto points = RandomPoints(50, {}, 3.0, 9);
  points.push_back({1e12, -1e12, 1e12});
  points.push_back({1e200, 0.0, 0.0});
  points.push_back({kInf, 0.0, 0.0});
  const auto hosts = Atoms(points);
  const Box box = BoxOf(region);
  for (const double radius : {2.0, 1e6, 1e13, 1e170, kInf, kNan}) {
    SCOPED_TRACE(radius);
    QZNearNbrGrid grid;
    ASSERT_TRUE(grid.Init(hosts, region, radius));
    EXPECT_EQ(Read(grid, box), ByDefinition(hosts, box, radius));
  }
}

}  // namespace
