// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/linalg.h"

#include <gtest/gtest.h>

#include <cmath>

#include "linalg/matrices.h"
#include "support/capture.h"

namespace {

using namespace QZMolPotential;
using namespace TestSupport;

TEST(MatXVec, MultipliesThePackedSymmetricMatrix) {
  std::mt19937 rng(31);
  for (const int n : {1, 2, 7, 40}) {
    const RowMatrix a = RandomSymmetric(n, rng);
    Eigen::VectorXd x = RandomMatrix(n, 1, rng);
    Eigen::VectorXd y = Eigen::VectorXd::Constant(n, std::nan(""));
    matxvec(y.data(), Packed(a).data(), x.data(), n);
    EXPECT_TRUE((y - a * x).cwiseAbs().maxCoeff<Eigen::PropagateNaN>() <= 1e-13 * n) << n;
  }
}

TEST(Invert, GivesInverseAndTheProductOfThePivots) {
  std::mt19937 rng(32);
  for (int n = 1; n < 12; ++n) {
    const RowMatrix a = RandomMatrix(n, n, rng);
    RowMatrix inverse = a;
    const double determinant = invert(inverse.data(), n);
    EXPECT_TRUE(Largest(a * inverse - RowMatrix::Identity(n, n)) <= 1e-11) << "seed 32, " << n;
    const double expected = std::abs(Eigen::MatrixXd(a).determinant());
    EXPECT_NEAR(std::abs(determinant), expected, 1e-12 * std::max(1.0, expected));
  }
  double singular[4] = {4.0, 2.0, 2.0, 1.0};
  EXPECT_EQ(invert(singular, 2), 0.0);
}

TEST(Givens, FollowsTheBlasConvention) {
  const struct {
    double a, b, r, z;
  } cases[] = {{4.0, 3.0, 5.0, 0.6},
               {-3.0, 4.0, 5.0, -5.0 / 3.0},
               {-4.0, 3.0, -5.0, -0.6},
               {0.0, -2.0, -2.0, 1.0},
               {3e-310, 4e-310, 5e-310, 5.0 / 3.0}};
  for (const auto& given : cases) {
    double a = given.a;
    double b = given.b;
    double c = 7.0;
    double s = 7.0;
    givens(a, b, c, s);
    EXPECT_NEAR(a, given.r, 1e-13 * std::abs(given.r));
    EXPECT_NEAR(b, given.z, 1e-13);
    EXPECT_NEAR(c * c + s * s, 1.0, 1e-13);
    EXPECT_NEAR(c * given.b - s * given.a, 0.0, 1e-13 * std::abs(given.r));
  }
}

TEST(CubicEquation, ThreeRealRootsInTrigonometricOrder) {
  std::mt19937 rng(33);
  std::uniform_real_distribution<double> uniform(-3.0, 3.0);
  for (int trial = 0; trial < 500; ++trial) {
    const double p = uniform(rng);
    const double q = p + 0.2 + std::abs(uniform(rng));
    const double r = q + 0.2 + std::abs(uniform(rng));
    const double a = trial % 2 == 0 ? 1.5 : -0.5;
    double roots[3];
    ASSERT_EQ(
        CubicEquation(a, -a * (p + q + r), a * (p * q + q * r + r * p), -a * p * q * r, roots), 3);
    // θ is in [0, π/3]: the first is the largest, the second the smallest.
    EXPECT_NEAR(roots[0], r, 1e-8) << "seed 33, trial " << trial;
    EXPECT_NEAR(roots[1], p, 1e-8);
    EXPECT_NEAR(roots[2], q, 1e-8);
  }
}

// The quirks that callers rely on: a formula for double roots whatever the equation.
TEST(CubicEquation, TripleRootOneRealRootAndNoCubic) {
  const double u = std::cbrt(4.0);  // of x³ - 8
  double roots[3];
  EXPECT_EQ(CubicEquation(1.0, -3.0, 3.0, -1.0, roots), 1);
  for (const double root : roots) EXPECT_DOUBLE_EQ(root, 1.0);
  EXPECT_EQ(CubicEquation(1.0, 0.0, 0.0, -8.0, roots), 2);
  for (int i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(roots[i], i == 0 ? 2.0 * u : -u);
  MessageCapture capture;
  CubicEquation(0.0, 1.0, 1.0, 1.0, roots);
  EXPECT_EQ(capture.At(QZSystem::QZErrorLevel::Fatal).size(), 1U);
}

TEST(Fit, DividesByTheGivenCount) {
  double intercept = 0.0;
  double slope = 0.0;
  for (const auto& [n, expected] : {std::pair{3U, 2.0}, {6U, 8.5 / 2.75}}) {
    fit({{0.0, 1.0}, {1.0, 3.0}, {2.0, 5.0}}, n, intercept, slope);
    EXPECT_DOUBLE_EQ(slope, expected);
    EXPECT_DOUBLE_EQ(intercept, (9.0 - expected * 3.0) / n);
  }
}

TEST(IsLinear, ToleratesOneMillionthOfTheCosine) {
  for (const double sign : {1.0, -1.0}) {
    for (const auto& [deviation, linear] : {std::pair{0.9e-6, true}, std::pair{1.1e-6, false}}) {
      const double x = sign * (1.0 - deviation);
      const double points[12] = {1, 1, 1, 3, 1, 1, 9, 1, 1, 1 + x, 1, 1 + std::sqrt(1.0 - x * x)};
      EXPECT_EQ(IsLinear(points, 4), linear) << sign << " " << deviation;
    }
  }
}

}  // namespace
