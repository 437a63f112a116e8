// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "kernels/superpose.h"
#include "qzchem/geometry.h"

namespace QZChem {
namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
using Points = Eigen::Map<const Eigen::Matrix3Xd>;

// The rotation that brings points b onto points a best, from S = sum p_b p_aᵀ.
Matrix3d BestRotation(const Matrix3d& s) {
  const auto row = [&s](Eigen::Index i) { return QZMolPotential::Vec3{s(i, 0), s(i, 1), s(i, 2)}; };
  const auto best = QZMolPotential::BestRotation({row(0), row(1), row(2)});
  Matrix3d r;
  r << best.row0.x, best.row0.y, best.row0.z, best.row1.x, best.row1.y, best.row1.z, best.row2.x,
      best.row2.y, best.row2.z;
  return r;
}

void Store(const Matrix3d& r, const Vector3d& t, double* rotation, double* translation) {
  for (Eigen::Index i = 0; rotation != nullptr && i < 3; ++i) {
    for (Eigen::Index j = 0; j < 3; ++j) rotation[3 * i + j] = r(i, j);
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
