// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <numbers>

#include "kernels/angle.h"
#include "mmff/arm.h"

namespace QZMolPotential {

/// The angle of atoms A-B-C from its arms.
inline VectorAngle AngleAt(const double* x, const std::array<unsigned int, 3>& atoms) {
  return {Arm(x, atoms[1], atoms[0]), Arm(x, atoms[1], atoms[2])};
}

/// Angle bending of MMFF94, cubic in Δ = θ - θ0, or a cosine at linear centres:
///   E = k/2 Δ² (1 + c Δ)      k = 143.9325 ka, c = -0.006981317 per degree; Δ in radians
///   E = k (1 + cos θ)         linear centre
/// Straight: at a linear centre E = 0 is a regular minimum; elsewhere E has a kink there, the
/// gradient is 0 and the Hessian that of a flat function.
/// Source: Halgren, J. Comput. Chem. 17, 490 (1996); the digits of c (0.007 there) are RDKit's.
struct MmffBend {
  static constexpr std::size_t kAtoms = 3;
  static constexpr std::size_t kBonds = 2;
  static constexpr std::size_t kValues = 3;
  using Atoms = std::array<unsigned int, kAtoms>;
  struct Params {
    double theta0;  // radians
    double k;       // kcal/mol/rad², at a linear centre kcal/mol
    bool isLinear;
    std::array<double, kValues> Values() const { return {theta0, k, isLinear ? 1.0 : 0.0}; }
  };
  static constexpr double kCubic = -0.006981317 * 180.0 / std::numbers::pi;

  static double Energy(const Params& p, const double* x, const Atoms& atoms) {
    return Value(p, AngleAt(x, atoms));
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const VectorAngle angle = AngleAt(x, atoms);
    AddAngleGradient(grad, atoms, angle, Slopes(p, angle));
    return Value(p, angle);
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const VectorAngle angle = AngleAt(x, atoms);
    AddAngleDerivatives(sink, grad, atoms, angle, Slopes(p, angle));
  }
  /// The Hessian's positive part: the curvature along θ, at a linear centre as of a straight angle.
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    VectorAngle angle = AngleAt(x, atoms);
    AngleSlopes slopes{0.0, std::max(0.0, Slopes(p, angle).second), 0.0};
    if (p.isLinear) {
      slopes = {0.0, p.k, -p.k};
      angle.cosine = -1.0;
    }
    AddAngleDerivatives(sink, nullptr, atoms, angle, slopes);
  }

 private:
  static double Value(const Params& p, const VectorAngle& angle) {
    if (p.isLinear) return p.k * (1.0 + angle.cosine);
    const double d = angle.Angle() - p.theta0;
    return 0.5 * p.k * d * d * (1.0 + kCubic * d);
  }
  static AngleSlopes Slopes(const Params& p, const VectorAngle& angle) {
    if (p.isLinear) return angle.OfCosine(p.k, 0.0);
    const double d = angle.Angle() - p.theta0;
    return angle.OfAngle(p.k * d * (1.0 + 1.5 * kCubic * d), p.k * (1.0 + 3.0 * kCubic * d));
  }
};

}  // namespace QZMolPotential
