// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "math/matrices.h"
#include "molpotential/linalg.h"
#include "support/capture.h"

namespace {

using namespace TestSupport;
using Solver = bool (*)(double*, double*, double**, int, int);

class SymmetricEigen : public ::testing::TestWithParam<Solver> {
 protected:
  // Eigenvalues are returned; vectors are checked for what they promise. All is relative to `a`.
  Eigen::VectorXd Check(const RowMatrix& a, Eigen::Index nvec, const std::string& what) const {
    const Eigen::Index n = a.rows();
    const double size = Largest(a) > 0.0 ? Largest(a) : 1.0;
    std::vector<double> packed = Packed(a);
    Eigen::VectorXd values = Eigen::VectorXd::Constant(n, std::nan(""));
    RowMatrix vectors = RowMatrix::Constant(nvec, n, std::nan(""));
    EXPECT_TRUE(GetParam()(packed.data(),
                           values.data(),
                           RowPointers(vectors).data(),
                           static_cast<int>(n),
                           static_cast<int>(nvec)))
        << what;
    const double tolerance = 1e-13 * static_cast<double>(n);
    values /= size;
    EXPECT_TRUE(OffOrthonormalRows(vectors) <= 1e-11) << what << OffOrthonormalRows(vectors);
    const RowMatrix residual = vectors * (a / size) - values.head(nvec).asDiagonal() * vectors;
    EXPECT_TRUE(Largest(residual) <= tolerance) << what << Largest(residual);
    for (Eigen::Index k = 1; k < n; ++k) EXPECT_LE(values[k - 1], values[k]) << what;
    // Moments fix the spectrum as a whole, in particular that no eigenvalue came twice.
    EXPECT_NEAR(values.sum(), a.trace() / size, tolerance * static_cast<double>(n)) << what;
    EXPECT_NEAR(values.squaredNorm(),
                (a / size).squaredNorm(),
                tolerance * std::max(1.0, (a / size).squaredNorm()))
        << what;
    return values * size;
  }
};
INSTANTIATE_TEST_SUITE_P(BothSolvers,
                         SymmetricEigen,
                         ::testing::Values(&QZMolPotential::diagonalize,
                                           &QZMolPotential::eigendiagonalize));

TEST_P(SymmetricEigen, RandomMatricesOfAllSizes) {
  std::mt19937 rng(11);
  for (const Eigen::Index n : {2, 3, 4, 5, 17, 60, 129}) {
    Check(RandomSymmetric(n, rng), n, "seed 11, n = " + std::to_string(n) + ": ");
  }
  for (int trial = 0; trial < 200; ++trial) {  // decoupled blocks and many equal entries
    const Eigen::Index n = 2 + trial % 15;
    const RowMatrix a = RandomSymmetric(n, rng).unaryExpr(
        [](double x) { return std::abs(x) < 1.0 ? 0.0 : std::round(x); });
    Check(a, n, "seed 11, sparse trial " + std::to_string(trial) + ": ");
  }
}

TEST_P(SymmetricEigen, ClusteredAndEqualEigenvalues) {
  std::mt19937 rng(12);
  const Eigen::Index n = 60;
  for (const double spacing : {0.0, 1e-15, 1e-12, 1e-9, 1e-7, 1e-5, 1e-4, 1e-3}) {
    Eigen::VectorXd expected(n);
    for (Eigen::Index i = 0; i < n; ++i) {
      expected[i] = static_cast<double>(i / 20) + spacing * static_cast<double>(i % 20);
    }
    const Eigen::VectorXd values =
        Check(WithEigenvalues(expected, rng), n, "spacing " + std::to_string(spacing) + ": ");
    EXPECT_TRUE((values - expected).cwiseAbs().maxCoeff() <= 1e-13) << "seed 12, " << spacing;
  }
  Check(RowMatrix::Ones(50, 50), 50, "rank one: ");
  Check(RowMatrix::Ones(50, 50) + 1e-9 * RandomSymmetric(50, rng), 50, "nearly rank one: ");
}

// Wilkinson's W21+ has pairs that agree to 14 digits, copies of it glued weakly have tens of such.
TEST_P(SymmetricEigen, GluedWilkinsonMatrices) {
  for (const double glue : {1e-4, 1e-9, 1e-14, 0.0}) {
    RowMatrix a = RowMatrix::Zero(210, 210);
    for (Eigen::Index i = 0; i < 210; ++i) {
      a(i, i) = std::abs(static_cast<double>(i % 21) - 10.0);
      if (i > 0) a(i, i - 1) = a(i - 1, i) = i % 21 == 0 ? glue : 1.0;
    }
    Check(a, 210, "glue " + std::to_string(glue) + ": ");
  }
}

TEST_P(SymmetricEigen, AnyScale) {
  std::mt19937 rng(13);
  const RowMatrix a = RandomSymmetric(20, rng);
  const Eigen::VectorXd equal = Eigen::VectorXd::Constant(20, 3.0);
  for (const double scale : {1e-300, 1e-200, 1e-25, 1e-12, 1e12, 1e200, 1e300}) {
    Check(scale * a, 20, "seed 13, scale " + std::to_string(std::log10(scale)) + ": ");
    Check(scale * WithEigenvalues(equal, rng), 20, "equal values: ");
  }
}

TEST_P(SymmetricEigen, DiagonalAndZeroMatrices) {
  RowMatrix diagonal = RowMatrix::Zero(9, 9);
  for (Eigen::Index i = 0; i < 9; ++i) diagonal(i, i) = static_cast<double>(i * 4 % 9) - 4.0;
  const Eigen::VectorXd values = Check(diagonal, 9, "diagonal: ");
  for (Eigen::Index i = 0; i < 9; ++i) EXPECT_EQ(values[i], static_cast<double>(i) - 4.0);
  Check(RowMatrix::Identity(9, 9), 9, "identity: ");
  Check(RowMatrix::Zero(7, 7), 7, "zero: ");
}

// The Hückel matrix of a ring: 2 cos(2 π k / n), in pairs.
TEST_P(SymmetricEigen, RingHasItsClosedFormSpectrum) {
  const Eigen::Index n = 50;
  RowMatrix a = RowMatrix::Zero(n, n);
  std::vector<double> expected;
  for (Eigen::Index i = 0; i < n; ++i) {
    a(i, (i + 1) % n) = a((i + 1) % n, i) = 1.0;
    expected.push_back(2.0 * std::cos(2.0 * M_PI * static_cast<double>(i) / 50.0));
  }
  std::sort(expected.begin(), expected.end());
  const Eigen::VectorXd values = Check(a, n, "ring: ");
  for (Eigen::Index i = 0; i < n; ++i) {
    EXPECT_NEAR(values[i], expected[static_cast<std::size_t>(i)], 1e-13);
  }
}

TEST_P(SymmetricEigen, SomeOrNoVectors) {
  std::mt19937 rng(14);
  const RowMatrix a = RandomSymmetric(30, rng);
  const Eigen::VectorXd all = Check(a, 30, "all: ");
  for (const Eigen::Index nvec : {0, 1, 3, 6}) {
    const Eigen::VectorXd values = Check(a, nvec, "some: ");
    EXPECT_TRUE((values - all).cwiseAbs().maxCoeff() <= 1e-12);
  }
}

TEST_P(SymmetricEigen, RefusesBadInputAndWritesNothing) {
  using Levels = QZSystem::QZErrorLevel;
  MessageCapture capture;
  std::vector<double> a{1.0, 2.0, 3.0};
  double values[2] = {7.0, 7.0};
  double first[2] = {7.0, 7.0};
  double second[2] = {7.0, 7.0};
  double* rows[2] = {first, second};
  EXPECT_FALSE(GetParam()(a.data(), values, rows, 1, 1));
  EXPECT_FALSE(GetParam()(a.data(), values, rows, 2, 3));
  EXPECT_EQ(
      capture.At(Levels::Fatal),
      (std::vector<std::string>{"Size of the matrix is smaller tnan 2",
                                "Number of requested eigenvectors exceeds matrix dimension"}));
  EXPECT_EQ(a, (std::vector<double>{1.0, 2.0, 3.0}));
  for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    a[1] = bad;
    EXPECT_FALSE(GetParam()(a.data(), values, rows, 2, 2));
  }
  for (const double* out : {values, first, second}) {
    EXPECT_EQ(out[0], 7.0);
    EXPECT_EQ(out[1], 7.0);
  }
}

TEST(EigenDiagonalize, LeavesTheMatrix) {
  std::mt19937 rng(15);
  std::vector<double> a = Packed(RandomSymmetric(6, rng));
  const std::vector<double> before = a;
  RowMatrix vectors(6, 6);
  double values[6];
  ASSERT_TRUE(
      QZMolPotential::eigendiagonalize(a.data(), values, RowPointers(vectors).data(), 6, 6));
  EXPECT_EQ(a, before);
}

}  // namespace
