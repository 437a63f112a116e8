// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace QZConstr {

/// Value, slope and curvature of a wall's law at an excess e over its edge.
struct WallLaw {
  double value = 0.0;
  double first = 0.0;
  double second = 0.0;

  /// k e² for e > 0. With an onset w > 0 its curvature rises from 0 to 2k over w, so that the
  /// second derivative has no step at the edge:
  ///   k e³/(3w)             0 < e < w
  ///   k (e² - w e + w²/3)   e >= w
  WallLaw(double k, double e, double onset) {
    if (e <= 0.0) return;
    if (onset <= 0.0) {
      value = k * e * e;
      first = 2.0 * k * e;
      second = 2.0 * k;
    } else if (e < onset) {
      value = k * e * e * e / (3.0 * onset);
      first = k * e * e / onset;
      second = 2.0 * k * e / onset;
    } else {
      value = k * (e * (e - onset) + onset * onset / 3.0);
      first = k * (2.0 * e - onset);
      second = 2.0 * k;
    }
  }
};

}  // namespace QZConstr
