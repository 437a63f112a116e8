// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>

#include "mmff/out_of_plane.h"

namespace QZMolPotential {

/// Inversion of UFF, for each of the three bonds at a centre B the angle χ of the bond B-D above
/// the plane of A, B and C; atoms are A, B, C, D:
///   E = k (C0 + C1 cos χ + C2 cos 2χ)
/// In the plane: gradient 0. D above B along the plane's normal: E has a kink, the gradient is 0.
/// A, B and C in line: the plane is taken as any through them.
/// RDKit's energy has this form too, but its gradient the part of C2 with the other sign (centres
/// of phosphorus' group); ours is the energy's. Source: Rappé et al., J. Am. Chem. Soc. 114, 10024
/// (1992).
struct UffInversion {
  static constexpr std::size_t kAtoms = 4;
  static constexpr std::size_t kBonds = 0;
  static constexpr std::size_t kValues = 4;
  using Atoms = std::array<unsigned int, kAtoms>;
  struct Params {
    double k;  // kcal/mol
    double c0, c1, c2;
    std::array<double, kValues> Values() const { return {k, c0, c1, c2}; }
  };

  static double Energy(const Params& p, const double* x, const Atoms& atoms) {
    return Value(p, MmffOutOfPlane::At(x, atoms).Angle());
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const OutOfPlane angle = MmffOutOfPlane::At(x, atoms);
    const double chi = angle.Angle();
    const auto g = angle.Gradient(angle.Slopes(First(p, chi), Second(p, chi)));
    for (std::size_t k = 0; k < kAtoms; ++k) AddToAtom(grad, atoms[k], g[k]);
    return Value(p, chi);
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const OutOfPlane angle = MmffOutOfPlane::At(x, atoms);
    const double chi = angle.Angle();
    AddOutOfPlaneDerivatives(sink, grad, atoms, angle, First(p, chi), Second(p, chi));
  }
  /// The Hessian's positive part: the curvature along χ.
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    const OutOfPlane angle = MmffOutOfPlane::At(x, atoms);
    const double curvature = Second(p, angle.Angle());
    if (curvature > 0.0) {
      AddOutOfPlaneDerivatives(sink, nullptr, atoms, angle, AngleSlopes{0.0, curvature, 0.0});
    }
  }

 private:
  static double Value(const Params& p, double chi) {
    return p.k * (p.c0 + p.c1 * std::cos(chi) + p.c2 * std::cos(2.0 * chi));
  }
  static double First(const Params& p, double chi) {
    return -p.k * (p.c1 * std::sin(chi) + 2.0 * p.c2 * std::sin(2.0 * chi));
  }
  static double Second(const Params& p, double chi) {
    return -p.k * (p.c1 * std::cos(chi) + 4.0 * p.c2 * std::cos(2.0 * chi));
  }
};

}  // namespace QZMolPotential
