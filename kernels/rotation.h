// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

#include "kernels/mat3.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

/// R(q) of q = (w, x, y, z) without normalisation: the rotation matrix times |q|². Active: p -> R
/// p.
inline Mat3 UnnormalisedRotation(const double* q) {
  const double w = q[0];
  const double x = q[1];
  const double y = q[2];
  const double z = q[3];
  return {{w * w + x * x - y * y - z * z, 2.0 * (x * y - w * z), 2.0 * (x * z + w * y)},
          {2.0 * (x * y + w * z), w * w - x * x + y * y - z * z, 2.0 * (y * z - w * x)},
          {2.0 * (x * z - w * y), 2.0 * (y * z + w * x), w * w - x * x - y * y + z * z}};
}

/// w² + x² + y² + z².
inline double SquaredNorm(const double* q) {
  return q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3];
}

/// The rotation matrix R(q) / |q|² of q = (w, x, y, z) of any length; the zero matrix for q = 0.
inline Mat3 Rotation(const double* q) {
  const double s = SquaredNorm(q);
  if (s == 0.0) return {};
  // q is normalised first, since products of the components of a very short q would underflow.
  const double length = std::sqrt(s);
  const double u[4] = {q[0] / length, q[1] / length, q[2] / length, q[3] / length};
  const Mat3 m = UnnormalisedRotation(u);
  const double rest = SquaredNorm(u);
  if (rest == 1.0 || rest == 0.0) return m;
  return {(1.0 / rest) * m.row0, (1.0 / rest) * m.row1, (1.0 / rest) * m.row2};
}

/// Half the q-derivatives (w, x, y, z) of the sum of g_i · R(q) r_i, R unnormalised, from the
/// contraction m = sum r_i ⊗ g_i, m[a][b] = sum r_i[a] g_i[b].
inline std::array<double, 4> HalfQuaternionGradient(const Mat3& m, const double* q) {
  const double w = q[0];
  const Vec3 v{q[1], q[2], q[3]};
  const double trace = m.row0.x + m.row1.y + m.row2.z;
  // The derivative of R depends on m only through its antisymmetric and symmetric parts.
  const Vec3 anti{m.row1.z - m.row2.y, m.row2.x - m.row0.z, m.row0.y - m.row1.x};
  const Vec3 sx{2.0 * m.row0.x - trace, m.row0.y + m.row1.x, m.row0.z + m.row2.x};
  const Vec3 sy{m.row0.y + m.row1.x, 2.0 * m.row1.y - trace, m.row1.z + m.row2.y};
  const Vec3 sz{m.row0.z + m.row2.x, m.row1.z + m.row2.y, 2.0 * m.row2.z - trace};
  return {w * trace + Dot(anti, v),
          w * anti.x + Dot(sx, v),
          w * anti.y + Dot(sy, v),
          w * anti.z + Dot(sz, v)};
}

/// The turn by `angle` (radians, right-handed) about `axis` through the origin, for many points.
/// The axis is used as it is, meant to be of unit length. Rodrigues' formula.
class AxisRotation {
 public:
  AxisRotation(const Vec3& axis, double angle)
      : axis_(axis), cosine_(std::cos(angle)), sine_(std::sin(angle)) {}
  Vec3 operator()(const Vec3& p) const {
    return cosine_ * p + sine_ * Cross(axis_, p) + ((1.0 - cosine_) * Dot(axis_, p)) * axis_;
  }

 private:
  Vec3 axis_;
  double cosine_;
  double sine_;
};

/// The unweighted mean of n points; the origin for none.
inline Vec3 Centroid(const double* coords, std::size_t n) {
  Vec3 sum;
  for (std::size_t i = 0; i < n; ++i) sum += LoadAtom(coords, i);
  return n == 0 ? sum : (1.0 / static_cast<double>(n)) * sum;
}

}  // namespace QZMolPotential
