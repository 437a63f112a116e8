// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <Eigen/Eigenvalues>
#include <cmath>

#include "kernels/rotation.h"

namespace QZMolPotential {

/// The rotation R that superposes points b on points a best, minimising Σ |a - R b|² about the
/// centroids, from s = Σ b ⊗ a. Its quaternion is the eigenvector of the largest eigenvalue of
/// Horn's 4 x 4 matrix, so that the result is never a reflection. The identity when no rotation
/// lowers the sum, as for a single point. Horn, J. Opt. Soc. Am. A 4, 629 (1987).
inline Mat3 BestRotation(const Mat3& s) {
  const double xx = s.row0.x;
  const double yy = s.row1.y;
  const double zz = s.row2.z;
  const double wx = s.row1.z - s.row2.y;
  const double wy = s.row2.x - s.row0.z;
  const double wz = s.row0.y - s.row1.x;
  const double xy = s.row0.y + s.row1.x;
  const double xz = s.row2.x + s.row0.z;
  const double yz = s.row1.z + s.row2.y;
  Eigen::Matrix4d n;
  n << xx + yy + zz, wx, wy, wz, wx, xx - yy - zz, xy, xz, wy, xy, yy - xx - zz, yz, wz, xz, yz,
      zz - xx - yy;
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix4d> solver(n);
  if (n(0, 0) >= solver.eigenvalues()(3)) return Identity();
  const Eigen::Vector4d q = solver.eigenvectors().col(3);
  return Rotation(q.data());
}

/// The pseudo-inverse of a symmetric 3 x 3 matrix, needed for the derivative of a best rotation.
/// Eigenvalues below 1e-12 of the largest count as 0: for atoms in line a turn about the line
/// changes nothing.
inline Mat3 SymmetricPseudoInverse(const Mat3& m) {
  Eigen::Matrix3d a;
  a << m.row0.x, m.row0.y, m.row0.z, m.row1.x, m.row1.y, m.row1.z, m.row2.x, m.row2.y, m.row2.z;
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> eigen(a);
  const double limit = 1e-12 * eigen.eigenvalues().cwiseAbs().maxCoeff();
  Eigen::Matrix3d b = Eigen::Matrix3d::Zero();
  for (Eigen::Index k = 0; k < 3; ++k) {
    const double value = eigen.eigenvalues()[k];
    const auto v = eigen.eigenvectors().col(k);
    if (std::abs(value) > limit) b += v * v.transpose() / value;
  }
  return {{b(0, 0), b(0, 1), b(0, 2)}, {b(1, 0), b(1, 1), b(1, 2)}, {b(2, 0), b(2, 1), b(2, 2)}};
}

}  // namespace QZMolPotential
