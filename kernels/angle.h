// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>

#include "kernels/sinks.h"

namespace QZMolPotential {

/// How steep and curved a function of an angle θ is: f', f'' and f'/sin θ, the last apart since a
/// function of cos θ has a finite one where sin θ vanishes.
struct AngleSlopes {
  double first = 0.0;
  double second = 0.0;
  double perSine = 0.0;
};

/// The angle θ in [0, π] between two vectors u and v with what derivatives of any function of it
/// need. With unit vectors û, v̂, n = û x v̂ / sin θ and the directions in which the ends of u and v
/// move when θ grows, p = û x n and q = n x v̂:
///   ∂θ/∂u = p/|u|       ∂²θ/∂u∂u = (cot θ n⊗n - û⊗p - p⊗û)/|u|²
///   ∂θ/∂v = q/|v|       ∂²θ/∂v∂v = (cot θ n⊗n - v̂⊗q - q⊗v̂)/|v|²
///                       ∂²θ/∂u∂v = -n⊗n / (sin θ |u||v|)
/// Straight (0 and π): θ itself has a kink there. Its gradient is 0, and f(θ) has the second
/// derivatives f'' of a function that is flat there, f'' per squared bend in either direction. A
/// function of cos θ is regular. A vector of zero length divides by zero.
struct VectorAngle {
  Vec3 unitU, unitV;
  double perU, perV;  // 1/|u|, 1/|v|
  double cosine;      // clamped to [-1, 1]
  double sine;        // >= 0
  Vec3 normal;        // n; any unit vector across u where the two are in line
  bool straight;

  VectorAngle(const Vec3& u, const Vec3& v) : perU(1.0 / Norm(u)), perV(1.0 / Norm(v)) {
    // sin θ below which u x v is little but rounding.
    constexpr double kStraight = 1e-10;
    unitU = perU * u;
    unitV = perV * v;
    cosine = std::clamp(Dot(unitU, unitV), -1.0, 1.0);
    normal = Cross(unitU, unitV);
    sine = Norm(normal);
    straight = sine < kStraight;
    normal = straight ? Across(unitU) : (1.0 / sine) * normal;
  }

  /// A unit vector perpendicular to the unit vector `u`.
  static Vec3 Across(const Vec3& u) {
    const Vec3 other = std::abs(u.x) < 0.5 ? Vec3{1.0, 0.0, 0.0} : Vec3{0.0, 1.0, 0.0};
    const Vec3 across = Cross(u, other);
    return (1.0 / Norm(across)) * across;
  }

  double Angle() const { return std::atan2(sine, cosine); }

  /// The slopes of f(θ) with f' and f''.
  AngleSlopes OfAngle(double first, double second) const {
    // Flat in line, f' tends to f'' (θ - π) = -f'' sin θ at π and to f'' sin θ at 0.
    if (straight) return {0.0, second, cosine < 0.0 ? -second : second};
    return {first, second, first / sine};
  }
  /// The slopes of f(cos θ) with f' and f''.
  AngleSlopes OfCosine(double first, double second) const {
    return {straight ? 0.0 : -sine * first, second * sine * sine - first * cosine, -first};
  }

  struct Gradients {
    Vec3 u;
    Vec3 v;
  };
  /// The derivatives of the function over u and v.
  Gradients Gradient(const AngleSlopes& f) const {
    return {(f.first * perU) * Cross(unitU, normal), (f.first * perV) * Cross(normal, unitV)};
  }

  struct Curvatures {
    Mat3 uu;
    Mat3 vu;  // rows over v, columns over u
    Mat3 vv;
  };
  Curvatures Curvature(const AngleSlopes& f) const {
    const Vec3 p = Cross(unitU, normal);
    const Vec3 q = Cross(normal, unitV);
    const Mat3 across = Outer(f.perSine * normal, normal);
    const Vec3 halfP = 0.5 * f.second * p - f.first * unitU;
    const Vec3 halfQ = 0.5 * f.second * q - f.first * unitV;
    return {(perU * perU) * (SymmetricOuter(p, halfP) + cosine * across),
            (perU * perV) * (Outer(f.second * q, p) - across),
            (perV * perV) * (SymmetricOuter(q, halfQ) + cosine * across)};
  }
};

/// Adds f' ∇θ to a gradient: atoms A, B, C with u = A - B and v = C - B.
inline void AddAngleGradient(double* grad,
                             const std::array<unsigned int, 3>& atoms,
                             const VectorAngle& angle,
                             const AngleSlopes& f) {
  const auto g = angle.Gradient(f);
  AddToAtom(grad, atoms[0], g.u);
  AddToAtom(grad, atoms[1], -g.u - g.v);
  AddToAtom(grad, atoms[2], g.v);
}

/// The same, unless `grad` is null, and the second derivatives into `sink`.
template <HessianSink Sink>
void AddAngleDerivatives(Sink& sink,
                         double* grad,
                         const std::array<unsigned int, 3>& atoms,
                         const VectorAngle& angle,
                         const AngleSlopes& f) {
  if (grad != nullptr) AddAngleGradient(grad, atoms, angle, f);
  const auto h = angle.Curvature(f);
  AddCentred<2>(sink, {atoms[0], atoms[2]}, atoms[1], {{{h.uu, {}}, {h.vu, h.vv}}});
}

}  // namespace QZMolPotential
