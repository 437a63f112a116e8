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

using namespace QZMolPotential;
using namespace TestSupport;

// Shapes, rank deficiency and zeros inside the bidiagonal, at three scales.
std::vector<std::pair<std::string, RowMatrix>> Matrices() {
  std::mt19937 rng(21);
  std::vector<std::pair<std::string, RowMatrix>> all;
  const std::pair<int, int> shapes[] = {
      {1, 1}, {1, 5}, {5, 1}, {2, 2}, {3, 2}, {2, 3}, {20, 20}, {9, 10}, {10, 9}, {40, 7}, {7, 40}};
  for (const auto& [m, n] : shapes) {
    all.emplace_back("random, seed 21", RandomMatrix(m, n, rng));
    all.emplace_back("rank two", RandomMatrix(m, 2, rng) * RandomMatrix(2, n, rng));
    all.emplace_back("ones", RowMatrix::Ones(m, n));
    all.emplace_back("zero", RowMatrix::Zero(m, n));
  }
  RowMatrix shift = RowMatrix::Zero(8, 8);
  for (Eigen::Index i = 0; i < 7; ++i) shift(i, i + 1) = 1.0;
  all.emplace_back("shift", shift);
  for (Eigen::Index i = 0; i < 8; ++i) shift(i, i) = i == 4 ? 0.0 : 1.0;
  all.emplace_back("bidiagonal with a zero", shift);
  all.emplace_back("huge", 1e200 * RandomMatrix(6, 9, rng));
  all.emplace_back("tiny", 1e-200 * RandomMatrix(9, 6, rng));
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
    ASSERT_TRUE(svd(a.data(),
                    static_cast<unsigned>(m),
                    static_cast<unsigned>(n),
                    s.data(),
                    RowPointers(u).data(),
                    RowPointers(v).data()));
    s /= size;
    EXPECT_TRUE(OffOrthonormalRows(u.transpose()) <= 1e-13);
    EXPECT_TRUE(OffOrthonormalRows(v.transpose()) <= 1e-13);
    const RowMatrix residual =
        u.leftCols(inner) * s.head(inner).asDiagonal() * v.leftCols(inner).transpose() - a / size;
    EXPECT_TRUE(Largest(residual) <= 1e-13);
    for (Eigen::Index k = 0; k < s.size(); ++k) {
      EXPECT_GE(s[k], 0.0);
      EXPECT_GE(s[std::max<Eigen::Index>(k - 1, 0)], s[k]);
    }
    EXPECT_EQ(m < n ? s[m] : 0.0, 0.0);
    const RowMatrix gram = a / size * (a / size).transpose();
    const Eigen::VectorXd squares =
        Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(gram).eigenvalues().reverse();
    for (Eigen::Index k = 0; k < inner; ++k) {
      EXPECT_NEAR(s[k] * s[k], squares[k], 1e-12 * std::max(1.0, squares[0]));
    }
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

TEST(PseudoInverse, CutsOffAtTheAbsoluteThreshold) {
  for (const auto& [value, inverse] : {std::pair{1e-11, 1e11}, std::pair{1e-13, 0.0}}) {
    const double a[4] = {value, 0.0, 0.0, 2.0};
    double p[4];
    ASSERT_TRUE(mpinvert(a, p, 2, 2));
    EXPECT_NEAR(p[0], inverse, 1e-12 * inverse);
    EXPECT_DOUBLE_EQ(p[3], 0.5);
  }
}

TEST(PseudoInverse, OfTheLargestValuesOnly) {
  const double a[12] = {3.0, 0.0, 0.0, 0.0, 0.0, 5.0, 0.0, 0.0, 0.0, 0.0, -4.0, 0.0};  // 3 x 4
  const double full[12] = {1.0 / 3, 0, 0, 0, 0.2, 0, 0, 0, -0.25, 0, 0, 0};
  const bool kept[5][3] = {{true, true, true},
                           {false, true, false},
                           {false, true, true},
                           {true, true, true},
                           {true, true, true}};
  for (unsigned k = 0; k <= 4; ++k) {  // 4 = m + 1 is allowed and means all
    double p[12];
    ASSERT_TRUE(mpinvert1(a, p, 3, 4, k));
    for (unsigned i = 0; i < 12; ++i) {
      EXPECT_NEAR(p[i], kept[k][i % 3] ? full[i] : 0.0, 1e-15) << k << " " << i;
    }
  }
  MessageCapture capture;
  double untouched = 7.0;
  EXPECT_FALSE(mpinvert1(a, &untouched, 3, 4, 5));
  EXPECT_FALSE(mpinvert1(a, &untouched, 4, 3, 4));
  EXPECT_EQ(capture.Warnings(),
            std::vector<std::string>(2, "Requested number of singular values is too big"));
  EXPECT_EQ(untouched, 7.0);
}

TEST(PseudoInverse, RefusesNonFiniteInput) {
  for (const double bad : {std::nan(""), -std::numeric_limits<double>::infinity()}) {
    MessageCapture capture;
    double a[4] = {1.0, 2.0, bad, 3.0};
    double s[2] = {7.0, 7.0};
    double p[4] = {7.0, 7.0, 7.0, 7.0};
    RowMatrix u = RowMatrix::Constant(2, 2, 7.0);
    RowMatrix v = RowMatrix::Constant(2, 2, 7.0);
    EXPECT_FALSE(svd(a, 2, 2, s, RowPointers(u).data(), RowPointers(v).data()));
    EXPECT_TRUE(capture.All().empty());
    EXPECT_FALSE(mpinvert(a, p, 2, 2));
    EXPECT_FALSE(mpinvert1(a, p, 2, 2, 1));
    EXPECT_FALSE(mpinvert(a, 2, 2));
    EXPECT_EQ(capture.Warnings(), std::vector<std::string>(3, "Pseudoinvert calculation failed"));
    for (const double value : p) EXPECT_EQ(value, 7.0);
    EXPECT_EQ(a[3], 3.0);
    EXPECT_TRUE((u.array() == 7.0).all() && (v.array() == 7.0).all() && s[0] == 7.0);
  }
}

}  // namespace
