// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "coordinates/tree/screw_map.h"

namespace QZMolPotential {

/// What the two adaptors of rigid bodies share: consecutive blocks of atoms, of which each has the
/// variables (w, x, y, z, tx, ty, tz),
///   x_i = R(q) r_i / |q|² + t
/// with a reference geometry r, all zero at first.
class RigidBodies {
 public:
  explicit RigidBodies(const std::vector<unsigned int>& atomCounts);

  /// Where evaluations go: the coordinate system with the present reference geometry.
  CoordinateMap& Map() { return map_; }
  std::size_t NumCoords() const { return map_.NumCoords(); }
  std::size_t NumVar() const { return map_.NumVar(); }
  const std::vector<double>& Reference() const { return reference_; }

  /// Copies `coords`, less `centre`, into the reference geometry. The result, valid until the next
  /// call, are the variables that lead back to `coords`: (1, 0, 0, 0) and the centre for each body.
  const double* SetReference(const double* coords, const Vec3& centre = {});
  /// **Adds** the derivatives at `vars`, with `reference` in the place of the reference geometry,
  /// to `grad`. The rotation part that stood in `grad` before is scaled by 2/|q|² and projected on
  /// the plane across q: callers rely on it. False, and that part left alone, where a q is zero.
  bool AddGradient(const double* cartGrad,
                   const double* vars,
                   const double* reference,
                   double* grad);

 private:
  ScrewMap map_;
  std::vector<double> reference_;
  std::vector<double> start_;     // variables of the start
  std::vector<double> coords_;    // of AddGradient
  std::vector<double> gradient_;  // the same
};

}  // namespace QZMolPotential
