// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/redundant/dense.h"

#include <Eigen/Core>
#include <Eigen/QR>
#include <Eigen/SVD>
#include <algorithm>

namespace QZMolPotential {

struct DenseWilsonInverse::Data {
  Eigen::MatrixXd v;
  Eigen::VectorXd inverseSquares;
  Eigen::VectorXd projected;
};

DenseWilsonInverse::DenseWilsonInverse() : data_(std::make_unique<Data>()) {}
DenseWilsonInverse::~DenseWilsonInverse() = default;
DenseWilsonInverse::DenseWilsonInverse(DenseWilsonInverse&&) noexcept = default;
DenseWilsonInverse& DenseWilsonInverse::operator=(DenseWilsonInverse&&) noexcept = default;

namespace {

// R of B = Q R, or B itself where it has no more rows than columns.
Eigen::MatrixXd triangle(const WilsonRows& rows,
                         std::span<const unsigned int> rowsOfFragment,
                         std::span<const unsigned int> columnOf,
                         Eigen::Index n) {
  Eigen::MatrixXd stack = Eigen::MatrixXd::Zero(2 * n, n);
  Eigen::Index filled = 0;
  for (const unsigned int row : rowsOfFragment) {
    if (filled == 2 * n) {
      Eigen::HouseholderQR<Eigen::Ref<Eigen::MatrixXd>> qr(stack);
      stack.triangularView<Eigen::StrictlyLower>().setZero();
      filled = n;
    }
    const auto atoms = rows.Atoms(row);
    const auto blocks = rows.Blocks(row);
    for (std::size_t k = 0; k < atoms.size(); ++k) {
      const Eigen::Index column = columnOf[atoms[k]];
      stack(filled, column) += blocks[k].x;
      stack(filled, column + 1) += blocks[k].y;
      stack(filled, column + 2) += blocks[k].z;
    }
    ++filled;
  }
  if (filled <= n) return stack.topRows(filled);
  Eigen::HouseholderQR<Eigen::Ref<Eigen::MatrixXd>> qr(stack);
  return stack.topRows(n).triangularView<Eigen::Upper>();
}

}  // namespace

bool DenseWilsonInverse::Compute(const WilsonRows& rows,
                                 std::span<const unsigned int> rowsOfFragment,
                                 std::span<const unsigned int> columnOf,
                                 unsigned int numColumns,
                                 double cutOff) {
  const Eigen::MatrixXd r = triangle(rows, rowsOfFragment, columnOf, numColumns);
  if (!r.allFinite()) return false;
  const Eigen::BDCSVD<Eigen::MatrixXd> svd(r, Eigen::ComputeThinU | Eigen::ComputeThinV);
  const Eigen::VectorXd& sigma = svd.singularValues();
  if (svd.info() != Eigen::Success || !sigma.allFinite()) return false;
  const auto rank = static_cast<Eigen::Index>(std::count_if(
      sigma.begin(), sigma.end(), [cutOff](double value) { return value >= cutOff; }));
  data_->v = svd.matrixV().leftCols(rank);
  data_->inverseSquares = sigma.head(rank).array().square().inverse();
  return true;
}

void DenseWilsonInverse::Apply(std::span<double> x) {
  Eigen::Map<Eigen::VectorXd> b(x.data(), static_cast<Eigen::Index>(x.size()));
  data_->projected.noalias() = data_->v.transpose() * b;
  data_->projected.array() *= data_->inverseSquares.array();
  b.noalias() = data_->v * data_->projected;
}

}  // namespace QZMolPotential
