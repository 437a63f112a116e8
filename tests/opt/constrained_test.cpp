// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "functions.h"

namespace {

using namespace OptTest;
using QZOpt::QZConstrainedMinimizer;
using QZOpt::QZOptResult;

// |x_a - x_b| - target, with the gradient's length as chosen: 1 the true one, 0 that of r^2/2.
Constraint Distance(unsigned int a, unsigned int b, double target, double trueLength) {
  return Constraint([=](const double* x, double* g) {
    double d[3];
    double r2 = 0.0;
    for (unsigned int k = 0; k < 3; ++k) {
      d[k] = x[3 * a + k] - x[3 * b + k];
      r2 += d[k] * d[k];
    }
    const double r = std::sqrt(r2);
    const double scale = trueLength / r + (1.0 - trueLength);
    for (unsigned int k = 0; k < 3; ++k) {
      g[3 * a + k] += scale * d[k];
      g[3 * b + k] -= scale * d[k];
    }
    return r - target;
  });
}

// A chain of n atoms: springs of 1.5 Å between neighbours and softer ones of 2.5 Å beyond, and a
// weak pull to the origin that removes the drift.
Func Chain(unsigned int n) {
  return Func(3 * n, [n](const double* x, double* g) {
    double sum = 0.0;
    const auto spring = [&](unsigned int a, unsigned int b, double k, double r0) {
      double d[3];
      double r2 = 0.0;
      for (unsigned int c = 0; c < 3; ++c) {
        d[c] = x[3 * a + c] - x[3 * b + c];
        r2 += d[c] * d[c];
      }
      const double r = std::sqrt(r2);
      sum += 0.5 * k * (r - r0) * (r - r0);
      for (unsigned int c = 0; c < 3; ++c) {
        g[3 * a + c] += k * (r - r0) * d[c] / r;
        g[3 * b + c] -= k * (r - r0) * d[c] / r;
      }
    };
    for (unsigned int i = 0; i + 1 < n; ++i) spring(i, i + 1, 300.0, 1.5);
    for (unsigned int i = 0; i + 2 < n; ++i) spring(i, i + 2, 60.0, 2.5);
    for (unsigned int i = 0; i + 3 < n; ++i) spring(i, i + 3, 5.0, 3.8);
    for (unsigned int i = 0; i < 3 * n; ++i) {
      sum += 0.005 * x[i] * x[i];
      g[i] += 0.01 * x[i];
    }
    return sum;
  });
}

std::vector<double> ChainStart(unsigned int n) {
  std::vector<double> x;
  for (unsigned int i = 0; i < n; ++i) {
    x.insert(x.end(), {1.2 * i, 0.6 * (i % 2), 0.3 * std::sin(1.0 * i)});
  }
  return x;
}

double DistanceOf(const std::vector<double>& x, unsigned int a, unsigned int b) {
  return std::hypot(x[3 * a] - x[3 * b], x[3 * a + 1] - x[3 * b + 1], x[3 * a + 2] - x[3 * b + 2]);
}

TEST(ConstrainedMinimizer, SolvesAProblemWithAKnownAnswer) {
  // Minimise x + 2y on the circle of radius 2: at -2/sqrt(5) (1, 2).
  Func f(2, [](const double* x, double* g) {
    g[0] += 1.0;
    g[1] += 2.0;
    return x[0] + 2.0 * x[1];
  });
  Constraint circle([](const double* x, double* g) {
    g[0] += 2.0 * x[0];
    g[1] += 2.0 * x[1];
    return x[0] * x[0] + x[1] * x[1] - 4.0;
  });
  QZConstrainedMinimizer minimizer({.gradientTolerance = 1e-6});
  minimizer.AddConstraint(circle, 1e-9);
  std::vector<double> x = {1.0, 1.0};
  const QZOptResult result = minimizer.Minimize(f, x.data());
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_NEAR(x[0], -2.0 / std::sqrt(5.0), 1e-5);
  EXPECT_NEAR(x[1], -4.0 / std::sqrt(5.0), 1e-5);
  EXPECT_NEAR(result.energy, -2.0 * std::sqrt(5.0), 1e-8);
  ASSERT_EQ(minimizer.GetResiduals().size(), 1u);
  EXPECT_LE(std::abs(minimizer.GetResiduals()[0]), 1e-9);
}

// Either method, and gradients of the right and of the wrong length.
TEST(ConstrainedMinimizer, HoldsDistancesWhateverTheLengthOfTheirGradients) {
  for (unsigned int n : {4u, 30u}) {
    double energies[2];
    for (int trueLength : {0, 1}) {
      Func f = Chain(n);
      Constraint first = Distance(0, 3, 3.0, trueLength);
      Constraint second = Distance(1, n - 1, n == 4 ? 2.4 : 20.0, trueLength);
      QZConstrainedMinimizer minimizer;
      minimizer.AddConstraint(first);
      minimizer.AddConstraint(second, 1e-5);
      std::vector<double> x = ChainStart(n);
      Recorder recorder;
      const QZOptResult result = minimizer.Minimize(f, x.data(), &recorder);
      EXPECT_TRUE(result.converged) << n << ": " << result.message;
      EXPECT_LE(result.gradientNorm, 1e-4);
      EXPECT_NEAR(DistanceOf(x, 0, 3), 3.0, 1e-6);
      EXPECT_NEAR(DistanceOf(x, 1, n - 1), n == 4 ? 2.4 : 20.0, 1e-5);
      EXPECT_EQ(result.evaluations, f.Calls());
      EXPECT_EQ(recorder.Reports().size(), result.iterations + 1);
      EXPECT_EQ(recorder.Reports().back().x, x);
      EXPECT_EQ(recorder.Reports().back().state, 1u);
      energies[trueLength] = result.energy;
    }
    // The longer chain has several minima.
    if (n == 4) {
      EXPECT_NEAR(energies[0], energies[1], 1e-6);
    }
  }
}

TEST(ConstrainedMinimizer, NamesTheConstraintThatCannotBeMet) {
  for (unsigned int n : {4u, 30u}) {
    Func f = Chain(n);
    Constraint possible = Distance(0, 1, 1.4, 0);
    Constraint triangle1 = Distance(1, 2, 1.5, 0);
    Constraint triangle2 = Distance(2, 3, 1.5, 0);
    Constraint impossible = Distance(1, 3, 5.0, 0);
    QZConstrainedMinimizer minimizer;
    for (Constraint* c : {&possible, &triangle1, &triangle2, &impossible}) {
      minimizer.AddConstraint(*c);
    }
    std::vector<double> x = ChainStart(n);
    const QZOptResult result = minimizer.Minimize(f, x.data());
    EXPECT_FALSE(result.converged);
    EXPECT_NE(result.message.find("is not met"), std::string::npos) << result.message;
    EXPECT_LT(result.evaluations, 20000u);
    const std::vector<double> residuals = minimizer.GetResiduals();
    ASSERT_EQ(residuals.size(), 4u);
    EXPECT_NEAR(residuals[3], DistanceOf(x, 1, 3) - 5.0, 1e-12);
    EXPECT_NEAR(residuals[1], DistanceOf(x, 1, 2) - 1.5, 1e-12);
    for (double value : x) EXPECT_TRUE(std::isfinite(value));
  }
}

TEST(ConstrainedMinimizer, StopsOnFailuresAndLimitsWithoutAClaim) {
  for (unsigned int n : {4u, 30u}) {
    Constraint distance = Distance(0, 3, 3.0, 0);
    QZConstrainedMinimizer limited({.maxIterations = 3});
    limited.AddConstraint(distance);
    Func f = Chain(n);
    std::vector<double> x = ChainStart(n);
    QZOptResult result = limited.Minimize(f, x.data());
    EXPECT_FALSE(result.converged);
    EXPECT_EQ(result.iterations, 3u);
    EXPECT_NE(result.message.find("iteration limit"), std::string::npos);

    int calls = 0;
    Constraint broken([&](const double* p, double* g) {
      return ++calls > 6 ? std::numeric_limits<double>::quiet_NaN() : Distance(0, 3, 3.0, 0)(p, g);
    });
    QZConstrainedMinimizer minimizer;
    minimizer.AddConstraint(broken);
    x = ChainStart(n);
    Recorder recorder;
    result = minimizer.Minimize(f, x.data(), &recorder);
    EXPECT_FALSE(result.converged);
    EXPECT_NE(result.message.find("constraint 1 is not finite"), std::string::npos)
        << result.message;
    for (double value : x) EXPECT_TRUE(std::isfinite(value));
    ASSERT_FALSE(recorder.Reports().empty());
    EXPECT_EQ(recorder.Reports().back().x, x);
  }
}

TEST(ConstrainedMinimizer, WithoutConstraintsIsThePlainMinimizer) {
  Func f = Rosenbrock(10);
  std::vector<double> x(10, 0.5);
  std::vector<double> plain = x;
  QZConstrainedMinimizer minimizer;
  const QZOptResult result = minimizer.Minimize(f, x.data());
  EXPECT_EQ(result.energy, QZOpt::QZMinimizer().Minimize(f, plain.data()).energy);
  EXPECT_EQ(x, plain);
  EXPECT_TRUE(minimizer.GetResiduals().empty());
}

}  // namespace
