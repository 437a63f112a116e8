// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "coordinates/redundant/jet.h"
#include "kernels/angle.h"
#include "kernels/dihedral_hessian.h"
#include "kernels/distance.h"
#include "kernels/sinks.h"

namespace QZMolPotential {

/// One internal coordinate of up to four atoms:
///   Bond         |x_0 - x_1|
///   Angle        between 1->0 and 1->2, in [0, π]
///   Dihedral     signed, in (-π, π]
///   two bends of a nearly straight angle 0-1-2, of the unit vectors u (1->0) and v (1->2) and the
///   axis w = v - u: with e across the plane of w and a reference direction t,
///   BendAcross   e·(u + v)        BendInPlane   (e x w)/|w| · (u + v)
///   t leads from atom 1 to atom 3, or stands still in space (`spaceFixed`) where all atoms near
///   are in line. Each bend is about the angle by which the line is bent, in radians.
struct Primitive {
  enum class Kind : unsigned char { Bond, Angle, Dihedral, BendInPlane, BendAcross };
  Kind kind = Kind::Bond;
  bool active = true;
  bool spaceFixed = false;
  std::array<unsigned int, 4> atoms{};
  Vec3 direction{};

  bool IsBend() const { return kind == Kind::BendInPlane || kind == Kind::BendAcross; }
  std::size_t NumAtoms() const {
    if (kind == Kind::Bond) return 2;
    return kind == Kind::Angle || (IsBend() && spaceFixed) ? 3 : 4;
  }
};

using PrimitiveRow = std::array<Vec3, 4>;  // ∂q/∂x of its atoms

/// A bend over the vectors 1->0, 1->2 and t.
inline Jet<9> BendJet(const Primitive& p, const double* x) {
  const Vec3 centre = LoadAtom(x, p.atoms[1]);
  const auto u = JetUnit(Variables<9>(LoadAtom(x, p.atoms[0]) - centre, 0));
  const auto v = JetUnit(Variables<9>(LoadAtom(x, p.atoms[2]) - centre, 3));
  const Vec3 t = p.spaceFixed ? p.direction : LoadAtom(x, p.atoms[3]) - centre;
  const auto reference = p.spaceFixed ? JetVec3<9>{t.x, t.y, t.z} : Variables<9>(t, 6);
  const JetVec3<9> axis = {v.x - u.x, v.y - u.y, v.z - u.z};
  const JetVec3<9> bent = {v.x + u.x, v.y + u.y, v.z + u.z};
  const auto across = JetUnit(JetCross(axis, reference));
  if (p.kind == Primitive::Kind::BendAcross) return JetDot(across, bent);
  return JetDot(JetUnit(JetCross(across, axis)), bent);
}

/// The value at `x`; NaN where bonded atoms coincide.
inline double PrimitiveValue(const Primitive& p, const double* x) {
  const auto at = [&](std::size_t k) { return LoadAtom(x, p.atoms[k]); };
  switch (p.kind) {
    case Primitive::Kind::Bond:
      return Norm(at(0) - at(1));
    case Primitive::Kind::Angle:
      return VectorAngle(at(0) - at(1), at(2) - at(1)).Angle();
    case Primitive::Kind::Dihedral:
      return DihedralCosine(at(0), at(1), at(2), at(3)).SignedAngle();
    default:
      return BendJet(p, x).value;
  }
}

/// Adds a function f of the coordinate with slope f' (`first`) and curvature f'' (`second`): its
/// second derivatives to `sink`, and f' ∇q to `grad` (3 an atom) unless that is null.
template <HessianSink Sink>
void AddPrimitive(
    Sink& sink, double* grad, const Primitive& p, const double* x, double first, double second) {
  const auto at = [&](std::size_t k) { return LoadAtom(x, p.atoms[k]); };
  const auto& a = p.atoms;
  switch (p.kind) {
    case Primitive::Kind::Bond:
      return AddDistanceDerivatives(
          sink, grad, {a[0], a[1]}, PointDistance(at(0), at(1)), first, second);
    case Primitive::Kind::Angle: {
      const VectorAngle angle(at(0) - at(1), at(2) - at(1));
      return AddAngleDerivatives(sink, grad, {a[0], a[1], a[2]}, angle, first, second);
    }
    case Primitive::Kind::Dihedral:
      return AddDihedralDerivatives(
          sink, grad, a, DihedralCosine(at(0), at(1), at(2), at(3)), first, second);
    default:
      break;
  }
  const Jet<9> jet = BendJet(p, x).Through(0.0, first, second);
  const auto block = [&jet](std::size_t k, std::size_t l) {
    const auto element = [&](std::size_t r, std::size_t c) {
      const std::size_t i = 3 * k + r;
      const std::size_t j = 3 * l + c;
      return jet.second[i < j ? PackedIndex(j, i) : PackedIndex(i, j)];
    };
    const auto row = [&](std::size_t r) {
      return Vec3{element(r, 0), element(r, 1), element(r, 2)};
    };
    return Mat3{row(0), row(1), row(2)};
  };
  const auto slope = [&jet](std::size_t k) { return LoadAtom(jet.first.data(), k); };
  if (grad != nullptr) {
    Vec3 sum{};
    for (const std::size_t k : {0UL, 1UL, 2UL}) {
      if (k == 2 && p.spaceFixed) break;
      sum += slope(k);
      AddToAtom(grad, a[k == 0 ? 0 : k + 1], slope(k));
    }
    AddToAtom(grad, a[1], -sum);
  }
  if (p.spaceFixed) {
    AddCentred<2>(sink, {a[0], a[2]}, a[1], {{{block(0, 0), {}}, {block(1, 0), block(1, 1)}}});
  } else {
    AddCentred<3>(sink,
                  {a[0], a[2], a[3]},
                  a[1],
                  {{{block(0, 0), {}, {}},
                    {block(1, 0), block(1, 1), {}},
                    {block(2, 0), block(2, 1), block(2, 2)}}});
  }
}

/// ∂q/∂x of its atoms; entries beyond `NumAtoms()` are 0, and all where the coordinate is
/// undefined.
inline PrimitiveRow PrimitiveGradient(const Primitive& p, const double* x) {
  const auto at = [&](std::size_t k) { return LoadAtom(x, p.atoms[k]); };
  switch (p.kind) {
    case Primitive::Kind::Bond: {
      const Vec3 slope = PointDistance(at(0), at(1)).Slope(1.0);
      return {slope, -slope, {}, {}};
    }
    case Primitive::Kind::Angle: {
      const VectorAngle angle(at(0) - at(1), at(2) - at(1));
      const auto g = angle.Gradient(angle.Slopes(1.0, 0.0));
      return {g.u, -g.u - g.v, g.v, {}};
    }
    case Primitive::Kind::Dihedral: {
      const DihedralCosine d(at(0), at(1), at(2), at(3));
      return d.IsDegenerate() ? PrimitiveRow{} : d.AngleGradient();
    }
    default:
      break;
  }
  const Jet<9> jet = BendJet(p, x);
  const auto slope = [&jet](std::size_t k) { return LoadAtom(jet.first.data(), k); };
  return {slope(0), -slope(0) - slope(1) - slope(2), slope(1), slope(2)};
}

/// How far `value` is from the wanted one, and the sign with which the difference follows
/// `wanted`. Variables run on where coordinates end: lengths count by their absolute value, angles
/// are folded at 0 and π, dihedrals wrapped.
struct Departure {
  double difference;  // wanted - value
  double sign;
};
inline Departure DepartureOf(const Primitive& p, double wanted, double value) {
  constexpr double kTurn = 2.0 * std::numbers::pi;
  switch (p.kind) {
    case Primitive::Kind::Bond:
      return {std::abs(wanted) - value, wanted < 0.0 ? -1.0 : 1.0};
    case Primitive::Kind::Angle: {
      const double turn = std::remainder(wanted, kTurn);
      return {std::abs(turn) - value, turn < 0.0 ? -1.0 : 1.0};
    }
    case Primitive::Kind::Dihedral:
      return {std::remainder(wanted - value, kTurn), 1.0};
    default:
      return {wanted - value, 1.0};
  }
}

}  // namespace QZMolPotential
