// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>
#include <cstddef>

namespace QZMolPotential {

/// A point or vector of three doubles.
struct Vec3 {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;

  constexpr Vec3& operator+=(const Vec3& b) { return *this = {x + b.x, y + b.y, z + b.z}; }
  constexpr Vec3& operator-=(const Vec3& b) { return *this = {x - b.x, y - b.y, z - b.z}; }
};

constexpr Vec3 operator+(const Vec3& a, const Vec3& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
constexpr Vec3 operator-(const Vec3& a, const Vec3& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
constexpr Vec3 operator-(const Vec3& a) {
  return {-a.x, -a.y, -a.z};
}
constexpr Vec3 operator*(double s, const Vec3& a) {
  return {s * a.x, s * a.y, s * a.z};
}
constexpr double Dot(const Vec3& a, const Vec3& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
constexpr Vec3 Cross(const Vec3& a, const Vec3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Norm(const Vec3& a) {
  return std::sqrt(Dot(a, a));
}

/// Atom `i` of a coordinate vector.
inline Vec3 LoadAtom(const double* coords, std::size_t i) {
  return {coords[3 * i], coords[3 * i + 1], coords[3 * i + 2]};
}
inline void StoreAtom(double* coords, std::size_t i, const Vec3& p) {
  coords[3 * i] = p.x;
  coords[3 * i + 1] = p.y;
  coords[3 * i + 2] = p.z;
}
inline void AddToAtom(double* grad, std::size_t i, const Vec3& g) {
  grad[3 * i] += g.x;
  grad[3 * i + 1] += g.y;
  grad[3 * i + 2] += g.z;
}

}  // namespace QZMolPotential
