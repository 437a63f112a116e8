// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>

#include "constr/atoms.h"
#include "math/packed.h"
#include "math/vec3.h"

namespace QZConstr {

/// The distance of two atoms, and value and derivatives of k (r - target)² at it. Coincident atoms
/// divide by zero.
struct PairDistance {
  QZMolPotential::Vec3 delta;  // xa - xb
  double r;

  PairDistance(const double* x, const AtomIndices<2>& atoms)
      : delta(QZMolPotential::LoadAtom(x, atoms[0]) - QZMolPotential::LoadAtom(x, atoms[1])),
        r(QZMolPotential::Norm(delta)) {}

  double Square(double k, double target) const { return k * (r - target) * (r - target); }

  /// The derivative with respect to the first atom; that of the second is its opposite.
  QZMolPotential::Vec3 Slope(double k, double target) const {
    return (2.0 * k * (r - target) / r) * delta;
  }

  /// Adds the second derivatives: B into the diagonal blocks of the packed Hessian and -B between
  /// the atoms,  B = 2k [(1 - target/r) 1 + target/r³ Δ⊗Δ].
  void AddCurvature(double* hessian, const AtomIndices<2>& atoms, double k, double target) const {
    const double u = target / r;
    const double w = u / (r * r);
    const std::array<double, 3> d{delta.x, delta.y, delta.z};
    const auto [low, high] = std::minmax({std::size_t{3} * atoms[0], std::size_t{3} * atoms[1]});
    for (std::size_t i = 0; i < 3; ++i) {
      double* const lowRow = hessian + QZMolPotential::PackedIndex(low + i, low);
      double* const mixedRow = hessian + QZMolPotential::PackedIndex(high + i, low);
      double* const highRow = hessian + QZMolPotential::PackedIndex(high + i, high);
      for (std::size_t j = 0; j < 3; ++j) {
        const double b = 2.0 * k * (w * d[i] * d[j] + (i == j ? 1.0 - u : 0.0));
        mixedRow[j] -= b;
        if (j > i) continue;
        lowRow[j] += b;
        highRow[j] += b;
      }
    }
  }
};

/// Adds `slope` to the first atom's gradient and takes it from the second's.
inline void AddPairGradient(double* grad,
                            const AtomIndices<2>& atoms,
                            const QZMolPotential::Vec3& slope) {
  QZMolPotential::AddToAtom(grad, atoms[0], slope);
  QZMolPotential::AddToAtom(grad, atoms[1], -slope);
}

/// The warning's subject when a penalty's atoms are missing.
inline constexpr const char* kPenalisedDistance = "Distance to be constrained";

}  // namespace QZConstr
