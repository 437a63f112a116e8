// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <random>
#include <vector>

namespace Bench {

inline constexpr double kWidth = 0.1;
inline constexpr double kStrength = 50.0;

/// Reference points 1.5 Å apart, and every atom 0.2 to 0.5 Å away from its own: outside its sphere.
struct Restrained {
  explicit Restrained(std::size_t n) : reference(3 * n), x(3 * n), grad(3 * n, 0.0) {
    std::mt19937 rng(20260105);
    std::uniform_real_distribution<double> shift(0.12, 0.28);
    for (std::size_t i = 0; i < 3 * n; ++i) {
      reference[i] = 1.5 * static_cast<double>(i / 3 % 50) + 0.1 * static_cast<double>(i % 3);
      x[i] = reference[i] + (rng() % 2 == 0 ? 1.0 : -1.0) * shift(rng);
    }
  }
  std::size_t NumAtoms() const { return x.size() / 3; }

  std::vector<double> reference;
  std::vector<double> x;
  std::vector<double> grad;
};

/// Reports the time an item: "4.2n" is 4.2 ns.
inline void ReportPerItem(benchmark::State& state, const char* name, std::size_t items) {
  state.counters[name] = benchmark::Counter(
      static_cast<double>(items),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace Bench
