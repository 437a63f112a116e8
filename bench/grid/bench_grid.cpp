// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <nanoflann.hpp>
#include <random>
#include <vector>

#include "molpotential/nearnbrgrid.h"
#include "qzchem/mol.h"

// Hosts at the density of a protein around a region of 3,000 atoms in a cube of 31 Å. Arguments:
// number of hosts, radius in Å.

namespace {

constexpr double kRegionEdge = 31.0;
constexpr double kCellEdge = 0.5;

QZChem::QZGraphMol RandomAtoms(unsigned int count, double edge, unsigned int seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> position(-edge / 2.0, edge / 2.0);
  QZChem::QZGraphMol mol(count);
  for (unsigned int i = 0; i < count; ++i) {
    mol.AddAtom(6, position(rng), position(rng), position(rng));
  }
  return mol;
}

struct Scene {
  explicit Scene(unsigned int numHosts)
      : region(RandomAtoms(3000, kRegionEdge, 1)),
        hosts(RandomAtoms(numHosts, kRegionEdge * std::cbrt(numHosts / 3000.0), 2)),
        coords(3 * hosts.AtomIndexBound()) {
    hosts.GetCoords(coords.data());
    std::vector<double> x(3 * region.AtomIndexBound());
    region.GetCoords(x.data());
    for (std::size_t k = 0; k < 3; ++k) {
      double low = x[k];
      double high = x[k];
      for (std::size_t i = k; i < x.size(); i += 3) {
        low = std::min(low, x[i]);
        high = std::max(high, x[i]);
      }
      lower[k] = low;
      dims[k] = static_cast<std::size_t>((high - low) / kCellEdge) + 1;
    }
  }

  std::array<double, 3> Centre(std::size_t ix, std::size_t iy, std::size_t iz) const {
    const auto at = [&](std::size_t k, std::size_t i) {
      return lower[k] + static_cast<double>(i) * kCellEdge + kCellEdge / 2;
    };
    return {at(0, ix), at(1, iy), at(2, iz)};
  }

