// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <Eigen/Dense>
#include <functional>
#include <vector>

#include "qzchem/qzchem.h"

/// Redundant internal coordinates by their definition, with nothing saved: dense B by complex-step
/// differentiation, the pseudo-inverse from its singular value decomposition.
class Reference {
 public:
  using Frozen = std::function<bool(unsigned int atom)>;
  Reference(const QZChem::QZMolBase& mol, const Frozen& frozen);

  Eigen::VectorXd Values(const Eigen::VectorXd& x) const;
  /// The rows at x, and the pseudo-inverse that goes with them.
  void UpdateRows(const Eigen::VectorXd& x);
  /// B⁺ = Bᵀ (B Bᵀ)⁺: steps from it, gradients from its transpose.
  const Eigen::MatrixXd& PseudoInverse() const { return inverse_; }
  const Eigen::VectorXd& SingularValues() const { return sigma_; }
  Eigen::VectorXd ActiveOf(const Eigen::VectorXd& all) const { return all(active_); }
  /// The inverse, zero for what is not active.
  Eigen::VectorXd AllOf(const Eigen::VectorXd& active) const;

 private:
  std::vector<std::vector<unsigned int>> list_;  // atoms of each coordinate
  std::vector<Eigen::Index> active_;
  Eigen::MatrixXd inverse_;
  Eigen::VectorXd sigma_;
};
