// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>
#include <cstddef>

#include "math/vec3.h"

namespace QZMolPotential {

/// A 3 x 3 matrix by rows.
struct Mat3 {
  Vec3 row0;
  Vec3 row1;
  Vec3 row2;
};

constexpr Vec3 operator*(const Mat3& m, const Vec3& p) {
  return {Dot(m.row0, p), Dot(m.row1, p), Dot(m.row2, p)};
}
constexpr Mat3 Transpose(const Mat3& m) {
  return {{m.row0.x, m.row1.x, m.row2.x},
          {m.row0.y, m.row1.y, m.row2.y},
          {m.row0.z, m.row1.z, m.row2.z}};
}

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

/// Adds q-derivatives of the sum of g_i · R(q) r_i, R unnormalised, to `out` (4 doubles), from the
/// contraction m = sum r_i ⊗ g_i, m[a][b] = sum r_i[a] g_i[b].
inline void AddQuaternionGradient(const Mat3& m, const double* q, double* out) {
  const double w = q[0];
  const double x = q[1];
  const double y = q[2];
  const double z = q[3];
  const double trace = m.row0.x + m.row1.y + m.row2.z;
  // The antisymmetric and symmetric parts of m are all that R's derivative sees.
  const Vec3 anti{m.row1.z - m.row2.y, m.row2.x - m.row0.z, m.row0.y - m.row1.x};
  const Vec3 sx{2.0 * m.row0.x - trace, m.row0.y + m.row1.x, m.row0.z + m.row2.x};
  const Vec3 sy{m.row0.y + m.row1.x, 2.0 * m.row1.y - trace, m.row1.z + m.row2.y};
  const Vec3 sz{m.row0.z + m.row2.x, m.row1.z + m.row2.y, 2.0 * m.row2.z - trace};
  const Vec3 v{x, y, z};
  out[0] += 2.0 * (w * trace + Dot(anti, v));
  out[1] += 2.0 * (w * anti.x + Dot(sx, v));
  out[2] += 2.0 * (w * anti.y + Dot(sy, v));
  out[3] += 2.0 * (w * anti.z + Dot(sz, v));
}

/// `p` turned by `angle` (radians, right-handed) about `axis` (a vector used as it is, meant to be
/// of unit length). Rodrigues' formula.
inline Vec3 RotateAbout(const Vec3& axis, double angle, const Vec3& p) {
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  return c * p + s * Cross(axis, p) + ((1.0 - c) * Dot(axis, p)) * axis;
}

/// The unweighted mean of n points; the origin for none.
inline Vec3 Centroid(const double* coords, std::size_t n) {
  Vec3 sum;
  for (std::size_t i = 0; i < n; ++i) sum += LoadAtom(coords, i);
  return n == 0 ? sum : (1.0 / static_cast<double>(n)) * sum;
}

}  // namespace QZMolPotential
