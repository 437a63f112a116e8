// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <numbers>

#include "kernels/angle.h"

namespace QZMolPotential {

/// Derivatives of a function of n = p x q and e over the atoms A, B, C, D with p = A - B, q = C -
/// B, e = D - B, from those over n (u) and e (v): dn = dp x q + p x dq. They sum to zero.
inline std::array<Vec3, 4> GradientThroughNormal(const Vec3& p,
                                                 const Vec3& q,
                                                 const VectorGradients& g) {
  const Vec3 a = Cross(q, g.u);
  const Vec3 c = Cross(g.u, p);
  return {a, -(a + c + g.v), c, g.v};
}
/// The second derivatives over p, q and e, from d²n = 2 dp x dq beside dn; `slope` is the gradient
/// over n.
inline std::array<std::array<Mat3, 3>, 3> CurvatureThroughNormal(const Vec3& p,
                                                                 const Vec3& q,
                                                                 const Vec3& slope,
                                                                 const VectorCurvatures& h) {
  const Vec3 minusP = -p;
  const Mat3 nq = CrossColumns(q, h.uu);
  const Mat3 np = CrossColumns(minusP, h.uu);
  return {{{CrossRows(nq, q), {}, {}},
           {CrossRows(np, q) + Skew(slope), CrossRows(np, minusP), {}},
           {CrossRows(h.vu, q), CrossRows(h.vu, minusP), h.vv}}};
}

/// The height h = n·e/|n| of D above the plane of A, B and C, with its derivatives over n (u) and
/// e (v): ∂h/∂e = n̂, ∂h/∂n = w = (e - h n̂)/|n|,
///   ∂²h/∂n∂n = -(n̂⊗w + w⊗n̂ + h (1 - n̂⊗n̂)/|n|)/|n|,  ∂²h/∂e∂n = (1 - n̂⊗n̂)/|n|.
/// A, B and C in line divide by zero.
struct PlaneHeight {
  Vec3 p, q;
  double perN;
  Vec3 unit;  // n̂
  double height;
  Vec3 slope;  // w

  PlaneHeight(const Vec3& a, const Vec3& b, const Vec3& c, const Vec3& d) : p(a - b), q(c - b) {
    const Vec3 n = Cross(p, q);
    perN = 1.0 / Norm(n);
    unit = perN * n;
    height = Dot(unit, d - b);
    slope = perN * ((d - b) - height * unit);
  }
  /// Over A, B, C, D.
  std::array<Vec3, 4> Gradient() const { return GradientThroughNormal(p, q, {slope, unit}); }
  std::array<std::array<Mat3, 3>, 3> Curvature(double factor) const {
    const Mat3 across = (factor * perN) * (Identity() - Outer(unit, unit));
    const Mat3 nn = (-factor * perN) * SymmetricOuter(unit, slope) - (height * perN) * across;
    return CurvatureThroughNormal(p, q, factor * slope, {nn, across, Mat3{}});
  }
};

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

  /// The derivatives over A, B, C, D; they sum to zero.
  std::array<Vec3, 4> Gradient(const AngleSlopes& f) const {
    return GradientThroughNormal(p, q, toNormal.Gradient(f));
  }
  /// The second derivatives over p, q and e.
  std::array<std::array<Mat3, 3>, 3> Curvature(const AngleSlopes& f) const {
    return CurvatureThroughNormal(p, q, toNormal.Gradient(f).u, toNormal.Curvature(f));
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