  QZChem::QZGraphMol region;
  QZChem::QZGraphMol hosts;
  std::vector<double> coords;
  std::array<double, 3> lower{};
  std::array<std::size_t, 3> dims{};
};

const Scene& SceneOf(const benchmark::State& state) {
  static const Scene small(3000);
  static const Scene large(30000);
  return state.range(0) == 3000 ? small : large;
}

double RadiusOf(const benchmark::State& state) {
  return static_cast<double>(state.range(1));
}

using Cells = std::vector<std::vector<unsigned int>>;

template <class ListOf>
Cells FillCells(const Scene& scene, ListOf listOf) {
  const auto [nx, ny, nz] = scene.dims;
  Cells cells(nx * ny * nz);
  for (std::size_t ix = 0; ix < nx; ++ix) {
    for (std::size_t iy = 0; iy < ny; ++iy) {
      for (std::size_t iz = 0; iz < nz; ++iz) {
        cells[(iz * ny + iy) * nx + ix] = listOf(scene.Centre(ix, iy, iz));
      }
    }
  }
  return cells;
}

void BuildGrid(benchmark::State& state) {
  const Scene& scene = SceneOf(state);
  for (auto _ : state) {
    QZMolPotential::QZNearNbrGrid grid;
    benchmark::DoNotOptimize(grid.Init(scene.hosts, scene.region, RadiusOf(state)));
    state.PauseTiming();
    grid = {};
    state.ResumeTiming();
  }
}

void BuildTripleLoop(benchmark::State& state) {
  const Scene& scene = SceneOf(state);
  const double reach = kCellEdge + RadiusOf(state);
  const double reach2 = reach * reach;
  for (auto _ : state) {
    Cells cells = FillCells(scene, [&](const std::array<double, 3>& c) {
      std::vector<unsigned int> list;
      for (std::size_t i = 0; i < scene.coords.size(); i += 3) {
        const double dx = scene.coords[i] - c[0];
        const double dy = scene.coords[i + 1] - c[1];
        const double dz = scene.coords[i + 2] - c[2];
        if (dx * dx + dy * dy + dz * dz < reach2) list.push_back(static_cast<unsigned int>(i / 3));
      }
      return list;
    });
    benchmark::DoNotOptimize(cells.data());
    state.PauseTiming();
    cells = {};
    state.ResumeTiming();
  }
}

// The least a grid can cost: its lists written once, from lists that are there.
void CopyLists(benchmark::State& state) {
  const Scene& scene = SceneOf(state);
  QZMolPotential::QZNearNbrGrid grid;
  grid.Init(scene.hosts, scene.region, RadiusOf(state));
  const Cells lists =
      FillCells(scene, [&](const std::array<double, 3>& c) { return grid.GetHostAtoms(c.data()); });
  for (auto _ : state) {
    Cells cells = lists;
    benchmark::DoNotOptimize(cells.data());
    state.PauseTiming();
    cells = {};
    state.ResumeTiming();
  }
}

struct HostCloud {
  const std::vector<double>& coords;
  std::size_t kdtree_get_point_count() const { return coords.size() / 3; }
  double kdtree_get_pt(std::size_t i, std::size_t k) const { return coords[3 * i + k]; }
  template <class Box>
  bool kdtree_get_bbox(Box&) const {
    return false;
  }
};
using HostTree = nanoflann::KDTreeSingleIndexAdaptor<
    nanoflann::L2_Simple_Adaptor<double, HostCloud, double, std::uint32_t>,
    HostCloud,
    3,
    std::uint32_t>;
using Matches = std::vector<std::pair<std::uint32_t, double>>;

void BuildNanoflann(benchmark::State& state) {
  const Scene& scene = SceneOf(state);
  const double reach = kCellEdge + RadiusOf(state);
  for (auto _ : state) {
    const HostCloud cloud{scene.coords};
    const HostTree tree(3, cloud);
    Matches matches;
    Cells cells = FillCells(scene, [&](const std::array<double, 3>& c) {
      tree.radiusSearch(c.data(), reach * reach, matches, nanoflann::SearchParams(32, 0, false));
      std::vector<unsigned int> list;
      list.reserve(matches.size());
      for (const auto& match : matches) list.push_back(match.first);
      return list;
    });
    benchmark::DoNotOptimize(cells.data());
    state.PauseTiming();
    cells = {};
    state.ResumeTiming();
  }
}

constexpr std::size_t kNumPoints = 4096;

std::vector<std::array<double, 3>> RandomPoints() {
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> position(-0.49 * kRegionEdge, 0.49 * kRegionEdge);
  std::vector<std::array<double, 3>> points(kNumPoints);
  for (auto& p : points) p = {position(rng), position(rng), position(rng)};
  return points;
}

// Time per point, the length of its list read.
void LookupGrid(benchmark::State& state) {
  const Scene& scene = SceneOf(state);
  QZMolPotential::QZNearNbrGrid grid;
  grid.Init(scene.hosts, scene.region, RadiusOf(state));
  const auto points = RandomPoints();
  std::size_t next = 0;
  std::size_t found = 0;
  for (auto _ : state) found += grid.GetHostAtoms(points[next++ % kNumPoints].data()).size();
  benchmark::DoNotOptimize(found);
}

void LookupNanoflann(benchmark::State& state) {
  const Scene& scene = SceneOf(state);
  const HostCloud cloud{scene.coords};
  const HostTree tree(3, cloud);
  const auto points = RandomPoints();
  const double radius = RadiusOf(state);
  Matches matches;
  std::size_t next = 0;
  std::size_t found = 0;
  for (auto _ : state) {
    found += tree.radiusSearch(points[next++ % kNumPoints].data(),
                               radius * radius,
                               matches,
                               nanoflann::SearchParams(32, 0, false));
  }
  benchmark::DoNotOptimize(found);
}

void Sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"hosts", "radius"});
  for (const int hosts : {3000, 30000}) {
    for (const int radius : {5, 10}) bench->Args({hosts, radius});
  }
}

BENCHMARK(BuildGrid)->Apply(Sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(BuildTripleLoop)
    ->ArgNames({"hosts", "radius"})
    ->Args({3000, 5})
    ->Args({30000, 5})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(CopyLists)->Apply(Sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(BuildNanoflann)->Apply(Sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(LookupGrid)->Apply(Sizes);
BENCHMARK(LookupNanoflann)->Apply(Sizes);

}  // namespace
