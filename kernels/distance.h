// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cmath>

#include "kernels/sinks.h"

namespace QZMolPotential {

/// The distance r of two points from Δ = P0 - P1, with what derivatives of any f(r) need:
///   ∇r = ±Δ/r,   ∇²f = f'/r 1 + (f'' - f'/r) Δ⊗Δ/r²  on each point, minus that between them.
/// Coincident points divide by zero.
struct PointDistance {
  Vec3 delta;
  double r2;
  double r;

  explicit PointDistance(const Vec3& d) : delta(d), r2(Dot(d, d)), r(std::sqrt(r2)) {}
  PointDistance(const Vec3& p0, const Vec3& p1) : PointDistance(p0 - p1) {}

  /// ∇f with respect to P0, for slope f'; that for P1 is the opposite. 1/r is computed as r · 1/r²,
  /// so that the processor can compute the reciprocal and the root at the same time.
  Vec3 Slope(double first) const { return (first * (r * (1.0 / r2))) * delta; }
  /// ∇²f with respect to P0, for slope f' and curvature f''.
  Mat3 Curvature(double first, double second) const {
    // Ordered so that few operations depend on the slope, which is known last.
    const double perR2 = 1.0 / r2;
    const double perR = r * perR2;
    const double along = second * perR2 - first * (perR * perR2);
    return Outer(along * delta, delta) + Identity(first * perR);
  }
};

/// Adds f' ∇r to a gradient.
inline void AddDistanceGradient(double* grad,
                                const std::array<unsigned int, 2>& atoms,
                                const PointDistance& d,
                                double first) {
  const Vec3 slope = d.Slope(first);
  AddToAtom(grad, atoms[0], slope);
  AddToAtom(grad, atoms[1], -slope);
}

/// Adds to a gradient f' ∇r, unless it is null, and to `sink` the second derivatives of f(r), of
/// the distance of atoms[0] and atoms[1].
template <HessianSink Sink>
void AddDistanceDerivatives(Sink& sink,
                            double* grad,
                            const std::array<unsigned int, 2>& atoms,
                            const PointDistance& d,
                            double first,
                            double second) {
  const Mat3 block = d.Curvature(first, second);
  sink.Diagonal(atoms[0], block);
  sink.Diagonal(atoms[1], block);
  // The block is symmetric, so that the order of the atoms does not matter; in this order the sink
  // need not transpose it.
  const auto [low, high] = std::minmax({atoms[0], atoms[1]});
  sink.Mixed(high, low, -block);
  if (grad != nullptr) AddDistanceGradient(grad, atoms, d, first);
}

}  // namespace QZMolPotential
