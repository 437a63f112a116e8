// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cmath>

#include "constr/atoms.h"
#include "kernels/packed.h"
#include "kernels/vec3.h"

namespace QZConstr {

/// Adds `slope` to the first atom's gradient and takes it from the second's.
inline void AddOpposite(double* grad,
                        const AtomIndices<2>& atoms,
                        const QZMolPotential::Vec3& slope) {
  QZMolPotential::AddToAtom(grad, atoms[0], slope);
  QZMolPotential::AddToAtom(grad, atoms[1], -slope);
}

/// The distance of two atoms, and value and derivatives of k (r - target)² at it. Coincident atoms
/// divide by zero.
struct PairDistance {
  QZMolPotential::Vec3 delta;  // xa - xb
  double r2;
  double r;

  PairDistance(const double* x, const AtomIndices<2>& atoms)
      : delta(QZMolPotential::LoadAtom(x, atoms[0]) - QZMolPotential::LoadAtom(x, atoms[1])),
        r2(QZMolPotential::Dot(delta, delta)),
        r(std::sqrt(r2)) {}

  double Square(double k, double target) const { return k * (r - target) * (r - target); }

  /// Adds the gradient of both atoms and returns the value.
  double AddGradient(double* grad, const AtomIndices<2>& atoms, double k, double target) const {
    const double curvature = 2.0 * k;
    // 1/r as r · 1/r², since the reciprocal need not wait for the root.
    AddOpposite(grad, atoms, (curvature - r * (curvature * target * (1.0 / r2))) * delta);
    return Square(k, target);
  }

  /// Adds the second derivatives: B into the diagonal blocks of the packed Hessian and -B between
  /// the atoms,  B = 2k [(1 - target/r) 1 + target/r³ Δ⊗Δ].
  void AddCurvature(double* hessian, const AtomIndices<2>& atoms, double k, double target) const {
    const double perR2 = 1.0 / r2;
    const double curvature = 2.0 * k;
    const double u = curvature * target * (r * perR2);
    const double w = u * perR2;
    QZMolPotential::Mat3 block = QZMolPotential::Outer(w * delta, delta);
    block.row0.x += curvature - u;
    block.row1.y += curvature - u;
    block.row2.z += curvature - u;
    QZMolPotential::AddDiagonalBlock(hessian, atoms[0], block);
    QZMolPotential::AddDiagonalBlock(hessian, atoms[1], block);
    const auto [low, high] = std::minmax({atoms[0], atoms[1]});
    QZMolPotential::AddLowerBlock(hessian, high, low, -block);
  }
};

/// The warning's subject when a penalty's atoms are missing.
inline constexpr const char* kPenalisedDistance = "Distance to be constrained";

}  // namespace QZConstr
