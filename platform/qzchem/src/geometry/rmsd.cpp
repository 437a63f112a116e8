// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "qzchem/geometry.h"

namespace QZChem {
namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
using Points = Eigen::Map<const Eigen::Matrix3Xd>;

// The rotation that brings points onto others best, from their covariance S = sum p_b p_aᵀ: the
// eigenvector of the largest eigenvalue of Horn's 4 x 4 matrix is its quaternion, so that a
// reflection cannot come out.
Matrix3d BestRotation(const Matrix3d& s) {
  Eigen::Matrix4d n;
  n << s(0, 0) + s(1, 1) + s(2, 2), s(1, 2) - s(2, 1), s(2, 0) - s(0, 2), s(0, 1) - s(1, 0),
      s(1, 2) - s(2, 1), s(0, 0) - s(1, 1) - s(2, 2), s(0, 1) + s(1, 0), s(2, 0) + s(0, 2),
      s(2, 0) - s(0, 2), s(0, 1) + s(1, 0), s(1, 1) - s(0, 0) - s(2, 2), s(1, 2) + s(2, 1),
      s(0, 1) - s(1, 0), s(2, 0) + s(0, 2), s(1, 2) + s(2, 1), s(2, 2) - s(0, 0) - s(1, 1);
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix4d> solver(n);
  // Where no rotation is better than none, as for a single point, none is made.
  if (n(0, 0) >= solver.eigenvalues()(3)) return Matrix3d::Identity();
  const Eigen::Vector4d q = solver.eigenvectors().col(3);
  return Eigen::Quaterniond(q(0), q(1), q(2), q(3)).normalized().toRotationMatrix();
}

void Store(const Matrix3d& r, const Vector3d& t, double* rotation, double* translation) {
  if (rotation != nullptr) {
    const Eigen::Matrix3d columns = r.transpose();  // stored by columns: r by rows
    std::copy_n(columns.data(), 9, rotation);
  }
  if (translation != nullptr) std::copy_n(t.data(), 3, translation);
}

}  // namespace

double QZRMSD(const double* a,
              const double* b,
              unsigned int numPoints,
              bool superpose,
              double* rotation,
              double* translation) {
  Store(Matrix3d::Identity(), Vector3d::Zero(), rotation, translation);
  if (numPoints == 0) return 0.0;
  const Points pa(a, 3, numPoints);
  const Points pb(b, 3, numPoints);
  if (!superpose) return std::sqrt((pa - pb).squaredNorm() / numPoints);
  if (!pa.allFinite() || !pb.allFinite()) return std::numeric_limits<double>::quiet_NaN();

  const Vector3d centreA = pa.rowwise().mean();
  const Vector3d centreB = pb.rowwise().mean();
  const Eigen::Matrix3Xd offsetsA = pa.colwise() - centreA;
  const Eigen::Matrix3Xd offsetsB = pb.colwise() - centreB;
  const Matrix3d r = BestRotation(offsetsB * offsetsA.transpose());
  Store(r, centreA - r * centreB, rotation, translation);
  // From the residuals: the eigenvalue would lose half the digits where the sets agree.
  return std::sqrt((offsetsA - r * offsetsB).squaredNorm() / numPoints);
}

double QZRMSBetweenPoints(const double* a,
                          const double* b,
                          unsigned int numPoints,
                          double* weights) {
  double sum = 0.0;
  double total = 0.0;
  for (std::size_t i = 0; i < numPoints; ++i) {
    const double weight = weights != nullptr ? weights[i] : 1.0;
    for (std::size_t k = 3 * i; k < 3 * i + 3; ++k) sum += weight * (a[k] - b[k]) * (a[k] - b[k]);
    total += weight;
  }
  return total > 0.0 ? std::sqrt(sum / total) : 0.0;
}

}  // namespace QZChem
