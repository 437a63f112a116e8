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

std::vector<NamedMatrix> SymmetricMatrices() {
  std::mt19937 rng(11);
  std::vector<NamedMatrix> all;
  for (const Eigen::Index n : {2, 3, 4, 5, 17, 60, 129}) {
    all.push_back({"random, seed 11", RandomSymmetric(n, rng)});
  }
  for (Eigen::Index trial = 0; trial < 200; ++trial) {  // decoupled blocks and many equal entries
    const auto sparse = [](double x) { return std::abs(x) < 1.0 ? 0.0 : std::round(x); };
    all.push_back({"sparse, seed 11", RandomSymmetric(2 + trial % 15, rng).unaryExpr(sparse)});
  }
  for (const double spacing : {0.0, 1e-15, 1e-12, 1e-9, 1e-7, 1e-5, 1e-4, 1e-3}) {
    Eigen::VectorXd values(60);
    for (Eigen::Index i = 0; i < 60; ++i) {
      values[i] = static_cast<double>(i / 20) + spacing * static_cast<double>(i % 20);
    }
    all.push_back({"clusters of spacing " + std::to_string(spacing), WithEigenvalues(values, rng)});
  }
  const RowMatrix ones = RowMatrix::Ones(50, 50);
  all.push_back({"rank one", ones});
  all.push_back({"nearly rank one", ones + 1e-9 * RandomSymmetric(50, rng)});
  // Wilkinson's W21+ has pairs that agree to 14 digits, copies of it glued weakly tens of such.
  for (const double glue : {1e-4, 1e-9, 1e-14, 0.0}) {
    RowMatrix a = RowMatrix::Zero(210, 210);
    for (Eigen::Index i = 0; i < 210; ++i) {
      a(i, i) = std::abs(static_cast<double>(i % 21) - 10.0);
      if (i > 0) a(i, i - 1) = a(i - 1, i) = i % 21 == 0 ? glue : 1.0;
    }
    all.push_back({"Wilkinson's, glue " + std::to_string(glue), a});
  }
  const RowMatrix a = RandomSymmetric(20, rng);
  const RowMatrix equal = WithEigenvalues(Eigen::VectorXd::Constant(20, 3.0), rng);
  for (const double scale : {1e-300, 1e-200, 1e-25, 1e-12, 1e12, 1e200, 1e300}) {
    all.push_back({"scale 1e" + std::to_string(std::log10(scale)), scale * a});
    all.push_back({"equal values, scale 1e" + std::to_string(std::log10(scale)), scale * equal});
  }
  all.push_back({"diagonal", Eigen::VectorXd::LinSpaced(9, 4.0, -4.0).asDiagonal()});
  all.push_back({"identity", RowMatrix::Identity(9, 9)});
  all.push_back({"zero", RowMatrix::Zero(7, 7)});
  RowMatrix ring = RowMatrix::Zero(50, 50);  // every value but two comes in a pair
  for (Eigen::Index i = 0; i < 50; ++i) ring(i, (i + 1) % 50) = ring((i + 1) % 50, i) = 1.0;
  all.push_back({"ring", ring});
  return all;
}

class SymmetricEigen : public ::testing::TestWithParam<Solver> {};
INSTANTIATE_TEST_SUITE_P(BothSolvers,
                         SymmetricEigen,
                         ::testing::Values(&QZMolPotential::diagonalize,
                                           &QZMolPotential::eigendiagonalize));

// Values as Eigen finds them, and vectors that fulfil what they promise, all or some or none.
TEST_P(SymmetricEigen, DecomposesMatricesOfEveryKind) {
  for (const auto& [name, a] : SymmetricMatrices()) {
    SCOPED_TRACE(name);
    const Eigen::Index n = a.rows();
    const double size = Largest(a) > 0.0 ? Largest(a) : 1.0;
    const double tolerance = 1e-13 * static_cast<double>(n);
    const Eigen::VectorXd expected =
        Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(a / size).eigenvalues();
    for (const Eigen::Index nvec : {n, n / 5, Eigen::Index{0}}) {
      std::vector<double> packed = Packed(a);
      Eigen::VectorXd values = Eigen::VectorXd::Constant(n, std::nan(""));
      RowMatrix vectors = RowMatrix::Constant(nvec, n, std::nan(""));
      ASSERT_TRUE(GetParam()(packed.data(),
                             values.data(),
                             RowPointers(vectors).data(),
                             static_cast<int>(n),
                             static_cast<int>(nvec)));
      values /= size;
      const double off = Largest(values - expected) / std::max(1.0, Largest(expected));
      EXPECT_TRUE(off <= 1e-13) << off;
      EXPECT_TRUE(OffOrthonormalRows(vectors) <= 1e-11) << OffOrthonormalRows(vectors);
      const RowMatrix residual = vectors * (a / size) - values.head(nvec).asDiagonal() * vectors;
      EXPECT_TRUE(Largest(residual) <= tolerance) << Largest(residual);
      for (Eigen::Index k = 1; k < n; ++k) EXPECT_LE(values[k - 1], values[k]);
      if (GetParam() == &QZMolPotential::eigendiagonalize) {
        EXPECT_EQ(packed, Packed(a));
      }
    }
  }
}

TEST_P(SymmetricEigen, RefusesBadInputAndWritesNothing) {
  MessageCapture capture;
  std::vector<double> a{1.0, 2.0, 3.0};
  const RowMatrix untouched = RowMatrix::Constant(3, 2, 7.0);
  RowMatrix out = untouched;
  auto rows = RowPointers(out);
  const auto solve = [&](int n, int nvec) {
    return GetParam()(a.data(), rows[0], rows.data() + 1, n, nvec);
  };
  EXPECT_FALSE(solve(1, 1));
  EXPECT_FALSE(solve(2, 3));
  EXPECT_EQ(
      capture.At(QZSystem::QZErrorLevel::Fatal),
      (std::vector<std::string>{"Size of the matrix is smaller tnan 2",
                                "Number of requested eigenvectors exceeds matrix dimension"}));
  EXPECT_EQ(a, (std::vector<double>{1.0, 2.0, 3.0}));
  for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    a[1] = bad;
    EXPECT_FALSE(solve(2, 2));
  }
  EXPECT_TRUE(out == untouched);
}

}  // namespace
