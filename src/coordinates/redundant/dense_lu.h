// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <Eigen/Core>
#include <Eigen/LU>

namespace QZMolPotential {

/// P A = L U of a square matrix, with solutions of A x = b and Aᵀ x = b in the caller's arrays.
/// Those of `Eigen::PartialPivLU` copy the factor for the transposed matrix. Factors beyond some
/// 100 rows take work memory from the heap; vectors never do.
class DenseLu {
 public:
  void Factor(const Eigen::MatrixXd& a) {
    lu_.compute(a);
    work_.resize(a.rows());
  }
  void Solve(const Eigen::VectorXd& b, Eigen::VectorXd& x) const {
    const auto& to = lu_.permutationP().indices();
    for (Eigen::Index i = 0; i < b.size(); ++i) x[to[i]] = b[i];
    solvePermuted(x);
  }
  void SolveTransposed(const Eigen::VectorXd& b, Eigen::VectorXd& x) {
    work_ = b;
    const auto transposed = lu_.matrixLU().transpose();
    transposed.triangularView<Eigen::Lower>().solveInPlace(work_);
    transposed.triangularView<Eigen::UnitUpper>().solveInPlace(work_);
    const auto& to = lu_.permutationP().indices();
    for (Eigen::Index i = 0; i < b.size(); ++i) x[i] = work_[to[i]];
  }
  /// The first columns of A⁻¹, as many as `columns` has; its rows are those of A.
  void FirstColumnsOfInverse(Eigen::MatrixXd& columns) const {
    const auto& to = lu_.permutationP().indices();
    columns.setZero();
    for (Eigen::Index i = 0; i < columns.cols(); ++i) columns(to[i], i) = 1.0;
    solvePermuted(columns);
  }

 private:
  template <class Right>
  void solvePermuted(Right& x) const {
    lu_.matrixLU().triangularView<Eigen::UnitLower>().solveInPlace(x);
    lu_.matrixLU().triangularView<Eigen::Upper>().solveInPlace(x);
  }

  Eigen::PartialPivLU<Eigen::MatrixXd> lu_;
  Eigen::VectorXd work_;
};

}  // namespace QZMolPotential
