// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <type_traits>

#include "kernels/vec3.h"

namespace QZMolPotential {

/// A 3 x 3 matrix by rows.
template <class T>
struct BasicMat3 {
  BasicVec3<T> row0;
  BasicVec3<T> row1;
  BasicVec3<T> row2;
};
using Mat3 = BasicMat3<double>;

template <class T>
constexpr BasicVec3<T> operator*(const BasicMat3<T>& m, const BasicVec3<T>& p) {
  return {Dot(m.row0, p), Dot(m.row1, p), Dot(m.row2, p)};
}
template <class T>
constexpr BasicMat3<T> Transpose(const BasicMat3<T>& m) {
  return {{m.row0.x, m.row1.x, m.row2.x},
          {m.row0.y, m.row1.y, m.row2.y},
          {m.row0.z, m.row1.z, m.row2.z}};
}
template <class T>
constexpr BasicMat3<T> operator+(const BasicMat3<T>& a, const BasicMat3<T>& b) {
  return {a.row0 + b.row0, a.row1 + b.row1, a.row2 + b.row2};
}
template <class T>
constexpr BasicMat3<T> operator-(const BasicMat3<T>& a, const BasicMat3<T>& b) {
  return {a.row0 - b.row0, a.row1 - b.row1, a.row2 - b.row2};
}
template <class T>
constexpr BasicMat3<T> operator*(std::type_identity_t<T> s, const BasicMat3<T>& m) {
  return {s * m.row0, s * m.row1, s * m.row2};
}
template <class T>
constexpr BasicMat3<T> operator-(const BasicMat3<T>& a) {
  return {-a.row0, -a.row1, -a.row2};
}
template <class T>
constexpr BasicMat3<T> Outer(const BasicVec3<T>& a, const BasicVec3<T>& b) {
  return {a.x * b, a.y * b, a.z * b};
}
/// `s` times the identity.
constexpr Mat3 Identity(double s = 1.0) {
  return {{s, 0.0, 0.0}, {0.0, s, 0.0}, {0.0, 0.0, s}};
}
/// The matrix of v x (.).
constexpr Mat3 Skew(const Vec3& v) {
  return {{0.0, -v.z, v.y}, {v.z, 0.0, -v.x}, {-v.y, v.x, 0.0}};
}
/// v x (.) applied to the columns of m: [v] m.
constexpr Mat3 CrossColumns(const Vec3& v, const Mat3& m) {
  return {v.y * m.row2 - v.z * m.row1, v.z * m.row0 - v.x * m.row2, v.x * m.row1 - v.y * m.row0};
}
/// v x (.) applied to the rows of m: m [v]ᵀ.
constexpr Mat3 CrossRows(const Mat3& m, const Vec3& v) {
  return {Cross(v, m.row0), Cross(v, m.row1), Cross(v, m.row2)};
}
/// a ⊗ b + b ⊗ a.
template <class T>
constexpr BasicMat3<T> SymmetricOuter(const BasicVec3<T>& a, const BasicVec3<T>& b) {
  const T xy = a.x * b.y + a.y * b.x;
  const T xz = a.x * b.z + a.z * b.x;
  const T yz = a.y * b.z + a.z * b.y;
  return {{2.0 * a.x * b.x, xy, xz}, {xy, 2.0 * a.y * b.y, yz}, {xz, yz, 2.0 * a.z * b.z}};
}
constexpr double Element(const Mat3& m, std::size_t row, std::size_t column) {
  const Vec3& v = row == 0 ? m.row0 : row == 1 ? m.row1 : m.row2;
  return column == 0 ? v.x : column == 1 ? v.y : v.z;
}

}  // namespace QZMolPotential
