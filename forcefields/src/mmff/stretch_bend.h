// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "mmff/bend.h"

namespace QZMolPotential {

/// Stretch-bend coupling of MMFF94 at the angle of atoms A-B-C; none at linear centres:
///   E = (k1 (r1 - r01) + k2 (r2 - r02)) (θ - θ0)     k = 143.9325 kba, kba in md/rad
/// with r1 the length of AB and r2 that of BC. Zero where the angle or both bonds are at rest.
/// Straight: θ has a kink, its gradient counts as 0.
/// Source: Halgren, J. Comput. Chem. 17, 490 (1996); k per degree is 2.51210 kba there, and here
/// the unrounded product with π/180.
struct MmffStretchBend {
  static constexpr std::size_t kAtoms = 3;
  static constexpr std::size_t kBonds = 2;
  static constexpr std::size_t kValues = 5;
  using Atoms = std::array<unsigned int, kAtoms>;
  struct Params {
    double r01, r02;  // Å
    double theta0;    // radians
    double k1, k2;    // kcal/mol/Å/rad
    std::array<double, kValues> Values() const { return {r01, r02, theta0, k1, k2}; }
  };

  static double Energy(const Params& p, const double* x, const Atoms& atoms) {
    const auto angle = AngleAt<BentAngle>(x, atoms);
    if (angle.IsBent()) return Stretched(p, angle) * (angle.Angle() - p.theta0);
    return Stretched(p, angle) * (AngleAt<VectorAngle>(x, atoms).Angle() - p.theta0);
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const auto angle = AngleAt<BentAngle>(x, atoms);
    const double stretched = Stretched(p, angle);
    double bent;
    VectorGradients g;
    if (angle.IsBent()) {
      bent = angle.Angle() - p.theta0;
      g = angle.Gradient(stretched);
    } else {
      const auto inLine = AngleAt<VectorAngle>(x, atoms);
      bent = inLine.Angle() - p.theta0;
      g = inLine.Gradient(inLine.Slopes(stretched, 0.0));
    }
    g.u += (bent * p.k1) * angle.unitU;
    g.v += (bent * p.k2) * angle.unitV;
    AddAngleGradient(grad, atoms, g);
    return stretched * bent;
  }
  /// H = S ∇²θ + Δθ ∇²S + ∇S ⊗ ∇θ + ∇θ ⊗ ∇S, S = k1 Δr1 + k2 Δr2, over the arms u and v.
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const auto angle = AngleAt<VectorAngle>(x, atoms);
    const double stretched = Stretched(p, angle);
    const double bent = angle.Angle() - p.theta0;
    const auto theta = angle.Gradient(angle.Slopes(1.0, 0.0));
    const Vec3 su = p.k1 * angle.unitU;
    const Vec3 sv = p.k2 * angle.unitV;
    if (grad != nullptr) {
      AddAngleGradient(
          grad, atoms, {stretched * theta.u + bent * su, stretched * theta.v + bent * sv});
    }
    auto h = angle.Curvature(angle.Slopes(stretched, 0.0));
    h.uu = h.uu + SymmetricOuter(su, theta.u) + along(angle.unitU, bent * p.k1 * angle.perU);
    h.vv = h.vv + SymmetricOuter(sv, theta.v) + along(angle.unitV, bent * p.k2 * angle.perV);
    h.vu = h.vu + Outer(sv, theta.u) + Outer(theta.v, su);
    AddAngleCurvature(sink, atoms, h);
  }
  /// A coupling has no positive part of its own.
  template <HessianSink Sink>
  static void Model(const Params&, const double*, const Atoms&, Sink&) {}

  /// S.
  static double Stretched(const Params& p, const VectorCosine& angle) {
    return p.k1 * (1.0 / angle.perU - p.r01) + p.k2 * (1.0 / angle.perV - p.r02);
  }

 private:
  // s (1 - û⊗û): the curvature of a length, times a slope over the length.
  static Mat3 along(const Vec3& unit, double s) { return Identity(s) - Outer(s * unit, unit); }
};

}  // namespace QZMolPotential
