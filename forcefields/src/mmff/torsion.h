// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>

#include "kernels/dihedral_hessian.h"
#include "mmff/arm.h"

namespace QZMolPotential {

/// The dihedral of atoms A-B-C-D.
inline DihedralCosine DihedralAt(const double* x, const std::array<unsigned int, 4>& atoms) {
  return {
      LoadAtom(x, atoms[0]), LoadAtom(x, atoms[1]), LoadAtom(x, atoms[2]), LoadAtom(x, atoms[3])};
}
/// Three atoms in line, so that the dihedral means nothing; NaN passes on to the energy.
inline bool IsFlat(const DihedralCosine& d) {
  return d.product < DihedralCosine::kDegenerate;
}

/// Torsion of MMFF94 about the bond B-C of atoms A-B-C-D, three-fold in φ:
///   E = 1/2 (V1 (1 + cos φ) + V2 (1 - cos 2φ) + V3 (1 + cos 3φ))
/// evaluated in c = cos φ alone, so that 0 and π are regular points. Three atoms in line: φ counts
/// as 0 and derivatives are 0.
/// Source: Halgren, J. Comput. Chem. 17, 490 (1996); MMFF94s has constants of its own (20, 720
/// (1999)).
struct MmffTorsion {
  static constexpr std::size_t kAtoms = 4;
  static constexpr std::size_t kBonds = 0;
  static constexpr std::size_t kValues = 3;
  using Atoms = std::array<unsigned int, kAtoms>;
  struct Params {
    double v1, v2, v3;  // kcal/mol
    std::array<double, kValues> Values() const { return {v1, v2, v3}; }
  };

  static double Energy(const Params& p, const double* x, const Atoms& atoms) {
    const DihedralCosine d = DihedralAt(x, atoms);
    return Value(p, IsFlat(d) ? 1.0 : d.cosine);
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const DihedralCosine d = DihedralAt(x, atoms);
    if (IsFlat(d)) return Value(p, 1.0);
    const double slope = First(p, d.cosine);
    const auto g = d.Gradient();
    for (std::size_t k = 0; k < kAtoms; ++k) AddToAtom(grad, atoms[k], slope * g[k]);
    return Value(p, d.cosine);
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    const DihedralCosine d = DihedralAt(x, atoms);
    if (IsFlat(d)) return;
    const double c = d.cosine;
    AddDihedralCosineDerivatives<false>(sink, grad, atoms, d, First(p, c), Second(p, c));
  }
  /// The Hessian's positive part: the curvature along φ where it is positive.
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    const DihedralCosine d = DihedralAt(x, atoms);
    if (IsFlat(d)) return;
    const double c = d.cosine;
    const double curvature = Second(p, c) * (1.0 - c * c) - First(p, c) * c;
    if (curvature > 0.0) AddOuterProducts(sink, atoms, d.AngleGradient(), curvature);
  }

 private:
  // cos 2φ = 2c² - 1 and cos 3φ = 4c³ - 3c.
  static double Value(const Params& p, double c) {
    return 0.5 * (p.v1 * (1.0 + c) + p.v3) + p.v2 * (1.0 - c * c) + p.v3 * c * (2.0 * c * c - 1.5);
  }
  static double First(const Params& p, double c) {
    return 0.5 * p.v1 - 2.0 * p.v2 * c + p.v3 * (6.0 * c * c - 1.5);
  }
  static double Second(const Params& p, double c) { return -2.0 * p.v2 + 12.0 * p.v3 * c; }
};

}  // namespace QZMolPotential
