// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "linalg/matrices.h"
#include "molpotential/linalg.h"
#include "support/capture.h"

namespace {

using namespace QZMolPotential;
using namespace TestSupport;

// Shapes, rank deficiency and zeros inside the bidiagonal, at three scales.
std::vector<NamedMatrix> Matrices() {
  std::mt19937 rng(21);
  std::vector<NamedMatrix> all;
  for (const auto& [m, n] :
       {std::pair{1, 1}, {1, 5}, {5, 1}, {3, 2}, {20, 20}, {9, 10}, {40, 7}, {7, 40}}) {
    all.push_back({"random, seed 21", RandomMatrix(m, n, rng)});
    all.push_back({"rank two", RandomMatrix(m, 2, rng) * RandomMatrix(2, n, rng)});
    all.push_back({"zero", RowMatrix::Zero(m, n)});
  }
  RowMatrix bidiagonal = RowMatrix::Identity(8, 8);
  bidiagonal.diagonal(1).setOnes();
  bidiagonal(4, 4) = 0.0;
  all.push_back({"bidiagonal with a zero", bidiagonal});
  all.push_back({"huge", 1e200 * RandomMatrix(6, 9, rng)});
  all.push_back({"tiny", 1e-200 * RandomMatrix(9, 6, rng)});
  return all;
}

TEST(Svd, ReproducesTheMatrixWithOrthonormalFactors) {
  for (const auto& [name, a] : Matrices()) {
    SCOPED_TRACE(name + " " + std::to_string(a.rows()) + " x " + std::to_string(a.cols()));
    const Eigen::Index m = a.rows();
    const Eigen::Index n = a.cols();
    const Eigen::Index inner = std::min(m, n);
    const double size = Largest(a) > 0.0 ? Largest(a) : 1.0;
    Eigen::VectorXd s = Eigen::VectorXd::Constant(std::min(m + 1, n), std::nan(""));
    RowMatrix u(m, m);
    RowMatrix v(n, n);
    auto rowsU = RowPointers(u);
    auto rowsV = RowPointers(v);
    ASSERT_TRUE(svd(a.data(), unsigned(m), unsigned(n), s.data(), rowsU.data(), rowsV.data()));
    s /= size;
    EXPECT_TRUE(OffOrthonormalRows(u.transpose()) <= 1e-13);
    EXPECT_TRUE(OffOrthonormalRows(v.transpose()) <= 1e-13);
    const RowMatrix residual =
        u.leftCols(inner) * s.head(inner).asDiagonal() * v.leftCols(inner).transpose() - a / size;
    EXPECT_TRUE(Largest(residual) <= 1e-13);
    Eigen::VectorXd expected = Eigen::VectorXd::Zero(s.size());  // of a wide matrix, the last is 0
    expected.head(inner) = Eigen::JacobiSVD<Eigen::MatrixXd>(a / size).singularValues();
    EXPECT_TRUE(Largest(s - expected) <= 1e-13 * std::max(1.0, expected[0]));
  }
}

TEST(PseudoInverse, MeetsThePenroseConditions) {
  for (const auto& [name, a] : Matrices()) {
    if (name == "tiny" || name == "huge") continue;  // the cut-off is absolute
    SCOPED_TRACE(name + " " + std::to_string(a.rows()) + " x " + std::to_string(a.cols()));
    const auto m = static_cast<unsigned>(a.rows());
    const auto n = static_cast<unsigned>(a.cols());
    RowMatrix p = RowMatrix::Constant(n, m, std::nan(""));
    ASSERT_TRUE(mpinvert(a.data(), p.data(), m, n));
    const double size = std::max(1.0, Largest(p));
    EXPECT_TRUE(Largest(a * p * a - a) <= 1e-12 * size);
    EXPECT_TRUE(Largest(p * a * p - p) <= 1e-12 * size * size);
    EXPECT_TRUE(Largest(a * p - (a * p).transpose()) <= 1e-12 * size);
    EXPECT_TRUE(Largest(p * a - (p * a).transpose()) <= 1e-12 * size);
    RowMatrix inPlace = a;
    ASSERT_TRUE(mpinvert(inPlace.data(), m, n));
    EXPECT_TRUE(Largest(Eigen::Map<RowMatrix>(inPlace.data(), n, m) - p) == 0.0);
  }
}

TEST(PseudoInverse, OfTheLargestValuesAboveTheAbsoluteThreshold) {
  RowMatrix a = RowMatrix::Zero(4, 5);
  a.diagonal() << 3.0, 1e-11, -4.0, 1e-13;
  for (unsigned k = 0; k <= 5; ++k) {  // 0 and 5 = m + 1 mean all
    RowMatrix kept = RowMatrix::Zero(5, 5);
    kept.diagonal() << (k == 1 ? 0.0 : 1.0), (k == 1 || k == 2 ? 0.0 : 1.0), 1.0, 0.0, 0.0;
    RowMatrix p(5, 4);
    ASSERT_TRUE(mpinvert1(a.data(), p.data(), 4, 5, k));
    EXPECT_TRUE(Largest(p * a - kept) <= 1e-15) << k;
  }
}

TEST(PseudoInverse, RefusesNonFiniteInputAndTooManyValues) {
  const RowMatrix untouched = RowMatrix::Constant(2, 2, 7.0);
  MessageCapture capture;
  const double a[4] = {1.0, 2.0, std::nan(""), 3.0};
  double s[2];
  RowMatrix out = untouched;
  EXPECT_FALSE(svd(a, 2, 2, s, RowPointers(out).data(), RowPointers(out).data()));
  EXPECT_FALSE(mpinvert(a, out.data(), 2, 2));
  EXPECT_FALSE(mpinvert1(a, out.data(), 2, 2, 1));
  EXPECT_FALSE(mpinvert1(untouched.data(), out.data(), 2, 2, 4));
  EXPECT_EQ(capture.Warnings().size(), 3U);
  EXPECT_TRUE(out == untouched);
}

}  // namespace
