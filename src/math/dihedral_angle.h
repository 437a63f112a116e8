// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>

#include "math/vec3.h"

namespace QZMolPotential {

/// The signed dihedral P0-P1-P2-P3 in (-π, π], IUPAC sign, through the arc tangent: as accurate at
/// 0 and π as elsewhere.
///   a = P0 - P1, b = P2 - P1, c = P3 - P2, N = a x b, M = c x b
///   φ = atan2((N x M)·b / |b|, N·M)
/// Source: Blondel and Karplus, J. Comput. Chem. 17, 1132 (1996), eqs. 7 to 9 and 27.
struct DihedralAngle {
  Vec3 a, b, c;
  Vec3 normal;   // N
  Vec3 normal2;  // M
  double value;  // 0 where three atoms are in line

  DihedralAngle(const Vec3& p0, const Vec3& p1, const Vec3& p2, const Vec3& p3)
      : a(p0 - p1), b(p2 - p1), c(p3 - p2), normal(Cross(a, b)), normal2(Cross(c, b)), value(0.0) {
    // (N x M)·b = |b|² a·M, since N x M = (a x b) x M and M is perpendicular to b.
    value = std::atan2(Norm(b) * Dot(a, normal2), Dot(normal, normal2));
  }

  /// The gradient with respect to P0, P1, P2, P3. Not finite where three atoms are in line.
  std::array<Vec3, 4> Gradient() const {
    const double length = Norm(b);
    const double n2 = Dot(normal, normal);
    const double m2 = Dot(normal2, normal2);
    const Vec3 g0 = (length / n2) * normal;
    const Vec3 g3 = (-length / m2) * normal2;
    const Vec3 along = (Dot(a, b) / (n2 * length)) * normal - (Dot(c, b) / (m2 * length)) * normal2;
    return {g0, along - g0, -along - g3, g3};
  }
};

}  // namespace QZMolPotential
