// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "functions.h"

namespace {

using namespace OptTest;
using QZOpt::QZMinimizer;
using QZOpt::QZOptResult;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The gradient norm that the result claims is the one at the point it returns.
void ExpectHonest(Func& f, const QZOptResult& result, const std::vector<double>& x) {
  std::vector<double> g(x.size(), 0.0);
  const double energy = f(x.data(), g.data());
  double sum = 0.0;
  for (double value : g) sum += value * value;
  EXPECT_EQ(energy, result.energy) << result.message;
  EXPECT_NEAR(std::sqrt(sum / static_cast<double>(x.size())), result.gradientNorm, 1e-12);
}

TEST(Minimizer, FindsTheMinimumOfRosenbrock) {
  for (unsigned int n : {2u, 10u, 50u, 200u}) {
    Func f = Rosenbrock(n);
    std::vector<double> x(n);
    for (unsigned int i = 0; i < n; ++i) x[i] = i % 2 == 0 ? -1.2 : 1.0;
    const QZOptResult result = QZMinimizer({.gradientTolerance = 1e-7}).Minimize(f, x.data());
    EXPECT_TRUE(result.converged) << n << ": " << result.message;
    EXPECT_EQ(result.evaluations, f.Calls());
    for (double value : x) EXPECT_NEAR(value, 1.0, 1e-5) << n;
    ExpectHonest(f, result, x);
  }
}

TEST(Minimizer, SolvesLargeProblemsInLimitedMemory) {
  const unsigned int n = 6000;
  Func f = Quadratic(n, 1e4);
  std::vector<double> x(n, 3.0);
  const QZOptResult result = QZMinimizer().Minimize(f, x.data());
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_LT(result.evaluations, 600u);
  ExpectHonest(f, result, x);
  EXPECT_NEAR(x[n - 1], 0.01 * (n - 1), 1e-3);
}

TEST(Minimizer, EndsAtOnceWhereItStartsConverged) {
  Func f = Quadratic(3, 10.0);
  std::vector<double> x = {0.0, 0.01, 0.02};
  Recorder recorder;
  const QZOptResult result = QZMinimizer().Minimize(f, x.data(), &recorder);
  EXPECT_TRUE(result.converged);
  EXPECT_EQ(result.iterations, 0u);
  EXPECT_EQ(result.evaluations, 1u);
  ASSERT_EQ(recorder.Reports().size(), 1u);
  EXPECT_EQ(recorder.Reports()[0].state, 1u);
}

TEST(Minimizer, AcceptsAFunctionWithoutVariables) {
  Func f(0, [](const double*, double*) { return 4.5; });
  const QZOptResult result = QZMinimizer().Minimize(f, nullptr);
  EXPECT_TRUE(result.converged);
  EXPECT_EQ(result.energy, 4.5);
  EXPECT_EQ(result.gradientNorm, 0.0);
}

TEST(Minimizer, ReportsEveryIterationWithItsOwnGradient) {
  Func f = Rosenbrock(4);
  std::vector<double> x = {-1.2, 1.0, -1.2, 1.0};
  const std::vector<double> start = x;
  Recorder recorder;
  const QZOptResult result = QZMinimizer().Minimize(f, x.data(), &recorder);
  const auto& reports = recorder.Reports();
  ASSERT_EQ(reports.size(), result.iterations + 1);
  EXPECT_EQ(reports.front().x, start);
  EXPECT_EQ(reports.back().x, x);
  for (std::size_t i = 0; i < reports.size(); ++i) {
    EXPECT_EQ(reports[i].iteration, i);
    EXPECT_EQ(reports[i].state, i + 1 == reports.size() ? 1u : 0u);
    std::vector<double> g(4, 0.0);
    EXPECT_EQ(f(reports[i].x.data(), g.data()), reports[i].energy);
    EXPECT_EQ(g, reports[i].grad);
    if (i > 0) {
      EXPECT_LE(reports[i].energy, reports[i - 1].energy);
    }
  }
}

TEST(Minimizer, StopsWhenAskedAndSaysThatItHasNotConverged) {
  const std::vector<double> start = {-1.2, 1.0};
  std::vector<double> x = start;
  Func f = Rosenbrock(2);
  Recorder recorder(3);
  QZOptResult result = QZMinimizer().Minimize(f, x.data(), &recorder);
  EXPECT_FALSE(result.converged);
  EXPECT_EQ(result.iterations, 2u);
  EXPECT_EQ(recorder.Reports().size(), 3u);
  EXPECT_NE(result.message.find("checkpoint"), std::string::npos);
  ExpectHonest(f, result, x);

  x = start;
  result = QZMinimizer({.maxIterations = 5}).Minimize(f, x.data());
  EXPECT_FALSE(result.converged);
  EXPECT_EQ(result.iterations, 5u);
  EXPECT_NE(result.message.find("iteration limit"), std::string::npos);
  ExpectHonest(f, result, x);

  x = start;
  result = QZMinimizer({.gradientTolerance = 1e-9, .energyTolerance = 0.5}).Minimize(f, x.data());
  EXPECT_FALSE(result.converged);
  EXPECT_NE(result.message.find("energy"), std::string::npos);
  ExpectHonest(f, result, x);
}

// Whatever goes wrong, and wherever: a message, no claim, and the best point seen.
TEST(Minimizer, EndsWithTheBestPointWhenTheFunctionFails) {
  enum Fault { kNanEnergy, kNanGradient, kThrow };
  for (Fault fault : {kNanEnergy, kNanGradient, kThrow}) {
    for (unsigned int goodCalls : {0u, 1u, 7u}) {
      unsigned int calls = 0;
      double best = kInfinity;
      Func good = Rosenbrock(2);
      Func f(2, [&](const double* x, double* g) {
        const double energy = good(x, g);
        if (++calls > goodCalls) {
          if (fault == kThrow) throw std::runtime_error("broken");
          if (fault == kNanGradient) g[1] = kNan;
          if (fault == kNanEnergy) return kNan;
        } else {
          best = std::min(best, energy);
        }
        return energy;
      });
      std::vector<double> x = {-1.2, 1.0};
      Recorder recorder;
      const QZOptResult result = QZMinimizer().Minimize(f, x.data(), &recorder);
      EXPECT_FALSE(result.converged);
      EXPECT_EQ(result.evaluations, goodCalls + 1);
      EXPECT_FALSE(result.message.empty());
      if (goodCalls == 0) {
        EXPECT_EQ(x, (std::vector<double>{-1.2, 1.0}));
        EXPECT_TRUE(recorder.Reports().empty());
      } else {
        EXPECT_EQ(result.energy, best);
        EXPECT_EQ(good(x.data()), best);
        EXPECT_EQ(recorder.Reports().back().x, x);
        EXPECT_EQ(recorder.Reports().back().state, 1u);
      }
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
  double x = 0.01;
  const QZOptResult result = QZMinimizer().Minimize(f, &x);
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_NEAR(x, 0.5, 1e-4);
  x = 2.0;
  const QZOptResult outside = QZMinimizer().Minimize(f, &x);
  EXPECT_FALSE(outside.converged);
  EXPECT_EQ(x, 2.0);
  EXPECT_FALSE(outside.message.empty());
}

TEST(Minimizer, GivesUpHonestlyOnAGradientThatIsWrong) {
  Func f(2, [](const double* x, double* g) {
    g[0] -= 2.0 * x[0];
    g[1] -= 2.0 * x[1];
    return x[0] * x[0] + x[1] * x[1];
  });
  std::vector<double> x = {1.0, 2.0};
  const QZOptResult result = QZMinimizer().Minimize(f, x.data());
  EXPECT_FALSE(result.converged);
  EXPECT_LT(result.evaluations, 1000u);
  EXPECT_LE(result.energy, 5.0);
  ExpectHonest(f, result, x);
}

TEST(Minimizer, SaysSoWhenTheEnergyHasNoLowerBound) {
  Func f(1, [](const double* x, double* g) {
    g[0] -= std::exp(-x[0]);
    return std::exp(-x[0]) <= std::numeric_limits<double>::max() ? std::exp(-x[0]) * -1.0
                                                                 : -kInfinity;
  });
  double x = 0.0;
  const QZOptResult result = QZMinimizer({.maxIterations = 200}).Minimize(f, &x);
  EXPECT_FALSE(result.converged);
  EXPECT_FALSE(result.message.empty());
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

}  // namespace
