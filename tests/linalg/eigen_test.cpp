// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "linalg/matrices.h"
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
    Eigen::VectorXd values = Eigen::VectorXd::LinSpaced(60, 0.0, 59.0 * spacing);
    values.tail(20).array() += 1.0;
    all.push_back({"clusters of spacing " + std::to_string(spacing), WithEigenvalues(values, rng)});
  }
  // Wilkinson's W21+ has pairs that agree to 14 digits, copies of it glued weakly tens of such.
  for (const double glue : {1e-9, 0.0}) {
    RowMatrix a = RowMatrix::Zero(210, 210);
    a.diagonal() = Eigen::VectorXd::LinSpaced(21, -10.0, 10.0).cwiseAbs().replicate(10, 1);
    a.diagonal(1).setOnes();
    for (Eigen::Index i = 20; i < 209; i += 21) a(i, i + 1) = glue;
    a.diagonal(-1) = a.diagonal(1);
    all.push_back({"Wilkinson's, glue " + std::to_string(glue), a});
  }
  const RowMatrix a = RandomSymmetric(20, rng);
  for (const double scale : {0.0, 1e-300, 1e-200, 1e-25, 1e25, 1e200, 1e300}) {
    all.push_back({"scale 1e" + std::to_string(std::log10(scale)), scale * a});
  }
  all.push_back({"equal values", WithEigenvalues(Eigen::VectorXd::Constant(20, 3.0), rng)});
  return all;
}

constexpr Solver kSolvers[] = {QZMolPotential::diagonalize, QZMolPotential::eigendiagonalize};

// Values as Eigen finds them, and vectors that fulfil what they promise, all or some or none.
TEST(SymmetricEigen, DecomposesMatricesOfEveryKind) {
  for (const auto& [name, a] : SymmetricMatrices()) {
    const Eigen::Index n = a.rows();
    const double size = Largest(a) > 0.0 ? Largest(a) : 1.0;
    const double tolerance = 1e-13 * static_cast<double>(n);
    const Eigen::VectorXd expected =
        Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(a / size).eigenvalues();
    for (int k = 0; k < 6; ++k) {
      SCOPED_TRACE(name + (k % 2 == 0 ? ", diagonalize" : ", eigendiagonalize"));
      const Solver solve = kSolvers[k % 2];
      const Eigen::Index nvec = k < 2 ? n : k < 4 ? n / 5 : 0;
      std::vector<double> packed = Packed(a);
      Eigen::VectorXd values = Eigen::VectorXd::Constant(n, std::nan(""));
      RowMatrix vectors = RowMatrix::Constant(nvec, n, std::nan(""));
      auto rows = RowPointers(vectors);
      ASSERT_TRUE(solve(packed.data(), values.data(), rows.data(), int(n), int(nvec)));
      values /= size;
      const double off = Largest(values - expected) / std::max(1.0, Largest(expected));
      EXPECT_TRUE(off <= 1e-13) << off;
      EXPECT_TRUE(OffOrthonormalRows(vectors) <= 1e-11) << OffOrthonormalRows(vectors);
      const RowMatrix residual = vectors * (a / size) - values.head(nvec).asDiagonal() * vectors;
      EXPECT_TRUE(Largest(residual) <= tolerance) << Largest(residual);
      EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
      EXPECT_TRUE(k % 2 == 0 || packed == Packed(a));
    }
  }
}

TEST(SymmetricEigen, RefusesBadInputAndWritesNothing) {
  double a[3] = {1.0, 2.0, 3.0};
  double withNan[3] = {1.0, std::nan(""), 3.0};
  const RowMatrix untouched = RowMatrix::Constant(3, 2, 7.0);
  RowMatrix out = untouched;
  auto rows = RowPointers(out);
  for (const Solver solve : kSolvers) {
    MessageCapture capture;
    for (const int n : {1, 2}) EXPECT_FALSE(solve(a, rows[0], rows.data() + 1, n, 2 * n - 1));
    EXPECT_EQ(capture.At(QZSystem::QZErrorLevel::Fatal).size(), 2U);
    EXPECT_FALSE(solve(withNan, rows[0], rows.data() + 1, 2, 2));
    EXPECT_EQ(capture.Warnings(),
              std::vector<std::string>{"Diagonalization failed: a matrix element is not finite"});
  }
  EXPECT_TRUE(out == untouched);
}

}  // namespace
