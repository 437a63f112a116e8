// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// Second derivatives of geometric quantities over a set of random geometries.
#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <random>
#include <vector>

#include "molpotential/geomderiv.h"

namespace {

using Atoms = std::array<double, 12>;

std::vector<Atoms> Geometries() {
  std::mt19937 rng(8);
  std::normal_distribution<double> normal;
  std::vector<Atoms> all(256);
  for (Atoms& atoms : all) {
    for (double& x : atoms) x = normal(rng);
  }
  return all;
}

template <class Kernel>
void Run(benchmark::State& state, Kernel kernel) {
  const std::vector<Atoms> all = Geometries();
  std::array<double, 12> grad;
  std::array<double, 78> hessian;
  std::size_t k = 0;
  for (auto _ : state) {
    kernel(all[k++ % all.size()].data(), grad.data(), hessian.data());
    benchmark::DoNotOptimize(hessian);
  }
}

void Angle(benchmark::State& state) {
  Run(state,
      [](const double* x, double*, double* h) { QZMolPotential::secondCosDer(x, x + 3, h); });
}
void Dihedral(benchmark::State& state) {
  Run(state, [](const double* x, double* g, double* h) {
    QZMolPotential::secondCosDer(x, x + 3, x + 6, g, h);
  });
}
void Wilson(benchmark::State& state) {
  Run(state, [](const double* x, double* g, double* h) {
    QZMolPotential::QZd2Wilson_dx2(g, h, x, x + 3, x + 6, x + 9);
  });
}
BENCHMARK(Angle)->Name("secondCosDer angle");
BENCHMARK(Dihedral)->Name("secondCosDer dihedral");
BENCHMARK(Wilson)->Name("QZd2Wilson_dx2");

}  // namespace
