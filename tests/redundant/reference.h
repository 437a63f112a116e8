// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <vector>

#include "qzchem/qzchem.h"

/// Redundant internal coordinates by their definition, with nothing saved: dense B by complex-step
/// differentiation, the pseudo-inverse from its singular value decomposition (LAPACK).
class Reference {
 public:
  using Frozen = std::function<bool(unsigned int atom)>;
  Reference(const QZChem::QZMolBase& mol, const Frozen& frozen);

  std::vector<double> Values(const std::vector<double>& x, bool forRows) const;
  /// The rows at x, and the pseudo-inverse that goes with them.
  void UpdateRows(const std::vector<double>& x);
  std::vector<double> InternalGradient(const std::vector<double>& g) const;
  std::vector<double> CartesianStep(const std::vector<double>& dq) const;
  /// The back-transformation from x, which becomes its end.
  bool BackTransform(std::vector<double>& x, const std::vector<double>& activeTarget);
  std::vector<double> ActiveOf(const std::vector<double>& all) const;
  /// The inverse, zero for what is not active.
  std::vector<double> AllOf(const std::vector<double>& active) const;

  const std::vector<double>& SingularValues() const { return sigma_; }

 private:
  struct Coordinate {
    std::vector<unsigned int> atoms;
    bool active;
  };
  std::size_t n_ = 0;
  std::vector<Coordinate> list_;
  std::vector<double> b_, u_, vt_, sigma_;  // row-major, M x n, M x k, k x n, k
};
