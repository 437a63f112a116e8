// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>

#include "kernels/angle.h"
#include "mmff/arm.h"

namespace QZMolPotential {

/// Angle bending of UFF, a short Fourier series in θ and so a polynomial in c = cos θ:
///   order 0:       E = k (C0 + C1 cos θ + C2 cos 2θ), its minimum at the centre's own angle
///   order n = 1:   E = k (1 + cos θ)             linear
///   order n > 1:   E = k (1 - cos nθ) / n²       trigonal 3, square and octahedral 4; the axial
///                                                pair of a trigonal bipyramid 2, its equator 3
/// E is regular in c, straight angles included: gradient 0 there, the Hessian that of the formula.
/// RDKit's gradient divides by a sine of at least 1e-8 instead, which is the same but at the very
/// point; nothing is added against angles that close.
/// Source: Rappé et al., J. Am. Chem. Soc. 114, 10024 (1992).
struct UffBend {
  static constexpr std::size_t kAtoms = 3;
  static constexpr std::size_t kBonds = 2;
  static constexpr std::size_t kValues = 5;
  using Atoms = std::array<unsigned int, kAtoms>;
  struct Params {
    double k;  // kcal/mol
    unsigned int order;
    double c0, c1, c2;                 // order 0
    std::array<double, 5> polynomial;  // E = sum of polynomial[i] c^i

    static Params Make(double k, unsigned int order, double c0, double c1, double c2);
    std::array<double, kValues> Values() const {
      return {k, static_cast<double>(order), c0, c1, c2};
    }
  };

  static double Energy(const Params& p, const double* x, const Atoms& atoms) {
    return At(p, CosineAt(x, atoms).cosine).energy;
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const VectorCosine angle = CosineAt(x, atoms);
    const Series e = At(p, angle.cosine);
    AddAngleGradient(grad, atoms, angle.Gradient(e.first));
    return e.energy;
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const VectorCosine angle = CosineAt(x, atoms);
    const Series e = At(p, angle.cosine);
    AddAngleCosineDerivatives(sink, grad, atoms, angle, e.first, e.second);
  }
  /// The Hessian's positive part: the curvature along θ.
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    const VectorAngle angle(Arm(x, atoms[1], atoms[0]), Arm(x, atoms[1], atoms[2]));
    const double c = angle.cosine;
    const Series e = At(p, c);
    const double curvature = e.second * (1.0 - c * c) - e.first * c;
    if (curvature <= 0.0) return;
    // A straight angle is stiff in both directions.
    const double perSine = !angle.straight ? 0.0 : c < 0.0 ? -curvature : curvature;
    AddAngleCurvature(sink, atoms, angle.Curvature({0.0, curvature, perSine}));
  }

 private:
  struct Series {
    double energy;
    double first;  // by c
    double second;
  };
  static VectorCosine CosineAt(const double* x, const Atoms& atoms) {
    return {Arm(x, atoms[1], atoms[0]), Arm(x, atoms[1], atoms[2])};
  }
  static Series At(const Params& p, double c) {
    const auto& a = p.polynomial;
    return {a[0] + c * (a[1] + c * (a[2] + c * (a[3] + c * a[4]))),
            a[1] + c * (2.0 * a[2] + c * (3.0 * a[3] + c * 4.0 * a[4])),
            2.0 * a[2] + c * (6.0 * a[3] + c * 12.0 * a[4])};
  }
};

inline UffBend::Params UffBend::Params::Make(
    double k, unsigned int order, double c0, double c1, double c2) {
  Params p{k, order, c0, c1, c2, {}};
  // cos 2θ = 2c² - 1, cos 3θ = 4c³ - 3c, cos 4θ = 8c⁴ - 8c² + 1
  switch (order) {
    case 0:
      p.polynomial = {c0 - c2, c1, 2.0 * c2, 0.0, 0.0};
      break;
    case 1:
      p.polynomial = {1.0, 1.0, 0.0, 0.0, 0.0};
      break;
    case 2:
      p.polynomial = {0.5, 0.0, -0.5, 0.0, 0.0};
      break;
    case 3:
      p.polynomial = {1.0 / 9.0, 3.0 / 9.0, 0.0, -4.0 / 9.0, 0.0};
      break;
    default:
      p.polynomial = {0.0, 0.0, 0.5, 0.0, -0.5};
      break;
  }
  for (double& value : p.polynomial) value *= k;
  return p;
}

}  // namespace QZMolPotential
