// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "constr/onset.h"
#include "kernels/distance.h"

namespace QZConstr {

/// A wall of a sphere of radius `width` around a point from which an atom is `delta` away.
struct RadialWall {
  QZMolPotential::PointDistance distance;
  WallLaw law;
  bool spring;  // at the centre of a sphere of no width: the same in every direction

  RadialWall(const QZMolPotential::Vec3& delta, double k, double width, double onset)
      : distance(delta),
        law(k, distance.r - width, onset),
        spring(distance.r == 0.0 && width == 0.0 && onset == 0.0) {
    if (spring) law.second = 2.0 * k;
  }
  QZMolPotential::Vec3 Slope() const {
    return law.first == 0.0 ? QZMolPotential::Vec3{} : distance.Slope(law.first);
  }
  QZMolPotential::Mat3 Curvature() const {
    if (spring) return QZMolPotential::Identity(law.second);
    return law.second == 0.0 ? QZMolPotential::Mat3{} : distance.Curvature(law.first, law.second);
  }
};

}  // namespace QZConstr
