// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/cartesian/rigid_bodies.h"

#include <algorithm>
#include <cstddef>

#include "coordinates/tree/screw_layouts.h"
#include "kernels/rotation.h"

namespace QZMolPotential {

RigidBodies::RigidBodies(const std::vector<unsigned int>& atomCounts)
    : map_(BlockLayout(atomCounts)),
      reference_(map_.NumCoords(), 0.0),
      start_(map_.NumVar()),
      coords_(map_.NumCoords()),
      gradient_(map_.NumVar()) {
  map_.Start(reference_.data(), start_.data());
}

const double* RigidBodies::SetReference(const double* coords, const Vec3& centre) {
  for (std::size_t i = 0; i < reference_.size() / 3; ++i) {
    StoreAtom(reference_.data(), i, LoadAtom(coords, i) - centre);
  }
  map_.Start(reference_.data(), start_.data());
  for (std::size_t v = 4; v < start_.size(); v += 7) StoreAtom(start_.data() + v, 0, centre);
  return start_.data();
}

bool RigidBodies::AddGradient(const double* cartGrad,
                              const double* vars,
                              const double* reference,
                              double* grad) {
  map_.Start(reference, gradient_.data());
  map_.Place(vars, coords_.data());
  std::ranges::fill(gradient_, 0.0);
  map_.PullGradient(cartGrad, gradient_.data());
  bool all = true;
  for (std::size_t v = 0; v < gradient_.size(); v += 7) {
    const double* const q = vars + v;
    const double* const exact = gradient_.data() + v;
    double* const g = grad + v;
    AddToAtom(g + 4, 0, LoadAtom(exact + 4, 0));
    const double s = SquaredNorm(q);
    if (s == 0.0) {
      all = false;
      continue;
    }
    double along = 0.0;
    for (std::size_t k = 0; k < 4; ++k) along += g[k] * q[k];
    for (std::size_t k = 0; k < 4; ++k) g[k] = 2.0 / s * (g[k] - q[k] * along / s) + exact[k];
  }
  map_.Start(reference_.data(), gradient_.data());
  return all;
}

}  // namespace QZMolPotential
