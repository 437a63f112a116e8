// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzopt/optimizers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qzopt/functions.h"

namespace {

using namespace TestSupport;
using QZOpt::QZConstrainedMinimizer;
using QZOpt::QZMinimizer;
using QZOpt::QZOptResult;

TEST(Minimizer, FindsTheMinimumOfRosenbrock) {
  for (unsigned int n : {2u, 10u, 200u}) {
    Func f = Rosenbrock(n);
    std::vector<double> x(n, 1.0);
    for (unsigned int i = 0; i < n; i += 2) x[i] = -1.2;
    const std::vector<double> start = x;
    const QZOptResult result = QZMinimizer({.gradientTolerance = 1e-7}).Minimize(f, x.data());
    EXPECT_TRUE(result.converged) << n << ": " << result.message;
    EXPECT_EQ(result.evaluations, f.Calls());
    for (double value : x) EXPECT_NEAR(value, 1.0, 1e-5) << n;
    ExpectHonest(f, result, x);
    std::vector<double> y = start;
    QZConstrainedMinimizer({.gradientTolerance = 1e-7}).Minimize(f, y.data());
    EXPECT_EQ(x, y) << "without constraints";
  }
}

// sum over i of 1/2 k_i (x[i] - 0.01 i)^2 with k_i from 1 to 1e4.
double Stiffness(unsigned int i, unsigned int n) {
  return 1.0 + 9999.0 * i / (n - 1);
}
Func Quadratic(unsigned int n) {
  return Func(n, [n](const double* x, double* g) {
    double sum = 0.0;
    for (unsigned int i = 0; i < n; ++i) {
      const double k = Stiffness(i, n);
      sum += 0.5 * k * (x[i] - 0.01 * i) * (x[i] - 0.01 * i);
      g[i] += k * (x[i] - 0.01 * i);
    }
    return sum;
  });
}

TEST(Minimizer, SolvesLargeProblemsInLimitedMemory) {
  const unsigned int n = 6000;
  Func f = Quadratic(n);
  std::vector<double> x(n, 3.0);
  const QZOptResult result = QZMinimizer().Minimize(f, x.data());
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_LT(result.evaluations, 600u);
  ExpectHonest(f, result, x);
  EXPECT_NEAR(x[n - 1], 0.01 * (n - 1), 1e-3);
}

TEST(Minimizer, ScalesTakeTheStiffnessOutAndKeepTheUnits) {
  const unsigned int n = 100;
  Func f = Quadratic(n);
  std::vector<double> x(n, 0.5);
  std::vector<double> scales(n);
  for (unsigned int i = 0; i < n; ++i) scales[i] = 1.0 / std::sqrt(Stiffness(i, n));
  QZMinimizer minimizer({.gradientTolerance = 1e-8});
  minimizer.SetScales(scales);
  Recorder recorder;
  const QZOptResult result = minimizer.Minimize(f, x.data(), &recorder);
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_LE(result.evaluations, 6u);
  std::vector<double> unscaled(n, 0.5);
  EXPECT_GT(QZMinimizer({.gradientTolerance = 1e-8}).Minimize(f, unscaled.data()).evaluations, 60u);
  ExpectHonest(f, result, x);
  EXPECT_NEAR(recorder.reports.front().x[n - 1], 0.5, 1e-12);
  EXPECT_NEAR(recorder.reports.front().grad[n - 1], 1e4 * (0.5 - 0.01 * (n - 1)), 1e-6);

  for (const double wrong : {0.0, -1.0, kNan, kInfinity}) {
    std::vector<double> start = {-1.2, 1.0};
    Func rosenbrock = Rosenbrock(2);
    minimizer.SetScales({1.0, wrong});
    EXPECT_FALSE(minimizer.Minimize(rosenbrock, start.data()).converged);
    minimizer.SetScales({1.0});
    EXPECT_FALSE(minimizer.Minimize(rosenbrock, start.data()).converged);
    EXPECT_EQ(start, (std::vector<double>{-1.2, 1.0}));
  }
}

// However a run ends, every iteration is reported with its own gradient and none goes up.
TEST(Minimizer, StopsWhenAskedAndWhereNothingIsLeftToDo) {
  const struct {
    const char* reason;  // empty: converged
    std::vector<double> start;
    std::size_t reports;
    unsigned int mostIterations;
    QZOpt::QZOptOptions options = {};
  } cases[] = {{"", {}, 100, 0},
               {"", {1.0, 1.0}, 100, 0},
               {"", {0.9, 0.8}, 100, 40},
               {"checkpoint", {-1.2, 1.0}, 3, 2},
               {"iteration limit", {-1.2, 1.0}, 100, 5, {.maxIterations = 5}},
               {"energy", {-1.2, 1.0}, 100, 40, {.energyTolerance = 0.5}}};
  for (const auto& [reason, start, limit, mostIterations, options] : cases) {
    SCOPED_TRACE(reason);
    std::vector<double> x = start;
    Func f = Rosenbrock(static_cast<unsigned int>(x.size()));
    Recorder recorder(limit);
    const QZOptResult result = QZMinimizer(options).Minimize(f, x.data(), &recorder);
    EXPECT_EQ(result.converged, *reason == '\0');
    EXPECT_LE(result.iterations, mostIterations);
    EXPECT_EQ(recorder.reports.size(), x.empty() ? 0 : result.iterations + 1);
    EXPECT_NE(result.message.find(reason), std::string::npos) << result.message;
    if (x.empty()) continue;
    ExpectHonest(f, result, x);
    EXPECT_EQ(recorder.reports.front().x, start);
    EXPECT_EQ(recorder.reports.back().x, x);
    double previous = kInfinity;
    for (const auto& report : recorder.reports) {
      const bool isLast = &report == &recorder.reports.back();
      EXPECT_EQ(report.state, isLast && recorder.reports.size() < limit ? 1u : 0u);
      std::vector<double> g(2, 0.0);
      EXPECT_EQ(f(report.x.data(), g.data()), report.energy);
      EXPECT_EQ(g, report.grad);
      EXPECT_LE(report.energy, std::exchange(previous, report.energy));
    }
  }
}

// Whatever goes wrong, and wherever: a message, no claim, and the best point seen.
TEST(Minimizer, EndsWithTheBestPointWhenTheFunctionFails) {
  enum Fault { kNanEnergy, kNanGradient, kThrow };
  for (Fault fault : {kNanEnergy, kNanGradient, kThrow}) {
    for (unsigned int goodCalls : {0u, 1u, 7u}) {
      SCOPED_TRACE(std::to_string(fault) + " after " + std::to_string(goodCalls));
      unsigned int calls = 0;
      double best = kInfinity;
      Func good = Rosenbrock(2);
      Func f(2, [&](const double* x, double* g) {
        const double energy = good(x, g);
        if (++calls <= goodCalls) {
          best = std::min(best, energy);
          return energy;
        }
        if (fault == kThrow) throw std::runtime_error("broken");
        if (fault == kNanGradient) g[1] = kNan;
        return fault == kNanEnergy ? kNan : energy;
      });
      std::vector<double> x = {-1.2, 1.0};
      Recorder recorder;
      const QZOptResult result = QZMinimizer().Minimize(f, x.data(), &recorder);
      EXPECT_FALSE(result.converged);
      EXPECT_EQ(result.evaluations, goodCalls + 1);
      EXPECT_FALSE(result.message.empty());
      EXPECT_EQ(recorder.reports.empty(), goodCalls == 0);
      if (goodCalls == 0) {
        EXPECT_EQ(x, (std::vector<double>{-1.2, 1.0}));
        continue;
      }
      EXPECT_EQ(result.energy, best);
      EXPECT_EQ(good(x.data()), best);
      EXPECT_EQ(recorder.reports.back().x, x);
      EXPECT_EQ(recorder.reports.back().state, 1u);
    }
  }
}

TEST(Minimizer, ShortensAStepIntoAnInfiniteBarrier) {
  // -log(x) - log(1 - x) with its walls at infinity; the first full step leaves the interval.
  Func f(1, [](const double* x, double* g) {
    if (!(x[0] > 0.0 && x[0] < 1.0)) return kInfinity;
    g[0] += -1.0 / x[0] + 1.0 / (1.0 - x[0]);
    return -std::log(x[0]) - std::log(1.0 - x[0]);
  });
  for (double start : {0.01, 2.0}) {
    double x = start;
    const QZOptResult result = QZMinimizer().Minimize(f, &x);
    EXPECT_EQ(result.converged, start < 1.0) << result.message;
    EXPECT_NEAR(x, start < 1.0 ? 0.5 : start, 1e-4);
  }
}

TEST(Minimizer, GivesUpHonestlyOnAWrongGradient) {
  Func wrong(2, [](const double* x, double* g) {
    for (int i : {0, 1}) g[i] -= 2.0 * x[i];
    return x[0] * x[0] + x[1] * x[1];
  });
  std::vector<double> x = {1.0, 2.0};
  const QZOptResult result = QZMinimizer().Minimize(wrong, x.data());
  EXPECT_FALSE(result.converged);
  EXPECT_LT(result.evaluations, 1000u);
  EXPECT_LE(result.energy, 5.0);
  ExpectHonest(wrong, result, x);
}

// A line search ends where rounding hides the decrease: restarts must reach what can be reached
// and the claim must stay true.
TEST(Minimizer, NeverClaimsMoreThanTheGradientAtItsResult) {
  for (double tolerance : {1e-6, 1e-10, 1e-14, 0.0}) {
    Func f(3, [](const double* x, double* g) {
      double sum = 1e6;
      for (int i = 0; i < 3; ++i) {
        sum += 50.0 * (x[i] - i) * (x[i] - i) + std::cos(3.0 * x[i]);
        g[i] += 100.0 * (x[i] - i) - 3.0 * std::sin(3.0 * x[i]);
      }
      return sum;
    });
    std::vector<double> x = {5.0, -3.0, 0.7};
    const QZOptResult result = QZMinimizer({.gradientTolerance = tolerance}).Minimize(f, x.data());
    ExpectHonest(f, result, x);
    EXPECT_EQ(result.converged, result.gradientNorm <= tolerance) << tolerance;
    EXPECT_LT(result.gradientNorm, 1e-2) << result.message;
  }
}

// Starts that no embedding gives: atoms displaced by up to an ångström, and two of them all but in
// one place. The molecule must come together again.
TEST(MinimizerOnMolecules, RecoversFromDistortedStarts) {
  std::mt19937 rng(20260401);
  for (const char* name : {"aspirin", "caffeine", "ibuprofen"}) {
    Bound m(name);
    std::vector<double> x = TestSupport::Jittered(m.x, 1.0, rng);
    for (int k = 0; k < 3; ++k) x[k] = x[30 + k] + 1e-4 * (k + 1);
    ASSERT_GT(m.ff(x.data()), 1e3);
    const QZOptResult result = QZMinimizer().Minimize(m.ff, x.data());
    EXPECT_TRUE(result.converged) << name << ": " << result.message;
    for (std::size_t i = 0; i < x.size(); ++i) EXPECT_LT(std::abs(x[i] - m.x[i]), 15.0);
    // Among the minima of these molecules, none far above the one next to the sound start.
    const QZOptResult sound = QZMinimizer().Minimize(m.ff, m.x.data());
    EXPECT_TRUE(sound.converged);
    EXPECT_LT(result.energy, sound.energy + 60.0) << name;
  }
}

}  // namespace
