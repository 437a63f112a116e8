// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "kernels/mat3.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

/// c = p·q / (|p||q|) of two vectors with first and second derivatives. With unit vectors p^, q^:
///   dc/dp = (q^ - c p^)/|p|,
///   d²c/dp dp = -(p^ ⊗ dc/dp + dc/dp ⊗ p^ + c (1 - p^ ⊗ p^)/|p|)/|p|,
///   d²c/dp dq = ((1 - q^ ⊗ q^)/|q| - p^ ⊗ dc/dq)/|p|.
class UnitCosine {
 public:
  UnitCosine(const Vec3& p, const Vec3& q)
      : inverseP_(1.0 / Norm(p)),
        inverseQ_(1.0 / Norm(q)),
        p_(inverseP_ * p),
        q_(inverseQ_ * q),
        value_(Dot(p_, q_)),
        first_(inverseP_ * (q_ - value_ * p_)),
        second_(inverseQ_ * (p_ - value_ * q_)) {}

  double Value() const { return value_; }
  const Vec3& First() const { return first_; }
  const Vec3& Second() const { return second_; }
  Mat3 SecondFirst() const { return Diagonal(p_, first_, inverseP_); }
  Mat3 SecondSecond() const { return Diagonal(q_, second_, inverseQ_); }
  /// Rows over p, columns over q.
  Mat3 Mixed() const {
    const double scale = inverseP_ * inverseQ_;
    return Identity(scale) + Outer(-scale * q_, q_) + Outer(-inverseP_ * p_, second_);
  }

 private:
  static Mat3 Identity(double s) { return {{s, 0.0, 0.0}, {0.0, s, 0.0}, {0.0, 0.0, s}}; }
  Mat3 Diagonal(const Vec3& unit, const Vec3& derivative, double inverse) const {
    const double curvature = value_ * inverse * inverse;
    return Identity(-curvature) + Outer(curvature * unit - inverse * derivative, unit) +
           Outer(-inverse * unit, derivative);
  }

  double inverseP_;
  double inverseQ_;
  Vec3 p_;
  Vec3 q_;
  double value_;
  Vec3 first_;
  Vec3 second_;
};

}  // namespace QZMolPotential
