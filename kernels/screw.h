// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

#include "kernels/mat3.h"

namespace QZMolPotential {

/// The motion that one variable v of a tree-like coordinate system gives to the atoms that depend
/// on it: a turn about the unit vector `axis` e through `origin` o, or a shift along e.
struct ScrewMotion {
  Vec3 axis;
  Vec3 origin;
  bool turns = true;

  /// ∂x/∂v of an atom at x: e x (x - o), or e.
  Vec3 Velocity(const Vec3& x) const { return turns ? Cross(axis, x - origin) : axis; }

  /// ∂²x/∂v∂w of an atom at x that `inner`, the motion of a variable w, moves as well; w is this
  /// variable or one further inside the tree. A turn rotates the velocity of the inner motion, e x
  /// (∂x/∂w); a shift does not change it.
  Vec3 Second(const ScrewMotion& inner, const Vec3& x) const {
    return turns ? Cross(axis, inner.Velocity(x)) : Vec3{};
  }
};

/// Sums over the atoms that depend on a variable. The derivative of an energy along any screw
/// motion of all these atoms is one product with the sums. Therefore the gradient over the
/// variables of a tree costs O(atoms + variables), and the contribution of the gradient to its
/// second derivatives O(variables²). `reference` is any point near the atoms; only sums with the
/// same reference may be added.
struct AtomMoments {
  Vec3 force{};   // Σ g
  Mat3 moment{};  // Σ (x - reference) ⊗ g
  Vec3 reference{};

  void Add(const Vec3& x, const Vec3& g) {
    force += g;
    moment = moment + Outer(x - reference, g);
  }
  AtomMoments& operator+=(const AtomMoments& other) {
    force += other.force;
    moment = moment + other.moment;
    return *this;
  }

  /// Σ (x - o) x g.
  Vec3 Torque(const Vec3& o) const {
    const Vec3 about{moment.row1.z - moment.row2.y,
                     moment.row2.x - moment.row0.z,
                     moment.row0.y - moment.row1.x};
    return about + Cross(reference - o, force);
  }
  /// Σ g · ∂x/∂v.
  double Along(const ScrewMotion& s) const {
    return Dot(s.axis, s.turns ? Torque(s.origin) : force);
  }
  /// Σ (∂x/∂w) x g for the motion `inner` of these atoms, whose scalar product with the axis of an
  /// outer turn is Σ g · ∂²x/∂v∂w; that with an outer shift is 0.
  Vec3 InnerTorque(const ScrewMotion& inner) const {
    const Vec3& e = inner.axis;
    if (!inner.turns) return Cross(e, force);
    // (e x y) x g = y (e·g) - e (y·g), y = x - o.
    const Vec3 shift = reference - inner.origin;
    const double trace = moment.row0.x + moment.row1.y + moment.row2.z + Dot(shift, force);
    return moment * e + Dot(e, force) * shift - trace * e;
  }
};

}  // namespace QZMolPotential
