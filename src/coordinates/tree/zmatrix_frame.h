// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>

#include "kernels/vec3.h"

namespace QZMolPotential {

/// The axes in which an atom is placed from its partners b, a, d at distance r, angle θ to a and
/// dihedral φ to d:
///   p = b + r (-cos θ e + sin θ (cos φ m + sin φ n))
/// e = (b - a)/L, n = (a - d) x e / h, m = n x e; e, m, n are right-handed. m points from a towards
/// d. With a, b, d in line n is any perpendicular of e and does not follow d.
struct ZmatFrame {
  Vec3 e, m, n;
  double length = 0.0;  // L = |b - a|
  double height = 0.0;  // h, the distance of d from the line a-b; 0: in line
  double along = 0.0;   // (d - a)·e

  ZmatFrame(const Vec3& b, const Vec3& a, const Vec3& d) {
    const Vec3 ab = b - a;
    length = Norm(ab);
    e = length > 0.0 ? (1.0 / length) * ab : Vec3{1.0, 0.0, 0.0};
    const Vec3 normal = Cross(a - d, e);
    height = Norm(normal);
    along = Dot(d - a, e);
    // A line in floating point: the normal is rounding noise of the distance.
    if (!(height > 1e-12 * (1.0 + std::abs(along)))) {
      height = 0.0;
      n = anyPerpendicular();
    } else {
      n = (1.0 / height) * normal;
    }
    m = Cross(n, e);
  }

  Vec3 Direction(double theta, double phi) const {
    const double s = std::sin(theta);
    return -std::cos(theta) * e + (s * std::cos(phi)) * m + (s * std::sin(phi)) * n;
  }
  /// The derivative of `Direction` with respect to θ; that with respect to φ is e x Direction.
  Vec3 ThetaDerivative(double theta, double phi) const {
    const double c = std::cos(theta);
    return std::sin(theta) * e + (c * std::cos(phi)) * m + (c * std::sin(phi)) * n;
  }

 private:
  Vec3 anyPerpendicular() const {
    const Vec3 other = std::abs(e.x) < 0.7 ? Vec3{1.0, 0.0, 0.0} : Vec3{0.0, 1.0, 0.0};
    const Vec3 normal = Cross(e, other);
    return (1.0 / Norm(normal)) * normal;
  }
};

}  // namespace QZMolPotential
