// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>
#include <cstddef>
#include <type_traits>

namespace QZMolPotential {

/// A point or vector of three numbers.
template <class T>
struct BasicVec3 {
  T x{};
  T y{};
  T z{};

  constexpr BasicVec3& operator+=(const BasicVec3& b) {
    return *this = {x + b.x, y + b.y, z + b.z};
  }
  constexpr BasicVec3& operator-=(const BasicVec3& b) {
    return *this = {x - b.x, y - b.y, z - b.z};
  }
};
using Vec3 = BasicVec3<double>;

template <class T>
constexpr BasicVec3<T> operator+(const BasicVec3<T>& a, const BasicVec3<T>& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
template <class T>
constexpr BasicVec3<T> operator-(const BasicVec3<T>& a, const BasicVec3<T>& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
template <class T>
constexpr BasicVec3<T> operator-(const BasicVec3<T>& a) {
  return {-a.x, -a.y, -a.z};
}
template <class T>
constexpr BasicVec3<T> operator*(std::type_identity_t<T> s, const BasicVec3<T>& a) {
  return {s * a.x, s * a.y, s * a.z};
}
template <class T>
constexpr T Dot(const BasicVec3<T>& a, const BasicVec3<T>& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
template <class T>
constexpr BasicVec3<T> Cross(const BasicVec3<T>& a, const BasicVec3<T>& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Norm(const Vec3& a) {
  return std::sqrt(Dot(a, a));
}

/// v/|v|; a vector of zero length divides by zero.
template <class T>
BasicVec3<T> Normalised(const BasicVec3<T>& v) {
  using std::sqrt;
  return (T(1.0) / sqrt(Dot(v, v))) * v;
}
/// The value of a number that carries derivatives; of a plain one, itself.
constexpr double ValueOf(double a) {
  return a;
}
/// A unit vector perpendicular to `e`, whose length is not zero.
template <class T>
BasicVec3<T> AnyPerpendicular(const BasicVec3<T>& e) {
  const bool alongX = std::abs(ValueOf(e.x)) >= 0.7 * std::sqrt(ValueOf(Dot(e, e)));
  return Normalised(Cross(
      e, alongX ? BasicVec3<T>{T(0.0), T(1.0), T(0.0)} : BasicVec3<T>{T(1.0), T(0.0), T(0.0)}));
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
  double* const out = grad + 3 * i;
  out[0] += g.x;
  out[1] += g.y;
  out[2] += g.z;
}

}  // namespace QZMolPotential
