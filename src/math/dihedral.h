// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "math/vec3.h"

namespace QZMolPotential {

/// Cosine of the dihedral P0-P1-P2-P3 from its bond vectors, and what its derivatives need:
///   a = P0 - P1, b = P2 - P1, c = P3 - P2, N = a x b, M = c x b, cos φ = N·M / (|N||M|).
struct DihedralCosine {
  Vec3 a, b, c;
  Vec3 normal;           // N
  Vec3 normal2;          // M
  double dot = 0.0;      // N·M
  double n2 = 0.0;       // |N|²
  double m2 = 0.0;       // |M|²
  double product = 0.0;  // |N||M|
  double cosine = 1.0;   // clamped to [-1, 1]

  DihedralCosine(const Vec3& p0, const Vec3& p1, const Vec3& p2, const Vec3& p3)
      : a(p0 - p1), b(p2 - p1), c(p3 - p2), normal(Cross(a, b)), normal2(Cross(c, b)) {
    dot = Dot(normal, normal2);
    n2 = Dot(normal, normal);
    m2 = Dot(normal2, normal2);
    product = std::sqrt(n2 * m2);
    cosine = std::clamp(dot / product, -1.0, 1.0);
  }

  /// Below this |N||M| (Å⁴) three of the atoms are in line and the angle means nothing. Written so
  /// that NaN is degenerate.
  static constexpr double kDegenerate = 1e-20;
  bool IsDegenerate() const { return !(product >= kDegenerate); }

  /// The gradient with respect to P0, P1, P2, P3; regular at 0 and π, since it has no sin φ. The
  /// four blocks sum to zero.
  std::array<Vec3, 4> Gradient() const {
    const double inverse = 1.0 / product;
    const double overN = cosine / n2;
    const double overM = cosine / m2;
    // d cos = dN·(M/|N||M| - cos N/|N|²) + dM·(N/|N||M| - cos M/|M|²)
    const Vec3 dN = inverse * normal2 - overN * normal;
    const Vec3 dM = inverse * normal - overM * normal2;
    const Vec3 da = Cross(b, dN);
    const Vec3 dc = Cross(b, dM);
    const Vec3 db = Cross(dN, a) + Cross(dM, c);
    return {da, -da - db, db - dc, dc};
  }

  /// sin φ, with the sign of φ. Exact to rounding near 0 and π, where 1 - cos² φ has no digits; 0
  /// where it does not rise above the rounding of the normals' directions.
  double Sine() const {
    constexpr double kRounding = 8.0 * std::numeric_limits<double>::epsilon();
    const double length = Norm(b);
    const double sine = Dot(Cross(normal, normal2), b) / (length * product);
    const double noise =
        kRounding * length * (Norm(a) * std::sqrt(m2) + Norm(c) * std::sqrt(n2)) / product;
    return std::abs(sine) <= noise ? 0.0 : sine;
  }

  /// The gradient of the signed angle φ itself; regular at every φ. The four blocks sum to zero.
  /// Source: Blondel & Karplus, J. Comput. Chem. 17, 1132 (1996), eq. 27.
  std::array<Vec3, 4> AngleGradient() const {
    const double length = Norm(b);
    const Vec3 n = (1.0 / n2) * normal;
    const Vec3 m = (1.0 / m2) * normal2;
    const Vec3 shared = (Dot(a, b) / length) * n - (Dot(c, b) / length) * m;
    const Vec3 first = length * n;
    const Vec3 last = -length * m;
    return {first, shared - first, -shared - last, last};
  }
};

}  // namespace QZMolPotential
