// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "modes/modesystem.h"

namespace QZMolPotential {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::Vector3d;
using Eigen::VectorXd;

// A moment of inertia below this part of the largest is that of atoms in line, 0.2° off at most.
constexpr double kInLine = 1e-5;
// How much of an overall motion the variables must contain, and the largest curvature along it,
// relative to the stiffest motion, that still counts as none.
constexpr double kContained = 1.0 - 1e-6;
constexpr double kNoResistance = 1e-6;

Vector3d At(const double* x, std::size_t atom) {
  return Vector3d(x[3 * atom], x[3 * atom + 1], x[3 * atom + 2]);
}

}  // namespace

OverallMotion MakeOverallMotion(const std::vector<double>& masses, const double* x) {
  double total = 0.0;
  Vector3d centre = Vector3d::Zero();
  for (std::size_t a = 0; a < masses.size(); ++a) {
    total += masses[a];
    centre += masses[a] * At(x, a);
  }
  centre /= total;
  Eigen::Matrix3d inertia = Eigen::Matrix3d::Zero();
  for (std::size_t a = 0; a < masses.size(); ++a) {
    const Vector3d r = At(x, a) - centre;
    inertia += masses[a] * (r.squaredNorm() * Eigen::Matrix3d::Identity() - r * r.transpose());
  }
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> axes(inertia);
  OverallMotion overall;
  overall.columns = MatrixXd::Zero(static_cast<Index>(3 * masses.size()), 6);
  overall.moments = VectorXd::Zero(6);
  Index count = 0;
  const auto add = [&](double moment, const auto& displacement) {
    for (std::size_t a = 0; a < masses.size(); ++a) {
      const auto row = static_cast<Index>(3 * a);
      overall.columns.block<3, 1>(row, count) = std::sqrt(masses[a]) * displacement(a);
    }
    overall.columns.col(count).normalize();
    overall.moments[count++] = moment;
  };
  for (Index k = 0; k < 3; ++k) {
    add(0.0, [&](std::size_t) -> Vector3d { return Vector3d::Unit(k); });
  }
  const double largest = axes.eigenvalues()[2];
  for (Index k = 0; k < 3; ++k) {
    const double moment = axes.eigenvalues()[k];
    if (!(moment > kInLine * largest)) continue;
    const Vector3d axis = axes.eigenvectors().col(k);
    add(moment, [&](std::size_t a) -> Vector3d { return axis.cross(At(x, a) - centre); });
  }
  overall.columns.conservativeResize(Eigen::NoChange, count);
  overall.moments.conservativeResize(count);
  return overall;
}

// When the energy does not depend on a motion t, its gradient turns with the molecule: H t = ω x g
// for a rotation and 0 for a translation. In these variables |ω x g| is at most |g| / sqrt(moment).
MatrixXd FreeMotions(const ModeSystem& system, const OverallMotion& overall) {
  const MatrixXd inside = system.motions.transpose() * overall.columns;
  // In kcal/mol/Å²/u, where 1 corresponds to about 100 cm⁻¹. The maximum is for rigid bodies, which
  // may have no stiffer motion.
  const double stiffest = std::max(1.0, system.hessian.cwiseAbs().rowwise().sum().maxCoeff());
  MatrixXd free(inside.rows(), inside.cols());
  Index count = 0;
  for (Index k = 0; k < inside.cols(); ++k) {
    if (!(inside.col(k).squaredNorm() > kContained)) continue;
    double allowed = kNoResistance * stiffest;
    if (overall.moments[k] > 0.0) allowed += system.gradient.norm() / std::sqrt(overall.moments[k]);
    if ((system.hessian * inside.col(k)).norm() <= allowed) free.col(count++) = inside.col(k);
  }
  free.conservativeResize(Eigen::NoChange, count);
  return free;
}

}  // namespace QZMolPotential
