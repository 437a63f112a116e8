// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "kernels/out_of_plane.h"
#include "mmff/bend.h"

namespace QZMolPotential {

/// Out-of-plane bending of MMFF94, for each of the three bonds at a trigonal centre B the angle χ
/// of the bond B-D above the plane of A, B and C; atoms are A, B, C, D:
///   E = k/2 χ²      k = 143.9325 koop, koop in md·Å/rad²
/// In the plane: E = 0, gradient 0. A, B and C in line: the plane is taken as any through them.
/// Source: Halgren, J. Comput. Chem. 17, 490 (1996).
struct MmffOutOfPlane {
  static constexpr std::size_t kAtoms = 4;
  static constexpr std::size_t kBonds = 0;
  static constexpr std::size_t kValues = 1;
  using Atoms = std::array<unsigned int, kAtoms>;
  struct Params {
    double k;  // kcal/mol/rad²
    std::array<double, kValues> Values() const { return {k}; }
  };

  static double Energy(const Params& p, const double* x, const Atoms& atoms) {
    const Arms arms(x, atoms);
    const BentAngle angle(arms.normal, arms.e);
    const double chi = angle.IsBent() ? std::asin(angle.cosine) : At(x, atoms).Angle();
    return 0.5 * p.k * chi * chi;
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const Arms arms(x, atoms);
    const BentAngle angle(arms.normal, arms.e);
    if (!angle.IsBent()) {
      const OutOfPlane upright = At(x, atoms);
      const double chi = upright.Angle();
      const auto g = upright.Gradient(upright.Slopes(p.k * chi, p.k));
      for (std::size_t k = 0; k < kAtoms; ++k) AddToAtom(grad, atoms[k], g[k]);
      return 0.5 * p.k * chi * chi;
    }
    // χ is π/2 less the angle to the normal p x q, whose change with p and q is dp x q + p x dq.
    const double chi = std::asin(angle.cosine);
    const VectorGradients g = angle.Gradient(-p.k * chi);
    const Vec3 ga = Cross(arms.q, g.u);
    const Vec3 gc = Cross(g.u, arms.p);
    AddToAtom(grad, atoms[0], ga);
    AddToAtom(grad, atoms[1], -ga - gc - g.v);
    AddToAtom(grad, atoms[2], gc);
    AddToAtom(grad, atoms[3], g.v);
    return 0.5 * p.k * chi * chi;
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const OutOfPlane angle = At(x, atoms);
    AddOutOfPlaneDerivatives(sink, grad, atoms, angle, p.k * angle.Angle(), p.k);
  }
  /// The positive part: the curvature along χ; some constants are negative.
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    AddOutOfPlaneDerivatives(
        sink, nullptr, atoms, At(x, atoms), AngleSlopes{0.0, std::max(0.0, p.k), 0.0});
  }

  /// The angle at `x`; without a plane of A, B and C that of a plane through them.
  static OutOfPlane At(const double* x, const Atoms& atoms) {
    const OutOfPlane angle(
        LoadAtom(x, atoms[0]), LoadAtom(x, atoms[1]), LoadAtom(x, atoms[2]), LoadAtom(x, atoms[3]));
    if (std::isfinite(angle.toNormal.perU * angle.toNormal.perV)) return angle;
    return Regular(x, atoms);
  }

 private:
  struct Arms {
    Arms(const double* x, const Atoms& atoms)
        : b(LoadAtom(x, atoms[1])),
          p(LoadAtom(x, atoms[0]) - b),
          q(LoadAtom(x, atoms[2]) - b),
          e(LoadAtom(x, atoms[3]) - b),
          normal(Cross(p, q)) {}
    Vec3 b, p, q, e, normal;
  };
  // Where atoms stand in line or in one place, as if C or D stood a little aside.
  static OutOfPlane Regular(const double* x, const Atoms& atoms) {
    const Vec3 b = LoadAtom(x, atoms[1]);
    const Vec3 p = Arm(x, atoms[1], atoms[0]);
    Vec3 q = Arm(x, atoms[1], atoms[2]);
    const Vec3 normal = Cross(p, q);
    if (Dot(normal, normal) == 0.0) q += 1e-8 * AnyPerpendicular(p);
    return {b + p, b, b + q, b + Arm(x, atoms[1], atoms[3])};
  }
};

}  // namespace QZMolPotential
