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
    const VectorAngle angle = AngleAt(x, atoms);
    return Stretched(p, angle) * (angle.Angle() - p.theta0);
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const VectorAngle angle = AngleAt(x, atoms);
    const double stretched = Stretched(p, angle);
    const double bent = angle.Angle() - p.theta0;
    addGradient(grad, atoms, p, angle, stretched, bent);
    return stretched * bent;
  }
  /// H = S ∇²θ + Δθ ∇²S + ∇S ⊗ ∇θ + ∇θ ⊗ ∇S, S = k1 Δr1 + k2 Δr2, over the arms u and v.
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const VectorAngle angle = AngleAt(x, atoms);
    const double stretched = Stretched(p, angle);
    const double bent = angle.Angle() - p.theta0;
    if (grad != nullptr) addGradient(grad, atoms, p, angle, stretched, bent);
    auto h = angle.Curvature(angle.OfAngle(stretched, 0.0));
    const auto theta = angle.Gradient(angle.OfAngle(1.0, 0.0));
    const Vec3 su = p.k1 * angle.unitU;
    const Vec3 sv = p.k2 * angle.unitV;
    h.uu = h.uu + SymmetricOuter(su, theta.u) + along(angle.unitU, bent * p.k1 * angle.perU);
    h.vv = h.vv + SymmetricOuter(sv, theta.v) + along(angle.unitV, bent * p.k2 * angle.perV);
    h.vu = h.vu + Outer(sv, theta.u) + Outer(theta.v, su);
    AddCentred<2>(sink, {atoms[0], atoms[2]}, atoms[1], {{{h.uu, {}}, {h.vu, h.vv}}});
  }
  /// A coupling has no positive part of its own.
  template <HessianSink Sink>
  static void Model(const Params&, const double*, const Atoms&, Sink&) {}

 private:
  static double Stretched(const Params& p, const VectorAngle& angle) {
    return p.k1 * (1.0 / angle.perU - p.r01) + p.k2 * (1.0 / angle.perV - p.r02);
  }
  static void addGradient(double* grad,
                          const Atoms& atoms,
                          const Params& p,
                          const VectorAngle& angle,
                          double stretched,
                          double bent) {
    const auto bend = angle.Gradient(angle.OfAngle(stretched, 0.0));
    const Vec3 gu = bend.u + (bent * p.k1) * angle.unitU;
    const Vec3 gv = bend.v + (bent * p.k2) * angle.unitV;
    AddToAtom(grad, atoms[0], gu);
    AddToAtom(grad, atoms[1], -gu - gv);
    AddToAtom(grad, atoms[2], gv);
  }
  // s (1 - û⊗û): the curvature of a length, times a slope over the length.
  static Mat3 along(const Vec3& unit, double s) { return Identity(s) - Outer(s * unit, unit); }
};

}  // namespace QZMolPotential
