// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "kernels/mat3.h"

namespace QZMolPotential {

/// Sums over the atoms that rigid motions carry together, y being an atom's place relative to an
/// origin and g its gradient. The derivatives of an energy along turns (rotation vectors ω, about
/// axes through the origin) then cost one product a turn, whatever the number of atoms:
///   ∂E/∂a = ω_a · Torque();   Σ g · ∂²x/∂a∂b = ω_b · Curl(ω_a), where turn b carries a, or b = a
struct AtomMoments {
  Mat3 moment{};  // Σ y ⊗ g
  Vec3 force{};   // Σ g

  void Add(const Vec3& y, const Vec3& g) {
    moment = moment + Outer(y, g);
    force += g;
  }
  /// The sums for the origin `o`, relative to the present one.
  AtomMoments About(const Vec3& o) const { return {moment - Outer(o, force), force}; }
  /// Σ y x g.
  Vec3 Torque() const {
    return {moment.row1.z - moment.row2.y,
            moment.row2.x - moment.row0.z,
            moment.row0.y - moment.row1.x};
  }
  /// Σ (ω x y) x g = M ω - tr(M) ω.
  Vec3 Curl(const Vec3& omega) const {
    return moment * omega - (moment.row0.x + moment.row1.y + moment.row2.z) * omega;
  }
};

}  // namespace QZMolPotential
