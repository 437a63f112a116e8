// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <numbers>

#include "kernels/angle.h"

namespace QZMolPotential {

/// The Wilson angle χ of the bond to D above the plane of A, B and C, B the central atom, from
/// p = A - B, q = C - B, e = D - B: π/2 less the angle between n = p x q and e, so that
/// sin χ = n·e / (|n||e|); positive with D on the side of n. Where e stands along n, the kink of
/// `VectorAngle`'s straight angle. Atoms A, B and C in line, and zero vectors, divide by zero.
/// Wilson, Decius and Cross, Molecular Vibrations, p. 58 (1955).
struct OutOfPlane {
  Vec3 p, q, e;
  VectorAngle toNormal;  // between n and e

  OutOfPlane(const Vec3& a, const Vec3& b, const Vec3& c, const Vec3& d)
      : p(a - b), q(c - b), e(d - b), toNormal(Cross(p, q), e) {}

  /// In [-π/2, π/2], as accurate near 0 as elsewhere.
  double Angle() const { return std::atan2(toNormal.cosine, toNormal.sine); }

  /// The slopes of f(χ) for the functions below.
  AngleSlopes Slopes(double first, double second) const { return toNormal.Slopes(-first, second); }

  /// The derivatives over A, B, C, D; they sum to zero. dn = dp x q + p x dq.
  std::array<Vec3, 4> Gradient(const AngleSlopes& f) const {
    const auto g = toNormal.Gradient(f);
    const Vec3 a = Cross(q, g.u);
    const Vec3 c = Cross(g.u, p);
    return {a, -(a + c + g.v), c, g.v};
  }

  /// The second derivatives over p, q and e, from d²n = 2 dp x dq beside dn.
  std::array<std::array<Mat3, 3>, 3> Curvature(const AngleSlopes& f) const {
    const auto h = toNormal.Curvature(f);
    const Vec3 minusP = -p;
    const Mat3 nq = CrossColumns(q, h.uu);
    const Mat3 np = CrossColumns(minusP, h.uu);
    return {{{CrossRows(nq, q), {}, {}},
             {CrossRows(np, q) + Skew(toNormal.Gradient(f).u), CrossRows(np, minusP), {}},
             {CrossRows(h.vu, q), CrossRows(h.vu, minusP), h.vv}}};
  }
};

/// Adds, for f(χ) with f' and f'', f' ∇χ to a gradient, unless it is null, and the second
/// derivatives to `sink`; the atoms are A, B (central), C, D.
template <HessianSink Sink>
void AddOutOfPlaneDerivatives(Sink& sink,
                              double* grad,
                              const std::array<unsigned int, 4>& atoms,
                              const OutOfPlane& angle,
                              const AngleSlopes& f) {
  if (grad != nullptr) {
    const auto g = angle.Gradient(f);
    for (std::size_t k = 0; k < 4; ++k) AddToAtom(grad, atoms[k], g[k]);
  }
  AddCentred<3>(sink, {atoms[0], atoms[2], atoms[3]}, atoms[1], angle.Curvature(f));
}
template <HessianSink Sink>
void AddOutOfPlaneDerivatives(Sink& sink,
                              double* grad,
                              const std::array<unsigned int, 4>& atoms,
                              const OutOfPlane& angle,
                              double first,
                              double second) {
  AddOutOfPlaneDerivatives(sink, grad, atoms, angle, angle.Slopes(first, second));
}

}  // namespace QZMolPotential
