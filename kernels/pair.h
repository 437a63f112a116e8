// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "kernels/mat3.h"

namespace QZMolPotential {

/// Two numbers that go through the same arithmetic together: compilers put them into one register.
struct Pair {
  double first = 0.0;
  double second = 0.0;
};
constexpr Pair operator+(const Pair& a, const Pair& b) {
  return {a.first + b.first, a.second + b.second};
}
constexpr Pair operator-(const Pair& a, const Pair& b) {
  return {a.first - b.first, a.second - b.second};
}
constexpr Pair operator-(const Pair& a) {
  return {-a.first, -a.second};
}
constexpr Pair operator*(const Pair& a, const Pair& b) {
  return {a.first * b.first, a.second * b.second};
}
constexpr Pair operator*(double s, const Pair& a) {
  return {s * a.first, s * a.second};
}

inline BasicVec3<Pair> Both(const Vec3& first, const Vec3& second) {
  return {Pair{first.x, second.x}, Pair{first.y, second.y}, Pair{first.z, second.z}};
}
inline Vec3 First(const BasicVec3<Pair>& v) {
  return {v.x.first, v.y.first, v.z.first};
}
inline Vec3 Second(const BasicVec3<Pair>& v) {
  return {v.x.second, v.y.second, v.z.second};
}
inline Mat3 First(const BasicMat3<Pair>& m) {
  return {First(m.row0), First(m.row1), First(m.row2)};
}
inline Mat3 Second(const BasicMat3<Pair>& m) {
  return {Second(m.row0), Second(m.row1), Second(m.row2)};
}
inline Mat3 Sum(const BasicMat3<Pair>& m) {
  return First(m) + Second(m);
}

}  // namespace QZMolPotential
