// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>

#include "kernels/distance.h"
#include "mmff/arm.h"

namespace QZMolPotential {

/// Bond stretching of MMFF94, quartic in Δ = r - r0 (Å):
///   E = k/2 Δ² (1 - 2Δ + 7/12·4 Δ²)      k = 143.9325 kb, kb in md/Å
/// At r0: E = 0, gradient 0.
/// Source: Halgren, J. Comput. Chem. 17, 490 (1996).
struct MmffStretch {
  static constexpr std::size_t kAtoms = 2;
  static constexpr std::size_t kBonds = 1;
  static constexpr std::size_t kValues = 2;
  using Atoms = std::array<unsigned int, kAtoms>;
  struct Params {
    double r0;  // Å
    double k;   // kcal/mol/Å²
    std::array<double, kValues> Values() const { return {r0, k}; }
  };

  static double Energy(const Params& p, const double* x, const Atoms& atoms) {
    return Value(p, PointDistance(Arm(x, atoms[1], atoms[0])).r - p.r0);
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const PointDistance d(Arm(x, atoms[1], atoms[0]));
    const double delta = d.r - p.r0;
    AddDistanceGradient(grad, atoms, d, First(p, delta));
    return Value(p, delta);
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const PointDistance d(Arm(x, atoms[1], atoms[0]));
    const double delta = d.r - p.r0;
    AddDistanceDerivatives(sink, grad, atoms, d, First(p, delta), Second(p, delta));
  }
  /// The Hessian's positive part: the curvature along the bond.
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    const PointDistance d(Arm(x, atoms[1], atoms[0]));
    const double curvature = std::max(0.0, Second(p, d.r - p.r0));
    AddDistanceDerivatives(sink, nullptr, atoms, d, 0.0, curvature);
  }

 private:
  static double Value(const Params& p, double d) {
    return 0.5 * p.k * d * d * (1.0 - 2.0 * d + 7.0 / 3.0 * d * d);
  }
  static double First(const Params& p, double d) {
    return p.k * d * (1.0 - 3.0 * d + 14.0 / 3.0 * d * d);
  }
  static double Second(const Params& p, double d) { return p.k * (1.0 - 6.0 * d + 14.0 * d * d); }
};

}  // namespace QZMolPotential
