// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "metric.h"

#include <algorithm>
#include <cmath>
#include <exception>

namespace QZOpt {
namespace {

using SparseMatrix = Eigen::SparseMatrix<double>;
using Vector = Eigen::Map<Eigen::VectorXd>;
using ConstVector = Eigen::Map<const Eigen::VectorXd>;

// Added to each diagonal element, relative to it: a model of springs leaves overall motion, and
// much that is soft, without resistance. bench/README.md tells how the size was chosen.
constexpr double kFloor = 1e-3;
// A model that is not quite positive gets more of it, tenfold at a time, up to this.
constexpr double kLargestFloor = 1.0;
// Up to this many variables a model is factored as a dense matrix, which needs no ordering.
constexpr std::size_t kLargestDenseModel = 240;

}  // namespace

bool FitsScales(const std::vector<double>& scales, std::size_t n) {
  return scales.empty() || (scales.size() == n && std::ranges::all_of(scales, [](double scale) {
                              return scale > 0.0 && std::isfinite(scale);
                            }));
}

Eigen::MatrixXd LowerTriangle(const std::vector<double>& packed, std::size_t n) {
  const auto size = static_cast<Eigen::Index>(n);
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(size, size);
  std::size_t next = 0;
  for (Eigen::Index row = 0; row < size; ++row) {
    for (Eigen::Index column = 0; column <= row; ++column) matrix(row, column) = packed[next++];
  }
  return matrix;
}

Metric::Metric(std::size_t n, const std::vector<double>& scales) : n_(n), scales_(scales) {}

bool Metric::TakeModel(QZHessianModel* model, const double* x) {
  if (model == nullptr) return false;
  entries_.clear();
  try {
    if (!model->AppendModelHessian(x, entries_) || entries_.empty()) return false;
  } catch (const std::exception&) {
    return false;  // only a hint: a faulty function shows its fault when it is evaluated
  }
  std::vector<double> diagonal(n_, 0.0);
  for (const QZMatrixEntry& entry : entries_) {
    if (entry.column > entry.row || entry.row >= n_ || !std::isfinite(entry.value)) return false;
    if (entry.row == entry.column) diagonal[entry.row] += entry.value;
  }
  for (std::size_t i = 0; i < n_; ++i) {
    if (!(diagonal[i] > 0.0)) diagonal[i] = 1.0 / (Scale(i) * Scale(i) * kFloor);
  }
  if (n_ > kLargestDenseModel) {
    SparseMatrix matrix = sparseModel();
    return factoriseWithFloor(matrix, diagonal);
  }
  const auto n = static_cast<Eigen::Index>(n_);
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(n, n);
  for (const QZMatrixEntry& entry : entries_) matrix(entry.row, entry.column) += entry.value;
  denseIsModel_ = factoriseWithFloor(matrix, diagonal);
  return denseIsModel_;
}

SparseMatrix Metric::sparseModel() const {
  std::vector<Eigen::Triplet<double>> triplets;
  triplets.reserve(entries_.size() + n_);
  for (const QZMatrixEntry& entry : entries_) {
    triplets.emplace_back(entry.row, entry.column, entry.value);
  }
  const auto n = static_cast<Eigen::Index>(n_);
  for (Eigen::Index i = 0; i < n; ++i) triplets.emplace_back(i, i, 0.0);
  SparseMatrix matrix(n, n);
  matrix.setFromTriplets(triplets.begin(), triplets.end());
  return matrix;
}

template <class Matrix>
bool Metric::factoriseWithFloor(Matrix& matrix, const std::vector<double>& diagonal) {
  double floor = 0.0;
  for (double next = kFloor; next <= kLargestFloor; next *= 10.0) {
    for (std::size_t i = 0; i < n_; ++i) {
      const auto index = static_cast<Eigen::Index>(i);
      matrix.coeffRef(index, index) += (next - floor) * diagonal[i];
    }
    floor = next;
    if (factorise(matrix)) return true;
  }
  return false;
}

bool Metric::factorise(SparseMatrix& matrix) {
  auto factor = std::make_unique<Factor>(matrix);
  if (factor->info() != Eigen::Success) return false;
  factor_ = std::move(factor);
  dense_.reset();
  matrix_ = matrix;
  work_.resize(matrix.rows());
  return true;
}

bool Metric::factorise(Eigen::MatrixXd& matrix) {
  auto factor = std::make_unique<Eigen::LLT<Eigen::MatrixXd>>(matrix);
  if (factor->info() != Eigen::Success || !matrix.allFinite()) return false;
  dense_ = std::move(factor);
  factor_.reset();
  denseMatrix_ = std::move(matrix);
  return true;
}

bool Metric::TakeMatrix(const std::vector<double>& packed) {
  Eigen::MatrixXd matrix = LowerTriangle(packed, n_);
  if (!factorise(matrix)) return false;
  denseIsModel_ = false;
  return true;
}

void Metric::StepFrom(const double* y, double* dx) const {
  const auto n = static_cast<Eigen::Index>(n_);
  if (dense_) {
    Vector(dx, n) = dense_->matrixU().solve(ConstVector(y, n));
  } else if (factor_) {
    work_ = ConstVector(y, n);
    factor_->matrixU().solveInPlace(work_);
    Vector(dx, n) = factor_->permutationPinv() * work_;
  } else {
    for (std::size_t i = 0; i < n_; ++i) dx[i] = Scale(i) * y[i];
  }
}

void Metric::GradientOverY(const double* grad, double* gradY) const {
  const auto n = static_cast<Eigen::Index>(n_);
  if (dense_) {
    Vector(gradY, n) = dense_->matrixL().solve(ConstVector(grad, n));
  } else if (factor_) {
    work_ = factor_->permutationP() * ConstVector(grad, n);
    factor_->matrixL().solveInPlace(work_);
    Vector(gradY, n) = work_;
  } else {
    for (std::size_t i = 0; i < n_; ++i) gradY[i] = Scale(i) * grad[i];
  }
}

void Metric::AddTo(double factor, Eigen::MatrixXd& matrix) const {
  if (dense_) {
    matrix.triangularView<Eigen::Lower>() += factor * denseMatrix_;
    return;
  }
  if (!factor_) {
    matrix.diagonal() += factor * Diagonal();
    return;
  }
  for (Eigen::Index column = 0; column < matrix_.outerSize(); ++column) {
    for (SparseMatrix::InnerIterator entry(matrix_, column); entry; ++entry) {
      matrix(entry.row(), column) += factor * entry.value();
    }
  }
}

Eigen::VectorXd Metric::Diagonal() const {
  if (dense_) return denseMatrix_.diagonal();
  if (factor_) return matrix_.diagonal();
  Eigen::VectorXd diagonal(static_cast<Eigen::Index>(n_));
  for (std::size_t i = 0; i < n_; ++i) {
    diagonal[static_cast<Eigen::Index>(i)] = 1.0 / (Scale(i) * Scale(i));
  }
  return diagonal;
}

Eigen::VectorXd Metric::Times(const Eigen::VectorXd& v) const {
  if (dense_) return denseMatrix_.selfadjointView<Eigen::Lower>() * v;
  if (factor_) return matrix_.selfadjointView<Eigen::Lower>() * v;
  return Diagonal().cwiseProduct(v);
}

}  // namespace QZOpt
