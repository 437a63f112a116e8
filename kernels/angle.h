// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>

#include "kernels/sinks.h"

namespace QZMolPotential {

/// The angle in [0, π] between two vectors; 0 where one of them has no length.
inline double AngleBetween(const Vec3& u, const Vec3& v) {
  return std::atan2(Norm(Cross(u, v)), Dot(u, v));
}
/// The angle a-b-c, at b.
inline double AngleOf(const Vec3& a, const Vec3& b, const Vec3& c) {
  return AngleBetween(a - b, c - b);
}

/// Derivatives of a function over the two vectors u and v of an angle.
struct VectorGradients {
  Vec3 u;
  Vec3 v;
};
struct VectorCurvatures {
  Mat3 uu;
  Mat3 vu;  // rows over v, columns over u
  Mat3 vv;
};

/// The cosine c = û·v̂ of the angle between two vectors u and v, with what derivatives of any f(c)
/// need; regular for straight angles as well:
///   ∂c/∂u = (v̂ - c û)/|u|,
///   ∂²c/∂u∂u = -(û⊗∂c/∂u + ∂c/∂u⊗û + c (1 - û⊗û)/|u|)/|u|, and alike for v,
///   ∂²c/∂v∂u = ((1 - û⊗û)/|u| - v̂⊗∂c/∂u)/|v|.
/// A vector of zero length divides by zero.
struct VectorCosine {
  double perU, perV;  // 1/|u|, 1/|v|
  Vec3 unitU, unitV;
  double cosine;  // clamped to [-1, 1]

  VectorCosine(const Vec3& u, const Vec3& v)
      : perU(1.0 / Norm(u)),
        perV(1.0 / Norm(v)),
        unitU(perU * u),
        unitV(perV * v),
        cosine(std::clamp(Dot(unitU, unitV), -1.0, 1.0)) {}

  /// Of f(c) with slope f'.
  VectorGradients Gradient(double first) const {
    return {(first * perU) * (unitV - cosine * unitU), (first * perV) * (unitU - cosine * unitV)};
  }
  /// Of f(c) with slope f' and curvature f''.
  VectorCurvatures Curvature(double first, double second) const {
    const VectorGradients g = Gradient(1.0);
    return {square(perU, unitU, g.u, first, second),
            Identity(first * perU * perV) + Outer((-first * perU * perV) * unitU, unitU) +
                Outer(second * g.v - (first * perV) * unitV, g.u),
            square(perV, unitV, g.v, first, second)};
  }

 private:
  Mat3 square(double per, const Vec3& unit, const Vec3& g, double first, double second) const {
    const double isotropic = -first * cosine * per * per;
    return Identity(isotropic) + SymmetricOuter(g, 0.5 * second * g - (first * per) * unit) +
           Outer(-isotropic * unit, unit);
  }
};

/// How steep and curved a function f(θ) of an angle is: f', f'' and f'/sin θ.
struct AngleSlopes {
  double first = 0.0;
  double second = 0.0;
  double perSine = 0.0;
};

/// The angle θ in [0, π] between two vectors u and v, with what derivatives of any f(θ) need. With
/// n = û x v̂ / sin θ and the directions in which the ends of u and v move when θ grows,
/// p = û x n and q = n x v̂:
///   ∂θ/∂u = p/|u|       ∂²θ/∂u∂u = (cot θ n⊗n - û⊗p - p⊗û)/|u|²
///   ∂θ/∂v = q/|v|       ∂²θ/∂v∂v = (cot θ n⊗n - v̂⊗q - q⊗v̂)/|v|²
///                       ∂²θ/∂v∂u = -n⊗n / (sin θ |u||v|)
/// Straight (0 and π): θ has a kink. Its gradient is 0 there, and f(θ) has the second derivatives
/// of a function that is flat, f'' per squared bend in either direction across.
struct VectorAngle : VectorCosine {
  double sine;  // >= 0
  Vec3 normal;  // n; any unit vector across u where the two are in line
  bool straight;

  VectorAngle(const Vec3& u, const Vec3& v) : VectorCosine(u, v) {
    // sin θ below which u x v is little but rounding.
    constexpr double kStraight = 1e-10;
    normal = Cross(unitU, unitV);
    sine = Norm(normal);
    straight = sine < kStraight;
    normal = straight ? AnyPerpendicular(unitU) : (1.0 / sine) * normal;
  }

  double Angle() const { return std::atan2(sine, cosine); }

  /// The slopes of a function with f' and f''.
  AngleSlopes Slopes(double first, double second) const {
    // Flat in line, f' tends to f'' (θ - π) = -f'' sin θ at π and to f'' sin θ at 0.
    if (straight) return {0.0, second, cosine < 0.0 ? -second : second};
    return {first, second, first / sine};
  }
  VectorGradients Gradient(const AngleSlopes& f) const {
    return {(f.first * perU) * Cross(unitU, normal), (f.first * perV) * Cross(normal, unitV)};
  }
  VectorCurvatures Curvature(const AngleSlopes& f) const {
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

/// Adds derivatives over u = A - B and v = C - B to those of the atoms A, B, C.
inline void AddAngleGradient(double* grad,
                             const std::array<unsigned int, 3>& atoms,
                             const VectorGradients& g) {
  AddToAtom(grad, atoms[0], g.u);
  AddToAtom(grad, atoms[1], -g.u - g.v);
  AddToAtom(grad, atoms[2], g.v);
}
template <HessianSink Sink>
void AddAngleCurvature(Sink& sink,
                       const std::array<unsigned int, 3>& atoms,
                       const VectorCurvatures& h) {
  // B moves u and v together, backwards.
  const Mat3 uAll = h.uu + Transpose(h.vu);
  const Mat3 vAll = h.vu + h.vv;
  sink.Diagonal(atoms[0], h.uu);
  sink.Diagonal(atoms[1], uAll + vAll);
  sink.Diagonal(atoms[2], h.vv);
  sink.Mixed(atoms[0], atoms[1], -uAll);
  sink.Mixed(atoms[2], atoms[0], h.vu);
  sink.Mixed(atoms[2], atoms[1], -vAll);
}

/// Adds, for f(θ) of the angle A-B-C with f' and f'', f' ∇θ to a gradient, unless it is null, and
/// the second derivatives to `sink`.
template <HessianSink Sink>
void AddAngleDerivatives(Sink& sink,
                         double* grad,
                         const std::array<unsigned int, 3>& atoms,
                         const VectorAngle& angle,
                         double first,
                         double second) {
  const AngleSlopes slopes = angle.Slopes(first, second);
  if (grad != nullptr) AddAngleGradient(grad, atoms, angle.Gradient(slopes));
  AddAngleCurvature(sink, atoms, angle.Curvature(slopes));
}
/// The same for f(cos θ), with slope and curvature over the cosine.
template <HessianSink Sink>
void AddAngleCosineDerivatives(Sink& sink,
                               double* grad,
                               const std::array<unsigned int, 3>& atoms,
                               const VectorCosine& angle,
                               double first,
                               double second) {
  if (grad != nullptr) AddAngleGradient(grad, atoms, angle.Gradient(first));
  AddAngleCurvature(sink, atoms, angle.Curvature(first, second));
}

}  // namespace QZMolPotential
