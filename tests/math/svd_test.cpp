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
std::vector<NamedMatrix> Matrices() {
  std::mt19937 rng(21);
  std::vector<NamedMatrix> all;
  const std::pair<int, int> shapes[] = {
      {1, 1}, {1, 5}, {5, 1}, {2, 2}, {3, 2}, {2, 3}, {20, 20}, {9, 10}, {10, 9}, {40, 7}, {7, 40}};
  for (const auto& [m, n] : shapes) {
    all.push_back({"random, seed 21", RandomMatrix(m, n, rng)});
    all.push_back({"rank two", RandomMatrix(m, 2, rng) * RandomMatrix(2, n, rng)});
    all.push_back({"ones", RowMatrix::Ones(m, n)});
    all.push_back({"zero", RowMatrix::Zero(m, n)});
  }
  RowMatrix shift = RowMatrix::Zero(8, 8);
  for (Eigen::Index i = 0; i < 7; ++i) shift(i, i + 1) = 1.0;
  all.push_back({"shift", shift});
  for (Eigen::Index i = 0; i < 8; ++i) shift(i, i) = i == 4 ? 0.0 : 1.0;
  all.push_back({"bidiagonal with a zero", shift});
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
  RowMatrix a = RowMatrix::Zero(3, 4);
  a.diagonal() << 3.0, 5.0, -4.0;
  for (unsigned k = 0; k <= 4; ++k) {  // 0 and 4 = m + 1 mean all
    RowMatrix expected = RowMatrix::Zero(4, 3);
    expected.diagonal() << (k == 1 || k == 2 ? 0.0 : 1.0 / 3.0), 0.2, (k == 1 ? 0.0 : -0.25);
    RowMatrix p(4, 3);
    ASSERT_TRUE(mpinvert1(a.data(), p.data(), 3, 4, k));
    EXPECT_TRUE(Largest(p - expected) <= 1e-15) << k;
  }
  MessageCapture capture;
  double untouched = 7.0;
  EXPECT_FALSE(mpinvert1(a.data(), &untouched, 3, 4, 5));
  EXPECT_FALSE(mpinvert1(a.data(), &untouched, 4, 3, 4));
  EXPECT_EQ(capture.Warnings(),
            std::vector<std::string>(2, "Requested number of singular values is too big"));
  EXPECT_EQ(untouched, 7.0);
}

TEST(PseudoInverse, RefusesNonFiniteInput) {
  for (const double bad : {std::nan(""), -std::numeric_limits<double>::infinity()}) {
    MessageCapture capture;
    double a[4] = {1.0, 2.0, bad, 3.0};
    double s[2];
    const RowMatrix untouched = RowMatrix::Constant(2, 2, 7.0);
    RowMatrix u = untouched;
    RowMatrix v = untouched;
    RowMatrix p = untouched;
    EXPECT_FALSE(svd(a, 2, 2, s, RowPointers(u).data(), RowPointers(v).data()));
    EXPECT_TRUE(capture.All().empty());
    EXPECT_FALSE(mpinvert(a, p.data(), 2, 2));
    EXPECT_FALSE(mpinvert1(a, p.data(), 2, 2, 1));
    EXPECT_FALSE(mpinvert(a, 2, 2));
    EXPECT_EQ(capture.Warnings(), std::vector<std::string>(3, "Pseudoinvert calculation failed"));
    EXPECT_TRUE(u == untouched && v == untouched && p == untouched);
  }
}

}  // namespace
