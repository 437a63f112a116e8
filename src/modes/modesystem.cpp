// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "modes/modesystem.h"

#include <Eigen/Eigenvalues>
#include <cmath>

#include "molpotential/coordinates.h"
#include "molpotential/invariance.h"
#include "molpotential/subset.h"

namespace QZMolPotential {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;

// The step of the difference quotients of x(v), which are extrapolated from two steps: the
// truncation error is near 1e-12 and the rounding error near 1e-13 of the coordinates.
constexpr double kStep = 1e-3;
// Combinations of variables whose share of the kinetic energy is below this (each variable has 1)
// move nothing, such as the length of a quaternion or the redundant combinations of redundant
// coordinates.
constexpr double kNoMotion = 1e-7;

VectorXd SquareRoots(const std::vector<double>& masses) {
  VectorXd roots(static_cast<Index>(3 * masses.size()));
  for (Index i = 0; i < roots.size(); ++i) {
    roots[i] = std::sqrt(masses[static_cast<std::size_t>(i / 3)]);
  }
  return roots;
}

// J = ∂x/∂v at `vars`; false where variables have no geometry.
bool MakeJacobian(const QZMolAdaptor2& adaptor, std::vector<double> vars, MatrixXd& jacobian) {
  const Index rows = jacobian.rows();
  VectorXd at[4];
  for (VectorXd& x : at) x.resize(rows);
  const double steps[4] = {-2.0 * kStep, -kStep, kStep, 2.0 * kStep};
  for (std::size_t i = 0; i < vars.size(); ++i) {
    const double start = vars[i];
    for (int k = 0; k < 4; ++k) {
      vars[i] = start + steps[k];
      if (!adaptor.AdaptVar(at[k].data(), vars.data())) return false;
    }
    vars[i] = start;
    jacobian.col(static_cast<Index>(i)) =
        (8.0 * (at[2] - at[1]) - (at[3] - at[0])) / (12.0 * kStep);
  }
  return jacobian.allFinite();
}

// 1 / length of each column; 0 for those without any.
VectorXd InverseLengths(const MatrixXd& columns) {
  VectorXd lengths = columns.colwise().norm();
  for (double& length : lengths) length = length > 0.0 ? 1.0 / length : 0.0;
  return lengths;
}

// Orthonormal combinations T of the columns of M^1/2 J, W = M^1/2 J T. `lengths`: what measures
// each column.
MatrixXd Orthonormalise(const MatrixXd& columns, const VectorXd& lengths) {
  const MatrixXd scaled = columns * lengths.asDiagonal();
  const Eigen::SelfAdjointEigenSolver<MatrixXd> solver(scaled.transpose() * scaled);
  const VectorXd& values = solver.eigenvalues();
  Index first = 0;  // ascending
  while (first < values.size() && !(values[first] > kNoMotion)) ++first;
  const Index count = values.size() - first;
  return lengths.asDiagonal() * solver.eigenvectors().rightCols(count) *
         values.tail(count).cwiseSqrt().cwiseInverse().asDiagonal();
}

// True when the adaptor holds the molecule in place only because its variables need a frame.
bool GivesWay(const QZMolAdaptor2& adaptor) {
  if (dynamic_cast<const QZSubsetAdaptor*>(&adaptor) != nullptr) return false;
  const auto* coordinates = dynamic_cast<const QZCoordinateFunc*>(&adaptor);
  if (coordinates != nullptr && coordinates->GetCoordinates() == QZCoordinates::Cartesian) {
    return false;
  }
  return QZIsFrameInvariant(adaptor.GetMolFunc());
}

}  // namespace

ModeSystem MakeModeSystem(QZMolFunc2& f,
                          const std::vector<double>& masses,
                          const double* x,
                          bool atomsHeld) {
  ModeSystem system;
  const Index n = f.NumVar();
  const VectorXd roots = SquareRoots(masses);
  auto* adaptor = dynamic_cast<QZMolAdaptor2*>(&f);
  std::vector<double> vars(f.NumVar());
  if (adaptor != nullptr) {
    adaptor->GetVar(vars.data(), x);
  } else {
    if (n != roots.size()) {
      system.fault = "the function's variables are not the coordinates of the molecule's atoms";
      return system;
    }
    vars.assign(x, x + n);
  }
  MatrixXd jacobian = MatrixXd::Zero(roots.size(), n);
  if (adaptor == nullptr) {
    jacobian.setIdentity();
  } else if (n > 0 && !MakeJacobian(*adaptor, vars, jacobian)) {
    system.fault = "the variables have no geometry near the start";
    return system;
  }

  VectorXd gradient = VectorXd::Zero(n);
  f(vars.data(), gradient.data());
  std::vector<double> packed(static_cast<std::size_t>(n) * (static_cast<std::size_t>(n) + 1) / 2);
  if (!f(vars.data(), packed.data(), nullptr)) {
    system.fault = "the function has no Hessian here";
    return system;
  }
  MatrixXd hessian(n, n);
  std::size_t next = 0;
  for (Index row = 0; row < n; ++row) {
    for (Index column = 0; column <= row; ++column) {
      hessian(row, column) = hessian(column, row) = packed[next++];
    }
  }
  if (!hessian.allFinite() || !gradient.allFinite()) {
    system.fault = "the gradient or the Hessian is not finite";
    return system;
  }
  if (n == 0) return system;
  system.gradientNorm = gradient.norm() / std::sqrt(static_cast<double>(n));
  MatrixXd weighted = roots.asDiagonal() * jacobian;
  const VectorXd lengths = InverseLengths(weighted);
  if (adaptor != nullptr && !atomsHeld && GivesWay(*adaptor)) {
    // The energy does not depend on the placement: of all motions that change the variables in the
    // same way, the one without linear and angular momentum is the vibration.
    const MatrixXd overall = MakeOverallMotion(masses, x).columns;
    weighted -= overall * (overall.transpose() * weighted);
  }
  const MatrixXd toVars = Orthonormalise(weighted, lengths);
  system.motions = weighted * toVars;
  system.hessian = toVars.transpose() * hessian * toVars;
  system.gradient = toVars.transpose() * gradient;
  return system;
}

}  // namespace QZMolPotential
