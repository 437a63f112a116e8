// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "kernels/vec3.h"

namespace QZMolPotential {

/// Cosine of the dihedral P0-P1-P2-P3 from its bond vectors, and what its derivatives need:
///   a = P0 - P1, b = P2 - P1, c = P3 - P2, N = a x b, M = c x b, cos φ = N·M / (|N||M|).
struct DihedralCosine {
  Vec3 a, b, c;
  Vec3 normal;              // N
  Vec3 normal2;             // M
  double dot = 0.0;         // N·M
  double n2 = 0.0;          // |N|²
  double m2 = 0.0;          // |M|²
  double perN2M2 = 0.0;     // 1 / |N|²|M|²
  double product = 0.0;     // |N||M|
  double perProduct = 0.0;  // 1 / |N||M|
  double cosine = 1.0;      // clamped to [-1, 1]

  DihedralCosine(const Vec3& bondA, const Vec3& bondB, const Vec3& bondC)
      : a(bondA), b(bondB), c(bondC), normal(Cross(a, b)), normal2(Cross(c, b)) {
    dot = Dot(normal, normal2);
    n2 = Dot(normal, normal);
    m2 = Dot(normal2, normal2);
    // Independent of each other, so that the processor can compute the reciprocal and the root at
    // the same time.
    perN2M2 = 1.0 / (n2 * m2);
    product = std::sqrt(n2 * m2);
    perProduct = product * perN2M2;
    cosine = std::clamp(dot * perProduct, -1.0, 1.0);
  }
  DihedralCosine(const Vec3& p0, const Vec3& p1, const Vec3& p2, const Vec3& p3)
      : DihedralCosine(p0 - p1, p2 - p1, p3 - p2) {}

  /// Below this |N||M| (Å⁴) three of the atoms are in line and the angle means nothing. Written so
  /// that NaN is degenerate.
  static constexpr double kDegenerate = 1e-20;
  bool IsDegenerate() const { return !(product >= kDegenerate); }

  /// sin ψ of the signed angle ψ from a to c about b, |ψ| = φ: b·(N x M) / (|b||N||M|). Its
  /// relative error does not grow towards 0 and π; the shorter -|b| N·c / |N||M| would lose more
  /// digits where both bond angles are nearly straight.
  double Sine() const { return Dot(b, Cross(normal, normal2)) / Norm(b) * perProduct; }

  /// The same, but 0 when it is below the rounding error of the normals' directions, so that the
  /// dihedral of planar atoms is exactly 0 or π.
  double SineOrZero() const {
    constexpr double kRounding = 8.0 * std::numeric_limits<double>::epsilon();
    const double sine = Sine();
    const double noise =
        kRounding * Norm(b) * (Norm(a) * std::sqrt(m2) + Norm(c) * std::sqrt(n2)) / product;
    return std::abs(sine) <= noise ? 0.0 : sine;
  }

  /// dψ/da and dψ/dc; both are perpendicular to b. Turning all three vectors together changes
  /// nothing, hence dψ/db = -(a·b dψ/da + c·b dψ/dc) / |b|². Blondel and Karplus, J. Comput. Chem.
  /// 17, 1132 (1996).
  struct AngleBlocks {
    Vec3 a;
    Vec3 c;
    double alongA = 0.0;  // a·b / |b|²
    double alongC = 0.0;  // c·b / |b|²

    /// dψ/dP0 .. dψ/dP3; they sum to zero.
    std::array<Vec3, 4> Atoms() const {
      const Vec3 along = alongA * a + alongC * c;
      return {a, along - a, -along - c, c};
    }
  };
  AngleBlocks Angle() const { return Scaled(Norm(b)); }

  /// The gradient of cos φ = cos ψ with respect to P0, P1, P2, P3: -sin ψ dψ, in which |b| cancels;
  /// regular at 0 and π. The four blocks sum to zero.
  std::array<Vec3, 4> Gradient() const {
    return Scaled(-Dot(b, Cross(normal, normal2)) * perProduct).Atoms();
  }

  /// ψ itself in (-π, π], the IUPAC dihedral, as accurate at 0 and π as elsewhere; 0 where three
  /// atoms are in line, and π, not -π, for trans atoms whose sine is but rounding.
  double SignedAngle() const {
    // Ten roundings of π.
    constexpr double kTrans = -std::numbers::pi + 4e-15;
    // Adding zero turns the -0 of a vanishing normal into 0.
    const double angle = std::atan2(0.0 - Norm(b) * Dot(normal, c), dot + 0.0);
    return angle <= kTrans ? std::numbers::pi : angle;
  }

  /// The gradient of the signed angle itself; regular at every φ. The four blocks sum to zero.
  std::array<Vec3, 4> AngleGradient() const { return Angle().Atoms(); }

 private:
  /// The blocks of dψ times `scale` / |b|.
  AngleBlocks Scaled(double scale) const {
    const double perB2 = 1.0 / Dot(b, b);
    return {(scale * (perN2M2 * m2)) * normal,
            (-scale * (perN2M2 * n2)) * normal2,
            perB2 * Dot(a, b),
            perB2 * Dot(c, b)};
  }
};

}  // namespace QZMolPotential
