// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "kernels/angle.h"
#include "mmff/arm.h"

namespace QZMolPotential {

/// An angle θ away from 0 and π by its cosine: a third of the work of `VectorAngle`, and as
/// accurate while `IsBent`.
struct BentAngle : VectorCosine {
  using VectorCosine::VectorCosine;
  /// sin² θ below which digits of 1 - cos² θ are missed.
  static constexpr double kBent = 1e-4;

  double SineSquare() const { return 1.0 - cosine * cosine; }
  /// False for NaN too.
  bool IsBent() const { return SineSquare() > kBent; }
  double Angle() const { return std::acos(cosine); }
  /// Of f(θ) with slope f'.
  VectorGradients Gradient(double first) const {
    return VectorCosine::Gradient(-first / std::sqrt(SineSquare()));
  }
};

/// The angle of atoms A-B-C from its arms.
template <class Angle>
Angle AngleAt(const double* x, const std::array<unsigned int, 3>& atoms) {
  return Angle(Arm(x, atoms[1], atoms[0]), Arm(x, atoms[1], atoms[2]));
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
    const auto angle = AngleAt<BentAngle>(x, atoms);
    if (p.isLinear) return p.k * (1.0 + angle.cosine);
    return Value(p, angle.IsBent() ? angle.Angle() : AngleAt<VectorAngle>(x, atoms).Angle());
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const auto angle = AngleAt<BentAngle>(x, atoms);
    if (p.isLinear) {
      AddAngleGradient(grad, atoms, angle.VectorCosine::Gradient(p.k));
      return p.k * (1.0 + angle.cosine);
    }
    if (angle.IsBent()) {
      const double theta = angle.Angle();
      AddAngleGradient(grad, atoms, angle.Gradient(First(p, theta)));
      return Value(p, theta);
    }
    const auto inLine = AngleAt<VectorAngle>(x, atoms);
    const double theta = inLine.Angle();
    AddAngleGradient(
        grad, atoms, inLine.Gradient(inLine.Slopes(First(p, theta), Second(p, theta))));
    return Value(p, theta);
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    if (p.isLinear) {
      AddAngleCosineDerivatives(sink, grad, atoms, AngleAt<VectorCosine>(x, atoms), p.k, 0.0);
      return;
    }
    const auto angle = AngleAt<VectorAngle>(x, atoms);
    const double theta = angle.Angle();
    AddAngleDerivatives(sink, grad, atoms, angle, First(p, theta), Second(p, theta));
  }
  /// The Hessian's positive part: the curvature along θ, at a linear centre as of a straight angle.
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    auto angle = AngleAt<VectorAngle>(x, atoms);
    AngleSlopes slopes{0.0, std::max(0.0, Second(p, angle.Angle())), 0.0};
    if (p.isLinear) {
      slopes = {0.0, p.k, -p.k};
      angle.cosine = -1.0;
    }
    AddAngleCurvature(sink, atoms, angle.Curvature(slopes));
  }

  // Of θ at a centre that is not linear.
  static double Value(const Params& p, double theta) {
    const double d = theta - p.theta0;
    return 0.5 * p.k * d * d * (1.0 + kCubic * d);
  }
  static double First(const Params& p, double theta) {
    const double d = theta - p.theta0;
    return p.k * d * (1.0 + 1.5 * kCubic * d);
  }
  static double Second(const Params& p, double theta) {
    return p.k * (1.0 + 3.0 * kCubic * (theta - p.theta0));
  }
};

}  // namespace QZMolPotential
