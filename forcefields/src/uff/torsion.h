// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>

#include "kernels/dihedral_hessian.h"
#include "mmff/torsion.h"

namespace QZMolPotential {

/// Torsion of UFF about the bond B-C of atoms A-B-C-D:
///   E = V/2 (1 - cos nφ0 cos nφ)      n = 2, 3 or 6, cos nφ0 = 1 or -1
/// evaluated in c = cos φ alone, so that 0 and π are regular points. Three atoms in line: φ counts
/// as 0 and derivatives are 0.
/// Source: Rappé et al., J. Am. Chem. Soc. 114, 10024 (1992).
struct UffTorsion {
  static constexpr std::size_t kAtoms = 4;
  static constexpr std::size_t kBonds = 0;
  static constexpr std::size_t kValues = 3;
  using Atoms = std::array<unsigned int, kAtoms>;
  struct Params {
    double v;  // kcal/mol
    unsigned int order;
    double cosine;  // cos nφ0
    std::array<double, kValues> Values() const { return {v, static_cast<double>(order), cosine}; }
  };

  static double Energy(const Params& p, const double* x, const Atoms& atoms) {
    const DihedralCosine d = DihedralAt(x, atoms);
    return At(p, IsFlat(d) ? 1.0 : d.cosine).energy;
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const DihedralCosine d = DihedralAt(x, atoms);
    if (IsFlat(d)) return At(p, 1.0).energy;
    const Series e = At(p, d.cosine);
    const auto g = d.Gradient();
    for (std::size_t k = 0; k < kAtoms; ++k) AddToAtom(grad, atoms[k], e.first * g[k]);
    return e.energy;
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const DihedralCosine d = DihedralAt(x, atoms);
    if (IsFlat(d)) return;
    const Series e = At(p, d.cosine);
    AddDihedralCosineDerivatives<false>(sink, grad, atoms, d, e.first, e.second);
  }
  /// The Hessian's positive part: the curvature along φ where it is positive.
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    const DihedralCosine d = DihedralAt(x, atoms);
    if (IsFlat(d)) return;
    const double c = d.cosine;
    const Series e = At(p, c);
    const double curvature = e.second * (1.0 - c * c) - e.first * c;
    if (curvature > 0.0) AddOuterProducts(sink, atoms, d.AngleGradient(), curvature);
  }

 private:
  struct Series {
    double energy;
    double first;  // by c
    double second;
  };
  static Series At(const Params& p, double c) {
    const double half = 0.5 * p.v;
    const double scale = -half * p.cosine;
    const double c2 = c * c;
    switch (p.order) {
      case 2:  // cos 2φ = 2c² - 1
        return {half + scale * (2.0 * c2 - 1.0), scale * 4.0 * c, scale * 4.0};
      case 3:  // cos 3φ = 4c³ - 3c
        return {half + scale * c * (4.0 * c2 - 3.0), scale * (12.0 * c2 - 3.0), scale * 24.0 * c};
      default:  // cos 6φ = 32c⁶ - 48c⁴ + 18c² - 1
        return {half + scale * (c2 * (c2 * (32.0 * c2 - 48.0) + 18.0) - 1.0),
                scale * c * (c2 * (192.0 * c2 - 192.0) + 36.0),
                scale * (c2 * (960.0 * c2 - 576.0) + 36.0)};
    }
  }
};

}  // namespace QZMolPotential
