// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

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
constexpr Mat3 operator+(const Mat3& a, const Mat3& b) {
  return {a.row0 + b.row0, a.row1 + b.row1, a.row2 + b.row2};
}
constexpr Mat3 operator-(const Mat3& a) {
  return {-a.row0, -a.row1, -a.row2};
}
constexpr Mat3 Outer(const Vec3& a, const Vec3& b) {
  return {a.x * b, a.y * b, a.z * b};
}
/// a ⊗ b + b ⊗ a.
constexpr Mat3 SymmetricOuter(const Vec3& a, const Vec3& b) {
  const double xy = a.x * b.y + a.y * b.x;
  const double xz = a.x * b.z + a.z * b.x;
  const double yz = a.y * b.z + a.z * b.y;
  return {{2.0 * a.x * b.x, xy, xz}, {xy, 2.0 * a.y * b.y, yz}, {xz, yz, 2.0 * a.z * b.z}};
}
constexpr double Element(const Mat3& m, std::size_t row, std::size_t column) {
  const Vec3& v = row == 0 ? m.row0 : row == 1 ? m.row1 : m.row2;
  return column == 0 ? v.x : column == 1 ? v.y : v.z;
}

}  // namespace QZMolPotential
