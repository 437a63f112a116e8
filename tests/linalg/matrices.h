// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <Eigen/Dense>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

using RowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

using NamedMatrix = std::pair<std::string, RowMatrix>;

inline RowMatrix RandomMatrix(Eigen::Index m, Eigen::Index n, std::mt19937& rng) {
  std::normal_distribution<double> normal;
  return RowMatrix::NullaryExpr(m, n, [&](Eigen::Index, Eigen::Index) { return normal(rng); });
}
inline RowMatrix RandomSymmetric(Eigen::Index n, std::mt19937& rng) {
  const RowMatrix a = RandomMatrix(n, n, rng);
  return a + a.transpose();
}
/// Q diag(values) Qᵀ with a random Q.
inline RowMatrix WithEigenvalues(const Eigen::VectorXd& values, std::mt19937& rng) {
  const Eigen::MatrixXd q =
      Eigen::HouseholderQR<Eigen::MatrixXd>(RandomMatrix(values.size(), values.size(), rng))
          .householderQ();
  const RowMatrix a = q * values.asDiagonal() * q.transpose();
  return 0.5 * (a + a.transpose());
}

inline std::vector<double> Packed(const RowMatrix& a) {
  std::vector<double> packed;
  for (Eigen::Index i = 0; i < a.rows(); ++i) {
    for (Eigen::Index j = 0; j <= i; ++j) packed.push_back(a(i, j));
  }
  return packed;
}
inline std::vector<double*> RowPointers(RowMatrix& a) {
  std::vector<double*> rows;
  for (Eigen::Index i = 0; i < a.rows(); ++i) rows.push_back(a.row(i).data());
  return rows;
}

/// Largest absolute element; NaN when there is one.
inline double Largest(const RowMatrix& a) {
  return a.size() == 0 ? 0.0 : a.cwiseAbs().maxCoeff<Eigen::PropagateNaN>();
}
inline double OffOrthonormalRows(const RowMatrix& a) {
  return Largest(a * a.transpose() - RowMatrix::Identity(a.rows(), a.rows()));
}

}  // namespace TestSupport
