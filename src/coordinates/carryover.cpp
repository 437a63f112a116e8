// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/carryover.h"

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>

#include "coordinates/maps.h"

namespace QZMolPotential {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;

// Added to JJᵀ beside its largest element: motions that the variables do not have.
constexpr double kRidge = 1e-9;

VectorXd scalesOf(const CoordinateMap& map) {
  const std::vector<double> scales = ScalesOf(map.Kinds());
  return Eigen::Map<const VectorXd>(scales.data(), static_cast<Index>(scales.size()));
}

// J, a row for each coordinate of the atoms.
MatrixXd jacobianOf(const PlacedMap& placed, const std::vector<unsigned int>& atoms) {
  CoordinateMap& map = placed.map;
  std::vector<double> unit(map.NumCoords(), 0.0);
  map.Place(placed.vars.data(), unit.data());
  std::ranges::fill(unit, 0.0);
  MatrixXd transposed =
      MatrixXd::Zero(static_cast<Index>(map.NumVar()), static_cast<Index>(3 * atoms.size()));
  Index column = 0;
  for (const unsigned int atom : atoms) {
    for (unsigned int k = 3 * atom; k < 3 * atom + 3; ++k) {
      unit[k] = 1.0;
      map.PullGradient(unit.data(), transposed.col(column++).data());
      unit[k] = 0.0;
    }
  }
  return transposed.transpose() * scalesOf(map).asDiagonal();
}

using Solver = Eigen::LDLT<MatrixXd>;

Solver squareOf(const MatrixXd& j) {
  MatrixXd square = j * j.transpose();
  square.diagonal().array() += kRidge * square.diagonal().maxCoeff();
  return Solver(square);
}

}  // namespace

void CarrySteps(const PlacedMap& from,
                const PlacedMap& to,
                const std::vector<unsigned int>& atoms,
                std::vector<QZOpt::QZCurvatureStep>& steps) {
  if (steps.empty()) return;
  const MatrixXd before = jacobianOf(from, atoms);
  const MatrixXd after = jacobianOf(to, atoms);
  const VectorXd oldScales = scalesOf(from.map);
  const VectorXd newScales = scalesOf(to.map);
  const Solver squareBefore = squareOf(before);
  const Solver squareAfter = squareOf(after);
  // J⁺ = Jᵀ (J Jᵀ)⁻¹.
  for (auto& [move, change] : steps) {
    Eigen::Map<VectorXd> s(move.data(), oldScales.size());
    Eigen::Map<VectorXd> y(change.data(), oldScales.size());
    const VectorXd cartesian = before * s.cwiseQuotient(oldScales);
    s = newScales.cwiseProduct(after.transpose() * squareAfter.solve(cartesian));
    const VectorXd force = squareBefore.solve(before * y.cwiseProduct(oldScales));
    y = (after.transpose() * force).cwiseQuotient(newScales);
  }
}

}  // namespace QZMolPotential
