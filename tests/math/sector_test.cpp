// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <random>

#include "molpotential/geomderiv.h"

namespace {

using Eigen::Vector3d;
using QZMolPotential::isOutsideVectors;

// t, seen in the plane of u and w, at `angle` from u towards w: outside when it is on the other
// side of u or turned further from u than w is.
TEST(OutsideVectors, DirectionsAreToldByTheirAngleSeenAlongTheNormal) {
  std::mt19937 rng(51);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  int outside = 0;
  for (int trial = 0; trial < 5000; ++trial) {
    const Vector3d p1 = 3.0 * Vector3d(uniform(rng), uniform(rng), uniform(rng));
    const Vector3d u(uniform(rng), uniform(rng), uniform(rng));
    const Vector3d w(uniform(rng), uniform(rng), uniform(rng));
    const Vector3d along = u.normalized();
    const Vector3d across = (w - w.dot(along) * along).normalized();
    const double sector = std::atan2(w.dot(across), w.dot(along));
    const double angle = M_PI * uniform(rng);
    if (std::min(std::abs(angle), std::abs(angle - sector)) < 1e-3 || sector < 1e-2 ||
        sector > M_PI - 1e-2 || M_PI - std::abs(angle) < 1e-3) {
      continue;
    }
    // A component along the plane's normal does not matter.
    const Vector3d t = (1.5 + uniform(rng)) * (std::cos(angle) * along + std::sin(angle) * across) +
                       (trial % 2 == 0 ? 0.0 : 3.0 * uniform(rng)) * along.cross(across);
    const Vector3d p0 = p1 + u;
    const Vector3d p2 = p1 + w;
    const Vector3d p3 = p1 + t;
    const bool expected = angle < 0.0 || angle > sector;
    outside += expected ? 1 : 0;
    EXPECT_EQ(isOutsideVectors(p0.data(), p1.data(), p2.data(), p3.data()), expected)
        << "seed 51, trial " << trial << ", sector " << sector << ", angle " << angle;
  }
  EXPECT_GT(outside, 1000);
}

}  // namespace
