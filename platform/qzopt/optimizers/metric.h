// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <Eigen/Cholesky>
#include <Eigen/SparseCholesky>
#include <Eigen/SparseCore>
#include <memory>
#include <vector>

#include "qzopt/hints.h"

namespace QZOpt {

inline constexpr const char* kWrongScales = "there must be one positive scale for each variable";

/// Whether there are no scales, or one positive number for each of the `n` variables.
bool FitsScales(const std::vector<double>& scales, std::size_t n);

/// A packed lower triangle of `n` rows as a matrix; 0 above the diagonal.
Eigen::MatrixXd LowerTriangle(const std::vector<double>& packed, std::size_t n);

/// The positive definite matrix M in which a minimiser measures steps: the unit matrix, a diagonal
/// 1 / scale², a model Hessian, or any matrix. With M = Pᵀ L Lᵀ P the variables y of
///   x = x0 + Pᵀ L⁻ᵀ y
/// are those in which M is the unit matrix; P is the order in which a sparse M is factored.
class Metric {
 public:
  /// `scales`: one positive number for each of the `n` variables, or none for all 1.
  Metric(std::size_t n, const std::vector<double>& scales);

  /// Takes the function's model at `x` (may be a null model). A variable the model says nothing
  /// of keeps 1 / scale². False, with the metric as it was, where there is no usable model.
  bool TakeModel(QZHessianModel* model, const double* x);

  /// Takes a matrix, packed, which need not be a model's; `TakeModel` may replace it. False, with
  /// the metric as it was, where it is not positive definite.
  bool TakeMatrix(const std::vector<double>& packed);
  /// Drops the matrix of `TakeMatrix`, if there is one.
  void DropMatrix() {
    if (!denseIsModel_) dense_.reset();
  }

  bool IsDiagonal() const { return factor_ == nullptr && dense_ == nullptr; }
  double Scale(std::size_t i) const { return scales_.empty() ? 1.0 : scales_[i]; }

  /// dx = Pᵀ L⁻ᵀ y, n doubles each.
  void StepFrom(const double* y, double* dx) const;
  /// L⁻¹ P g: the gradient over y for that over x.
  void GradientOverY(const double* grad, double* gradY) const;
  /// Adds `factor` M to the lower triangle of `matrix`.
  void AddTo(double factor, Eigen::MatrixXd& matrix) const;
  /// The diagonal of M.
  Eigen::VectorXd Diagonal() const;
  /// M v.
  Eigen::VectorXd Times(const Eigen::VectorXd& v) const;

 private:
  using Factor = Eigen::SimplicialLLT<Eigen::SparseMatrix<double>, Eigen::Lower>;

  Eigen::SparseMatrix<double> sparseModel() const;
  // False, with the metric as it was, where no floor under the diagonal makes it positive definite.
  template <class Matrix>
  bool factoriseWithFloor(Matrix& matrix, const std::vector<double>& diagonal);
  bool factorise(Eigen::SparseMatrix<double>& matrix);
  bool factorise(Eigen::MatrixXd& matrix);

  std::size_t n_;
  std::vector<double> scales_;
  std::unique_ptr<Factor> factor_;                      // of a large model; null: none
  Eigen::SparseMatrix<double> matrix_;                  // that model, lower triangle
  std::unique_ptr<Eigen::LLT<Eigen::MatrixXd>> dense_;  // of any other matrix; null: none
  Eigen::MatrixXd denseMatrix_;                         // lower triangle
  bool denseIsModel_ = false;
  std::vector<QZMatrixEntry> entries_;
  mutable Eigen::VectorXd work_;
};

}  // namespace QZOpt
