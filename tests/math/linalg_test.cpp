// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/linalg.h"

#include <gtest/gtest.h>

#include <cmath>

#include "math/matrices.h"
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
  const struct {
    Eigen::Matrix2d matrix;
    double product;
  } cases[] = {
      {Eigen::Matrix2d{{0.0, 1.0}, {1.0, 0.0}}, 1.0},  // the interchange does not flip the sign
      {Eigen::Matrix2d{{-2.0, 0.0}, {0.0, 1.0}}, -2.0},
      {Eigen::Matrix2d{{1e6, 0.0}, {0.0, 1e5}}, 1e10},  // saturates from above
      {Eigen::Matrix2d{{1e6, 0.0}, {0.0, -1e6}}, -1e12},
      {Eigen::Matrix2d{{1.0, 0.0}, {0.0, 1.1e-8}}, 1.1e-8}};
  for (const auto& [matrix, product] : cases) {
    Eigen::Matrix2d inverse = matrix;
    EXPECT_EQ(invert(inverse.data(), 2), product);
    EXPECT_TRUE((inverse * matrix - Eigen::Matrix2d::Identity()).norm() <= 1e-14) << matrix;
  }
  double singular[4] = {4.0, 2.0, 2.0, 1.0};
  double determinant = 7.0;
  invert(singular, 2, determinant);
  EXPECT_EQ(determinant, 0.0);
  EXPECT_EQ(singular[0], 0.25);  // the first step was done, nothing was put back
  EXPECT_EQ(singular[3], 0.0);
}

TEST(Givens, FollowsTheBlasConvention) {
  const struct {
    double a, b, r, z;
  } cases[] = {{4.0, 3.0, 5.0, 0.6},
               {3.0, 4.0, 5.0, 5.0 / 3.0},
               {-3.0, 4.0, 5.0, -5.0 / 3.0},
               {-4.0, 3.0, -5.0, -0.6},
               {3.0, -4.0, -5.0, -5.0 / 3},
               {1.0, 1.0, std::sqrt(2.0), std::sqrt(2.0)},
               {0.0, 2.0, 2.0, 1.0},
               {0.0, -2.0, -2.0, 1.0},
               {2.0, 0.0, 2.0, 0.0},
               {1e300, 0.0, 1e300, 0.0},
               {3e-310, 4e-310, 5e-310, 5.0 / 3.0}};
  for (const auto& given : cases) {
    double a = given.a;
    double b = given.b;
    double c = 0.0;
    double s = 0.0;
    givens(a, b, c, s);
    EXPECT_NEAR(a, given.r, 1e-13 * std::abs(given.r));
    EXPECT_NEAR(b, given.z, 1e-13);
    EXPECT_NEAR(c * c + s * s, 1.0, 1e-13);
    EXPECT_NEAR(c * given.b - s * given.a, 0.0, 1e-13 * std::abs(given.r));
  }
  double a = 0.0;
  double b = 0.0;
  double c = 7.0;
  double s = 7.0;
  givens(a, b, c, s);
  EXPECT_TRUE(c == 1.0 && s == 0.0 && a == 0.0 && b == 0.0);
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

TEST(CubicEquation, TripleRootOneRealRootAndNoCubic) {
  double roots[3];
  EXPECT_EQ(CubicEquation(1.0, -3.0, 3.0, -1.0, roots), 1);
  for (const double root : roots) EXPECT_DOUBLE_EQ(root, 1.0);
  // x³ - 8: R = -4, so u = 4^(1/3). The formula is that of a double root, whatever the equation.
  EXPECT_EQ(CubicEquation(1.0, 0.0, 0.0, -8.0, roots), 2);
  EXPECT_DOUBLE_EQ(roots[0], 2.0 * std::cbrt(4.0));
  EXPECT_DOUBLE_EQ(roots[1], -std::cbrt(4.0));
  EXPECT_EQ(roots[1], roots[2]);
  EXPECT_EQ(CubicEquation(1.0, 0.0, 0.0, 8.0, roots), 2);  // R = 4
  for (const double root : roots) EXPECT_TRUE(std::isnan(root));
  MessageCapture capture;
  CubicEquation(0.0, 1.0, 1.0, 1.0, roots);
  EXPECT_EQ(capture.At(QZSystem::QZErrorLevel::Fatal),
            std::vector<std::string>{"Not a cubic equation"});
}

TEST(IsLinear, ToleratesOneMillionthOfTheCosine) {
  for (const double sign : {1.0, -1.0}) {
    for (const auto& [deviation, linear] : {std::pair{0.9e-6, true}, std::pair{1.1e-6, false}}) {
      const double cosine = 1.0 - deviation;
      const double y = std::sqrt(1.0 - cosine * cosine);
      const double points[12] = {1, 1, 1, 3, 1, 1, 9, 1, 1, 1 + sign * cosine, 1, 1 + y};
      EXPECT_EQ(IsLinear(points, 4), linear) << sign << " " << deviation;
      EXPECT_TRUE(IsLinear(points, 3));
      EXPECT_TRUE(IsLinear(points, 2));
      EXPECT_TRUE(IsLinear(points, 0));
    }
  }
  const double coincident[9] = {1, 2, 3, 1, 2, 3, 4, 5, 6};
  EXPECT_TRUE(IsLinear(coincident, 3));
}

TEST(Fit, DividesByTheGivenCount) {
  const std::vector<std::pair<double, double>> points{{0.0, 1.0}, {1.0, 3.0}, {2.0, 5.0}};
  double intercept = 0.0;
  double slope = 0.0;
  fit(points, 3, intercept, slope);
  EXPECT_DOUBLE_EQ(intercept, 1.0);
  EXPECT_DOUBLE_EQ(slope, 2.0);
  // Mean of x = 3/6: slope = (-0.5*1 + 0.5*3 + 1.5*5) / (0.25 + 0.25 + 2.25).
  fit(points, 6, intercept, slope);
  EXPECT_DOUBLE_EQ(slope, 8.5 / 2.75);
  EXPECT_DOUBLE_EQ(intercept, (9.0 - 8.5 / 2.75 * 3.0) / 6.0);
}

}  // namespace
