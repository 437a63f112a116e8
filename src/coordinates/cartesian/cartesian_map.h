// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "coordinates/map.h"

namespace QZMolPotential {

/// The x, y, z of some atoms, in the order given; the others stay where `Start` found them.
class CartesianMap final : public CoordinateMap {
 public:
  CartesianMap(std::size_t atomIndexBound, std::vector<unsigned int> moving);

  std::size_t NumVar() const override { return 3 * moving_.size(); }
  std::vector<VariableKind> Kinds() const override;
  bool Start(const double* coords, double* vars) override;
  bool Place(const double* vars, double* coords) override;
  void PullGradient(const double* cartGrad, double* grad) override;
  bool PullHessian(const double* cartHess, const double* cartGrad, double* hess) override;
  void ReserveHessian() override {}
  bool PullModel(const std::vector<QZOpt::QZMatrixEntry>& cart,
                 std::vector<QZOpt::QZMatrixEntry>& entries) override;
  std::unique_ptr<CoordinateMap> Clone() const override;

 private:
  std::vector<unsigned int> moving_;
  std::vector<double> ref_;
};

}  // namespace QZMolPotential
