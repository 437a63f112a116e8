// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

#include "kernels/packed.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

/// A number with its first and second derivatives over N variables: arithmetic follows the chain
/// rule. For the few quantities whose closed second derivatives would be long and rarely needed.
template <std::size_t N>
struct Jet {
  double value = 0.0;
  std::array<double, N> first{};
  std::array<double, PackedSize(N)> second{};  // lower triangle by rows

  Jet() = default;
  Jet(double v) : value(v) {}  // a constant; implicit, so that constants mix with jets
  static Jet Variable(double v, std::size_t index) {
    Jet jet(v);
    jet.first[index] = 1.0;
    return jet;
  }

  /// f(this) with f, f', f'' at the value.
  Jet Through(double f, double df, double ddf) const {
    Jet out(f);
    std::size_t k = 0;
    for (std::size_t r = 0; r < N; ++r) {
      out.first[r] = df * first[r];
      for (std::size_t c = 0; c <= r; ++c, ++k) {
        out.second[k] = df * second[k] + ddf * first[r] * first[c];
      }
    }
    return out;
  }

  friend Jet operator+(Jet a, const Jet& b) {
    a.value += b.value;
    for (std::size_t i = 0; i < N; ++i) a.first[i] += b.first[i];
    for (std::size_t i = 0; i < a.second.size(); ++i) a.second[i] += b.second[i];
    return a;
  }
  friend Jet operator-(const Jet& a, const Jet& b) { return a + (-b); }
  friend Jet operator-(const Jet& a) { return a.Through(-a.value, -1.0, 0.0); }
  friend Jet operator*(const Jet& a, const Jet& b) {
    Jet out(a.value * b.value);
    std::size_t k = 0;
    for (std::size_t r = 0; r < N; ++r) {
      out.first[r] = a.value * b.first[r] + b.value * a.first[r];
      for (std::size_t c = 0; c <= r; ++c, ++k) {
        out.second[k] = a.value * b.second[k] + b.value * a.second[k] + a.first[r] * b.first[c] +
                        a.first[c] * b.first[r];
      }
    }
    return out;
  }
};

template <std::size_t N>
using JetVec3 = BasicVec3<Jet<N>>;

/// The three components of `v` as variables `index`, `index` + 1 and `index` + 2.
template <std::size_t N>
JetVec3<N> Variables(const Vec3& v, std::size_t index) {
  return {Jet<N>::Variable(v.x, index),
          Jet<N>::Variable(v.y, index + 1),
          Jet<N>::Variable(v.z, index + 2)};
}
template <std::size_t N>
Jet<N> JetDot(const JetVec3<N>& a, const JetVec3<N>& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
template <std::size_t N>
JetVec3<N> JetCross(const JetVec3<N>& a, const JetVec3<N>& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
/// a / |a|; `a` must not vanish.
template <std::size_t N>
JetVec3<N> JetUnit(const JetVec3<N>& a) {
  const Jet<N> square = JetDot(a, a);
  const double s = square.value;
  const double per = 1.0 / std::sqrt(s);
  const Jet<N> inverse = square.Through(per, -0.5 * per / s, 0.75 * per / (s * s));
  return {inverse * a.x, inverse * a.y, inverse * a.z};
}

}  // namespace QZMolPotential
