// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>

#include "kernels/distance.h"
#include "mmff/arm.h"

namespace QZMolPotential {

/// Bond stretching of UFF: E = k/2 (r - r0)².
/// At r0: E = 0, gradient 0.
/// Source: Rappé et al., J. Am. Chem. Soc. 114, 10024 (1992).
struct UffStretch {
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
    const double delta = PointDistance(Arm(x, atoms[1], atoms[0])).r - p.r0;
    return 0.5 * p.k * delta * delta;
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const PointDistance d(Arm(x, atoms[1], atoms[0]));
    const double delta = d.r - p.r0;
    AddDistanceGradient(grad, atoms, d, p.k * delta);
    return 0.5 * p.k * delta * delta;
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const PointDistance d(Arm(x, atoms[1], atoms[0]));
    AddDistanceDerivatives(sink, grad, atoms, d, p.k * (d.r - p.r0), p.k);
  }
  /// The Hessian's positive part: the curvature along the bond.
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    AddDistanceDerivatives(
        sink, nullptr, atoms, PointDistance(Arm(x, atoms[1], atoms[0])), 0.0, p.k);
  }
};

}  // namespace QZMolPotential
