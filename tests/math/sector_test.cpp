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

// t in the plane of u and w, at `angle` from u towards w: outside when it is on the other side of u
// or turned further from u than w is.
TEST(OutsideVectors, PlanarDirectionsAreToldByTheirAngle) {
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
    const double length = 1.5 + uniform(rng);
    const Vector3d t = length * (std::cos(angle) * along + std::sin(angle) * across);
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

// A component along the plane's normal does not matter: the direction counts as seen along it.
TEST(OutsideVectors, LooksAlongTheNormal) {
  const Vector3d u(1, 0, 0);
  const Vector3d w(1, 1, 0);
  const Vector3d apex(0, 0, 0);
  for (const double height : {-5.0, 0.0, 0.3, 5.0}) {
    const Vector3d inside(2, 1, height);
    const Vector3d beyond(1, 2, height);
    const Vector3d behind(2, -1, height);
    EXPECT_FALSE(isOutsideVectors(u.data(), apex.data(), w.data(), inside.data()));
    EXPECT_TRUE(isOutsideVectors(u.data(), apex.data(), w.data(), beyond.data()));
    EXPECT_TRUE(isOutsideVectors(u.data(), apex.data(), w.data(), behind.data()));
  }
}

TEST(OutsideVectors, OnTheFirstSideIsOutside) {
  const Vector3d apex(0, 0, 0);
  const Vector3d w(0, 1, 0);
  const Vector3d u(1, 0, 0);
  EXPECT_TRUE(isOutsideVectors(u.data(), apex.data(), w.data(), u.data()));
  EXPECT_TRUE(isOutsideVectors(u.data(), apex.data(), w.data(), w.data()));
}

}  // namespace
