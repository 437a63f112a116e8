// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

#include "kernels/dual.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

/// How one atom k is placed from atoms before it. With e = (b - a)/L, n = (a - d) x e / h and
/// m = n x e, which points from a towards d:
///   Point      p = b + (x, y, z) in the axes of the Z-matrix, b being their origin
///   Bent       p = b + r (-cos θ e + sin θ (cos φ m + sin φ n)):  r, angle to a, dihedral to d
///   Straight   p = b + r (cos β (cos α e + sin α m) + sin β n):   r and two bends that are 0 where
///              k-b-a is straight
/// a and d need not be atoms: `kAxis` + j stands for a direction, b less axis j for a, a plus axis
/// j for d. Axes do not move with the atoms.
struct ZmatRow {
  enum class Form { Point, Bent, Straight };
  static constexpr unsigned int kAxis = 0xfffffff0U;
  static constexpr bool IsAxis(unsigned int partner) { return partner >= kAxis; }

  unsigned int atom = 0;
  Form form = Form::Bent;
  std::array<unsigned int, 3> partner{};  // b, a, d
};

/// Origin and axes of a Z-matrix.
struct ZmatAxes {
  Vec3 origin;
  std::array<Vec3, 3> axis{Vec3{1.0, 0.0, 0.0}, Vec3{0.0, 1.0, 0.0}, Vec3{0.0, 0.0, 1.0}};
};

/// e, m, n of a row, right-handed, from the partners where they stand.
template <class T>
struct ZmatFrame {
  BasicVec3<T> e, m, n;
  T length{};  // L = |b - a|; 0 also where e is an axis
  T height{};  // h, the distance of d from the line a-b; 0: d in line, n any perpendicular
  T along{};   // (d - a)·e

  ZmatFrame() = default;
  ZmatFrame(const BasicVec3<T>& toB, const BasicVec3<T>& toD, bool aIsAxis) {  // b - a, d - a
    using std::sqrt;
    const T norm = sqrt(Dot(toB, toB));
    e = ValueOf(norm) > 0.0 ? (T(1.0) / norm) * toB : BasicVec3<T>{T(-1.0), T(0.0), T(0.0)};
    if (!aIsAxis) length = norm;
    const BasicVec3<T> normal = Cross(e, toD);
    const T h = sqrt(Dot(normal, normal));
    along = Dot(toD, e);
    // In line in floating point: the normal is rounding noise of the distance.
    if (ValueOf(h) > 1e-12 * (1.0 + std::abs(ValueOf(along)))) {
      height = h;
      n = (T(1.0) / h) * normal;
    } else {
      n = AnyPerpendicular(e);
    }
    m = Cross(n, e);
  }

  /// The direction of a row's atom from b, and its derivatives with respect to the two values.
  void Place(ZmatRow::Form form,
             const T& first,
             const T& second,
             BasicVec3<T>& direction,
             std::array<BasicVec3<T>, 2>& slopes) const {
    using std::cos;
    using std::sin;
    const T c1 = cos(first);
    const T s1 = sin(first);
    const T c2 = cos(second);
    const T s2 = sin(second);
    if (form == ZmatRow::Form::Straight) {
      const BasicVec3<T> bent = c1 * e + s1 * m;
      direction = c2 * bent + s2 * n;
      slopes = {c2 * (c1 * m - s1 * e), c2 * n - s2 * bent};
    } else {
      const BasicVec3<T> turned = c2 * m + s2 * n;
      direction = s1 * turned - c1 * e;
      slopes = {s1 * e + c1 * turned, s1 * (c2 * n - s2 * m)};
    }
  }
};

template <class T>
BasicVec3<T> Lifted(const Vec3& p) {
  return {T(p.x), T(p.y), T(p.z)};
}

template <class T>
ZmatFrame<T> FrameOf(const ZmatRow& row, const ZmatAxes& axes, const BasicVec3<T>* points) {
  const auto [b, a, d] = row.partner;
  const bool aIsAxis = ZmatRow::IsAxis(a);
  const auto axis = [&](unsigned int partner) {
    return Lifted<T>(axes.axis[partner - ZmatRow::kAxis]);
  };
  const BasicVec3<T> toB = aIsAxis ? axis(a) : points[b] - points[a];
  if (ZmatRow::IsAxis(d)) return ZmatFrame<T>(toB, axis(d), aIsAxis);
  return ZmatFrame<T>(toB, points[d] - (aIsAxis ? points[b] - toB : points[a]), aIsAxis);
}

/// A row where it stands: the direction from b to its atom, and the derivatives of that.
template <class T>
struct PlacedRow {
  ZmatFrame<T> frame;
  T distance{};
  BasicVec3<T> direction;
  std::array<BasicVec3<T>, 2> slopes;

  PlacedRow() = default;
  /// Of a row that is no point, from its three values.
  PlacedRow(const ZmatRow& row, const ZmatAxes& axes, const T* value, const BasicVec3<T>* points)
      : frame(FrameOf(row, axes, points)), distance(value[0]) {
    frame.Place(row.form, value[1], value[2], direction, slopes);
  }
};

/// The place of a row's atom for its three values; `placed` (out) where it is no point.
template <class T>
BasicVec3<T> PlaceRow(const ZmatRow& row,
                      const ZmatAxes& axes,
                      const T* value,
                      const BasicVec3<T>* points,
                      PlacedRow<T>& placed) {
  if (row.form == ZmatRow::Form::Point) {
    return Lifted<T>(axes.origin) + value[0] * Lifted<T>(axes.axis[0]) +
           value[1] * Lifted<T>(axes.axis[1]) + value[2] * Lifted<T>(axes.axis[2]);
  }
  placed = PlacedRow<T>(row, axes, value, points);
  return points[row.partner[0]] + value[0] * placed.direction;
}

/// One step of the chain rule backwards through the placement of the atoms, last row first. `f`,
/// the gradient that each atom has gathered, moves from the row's atom on to those that place it;
/// the result is the derivative with respect to the row's values. With τ = (p - b) x f:
///   b gains f + u,  a gains -u - v,  d gains v,
///   v = (τ·e / h) n,  u = τ x e / L - (τ·e) (d - a)·e / (h L) n
/// since a turn of the frame by ω about b does the work τ·ω, and ω follows from b, a and d. Where d
/// is a plus an axis, v goes to a; where a is b less an axis, u + v goes to b.
template <class T>
std::array<T, 3> SweepRow(const ZmatRow& row,
                          const ZmatAxes& axes,
                          const PlacedRow<T>& placed,
                          BasicVec3<T>* f) {
  const BasicVec3<T> force = f[row.atom];
  if (row.form == ZmatRow::Form::Point) {
    return {Dot(force, Lifted<T>(axes.axis[0])),
            Dot(force, Lifted<T>(axes.axis[1])),
            Dot(force, Lifted<T>(axes.axis[2]))};
  }
  const auto [b, a, d] = row.partner;
  const ZmatFrame<T>& frame = placed.frame;
  const BasicVec3<T> torque = placed.distance * Cross(placed.direction, force);
  const T twist = Dot(torque, frame.e);
  const bool hasHeight = ValueOf(frame.height) > 0.0;
  const bool dIsAxis = ZmatRow::IsAxis(d);
  BasicVec3<T> v;
  if (hasHeight) v = (twist / frame.height) * frame.n;
  if (ZmatRow::IsAxis(a)) {
    f[b] += dIsAxis ? force : force - v;
  } else {
    BasicVec3<T> u;
    if (ValueOf(frame.length) > 0.0) {
      u = (T(1.0) / frame.length) * Cross(torque, frame.e);
      if (hasHeight) u -= (frame.along / frame.length) * v;
    }
    f[b] += force + u;
    f[a] -= dIsAxis ? u : u + v;
  }
  if (!dIsAxis) f[d] += v;
  return {Dot(force, placed.direction),
          placed.distance * Dot(force, placed.slopes[0]),
          placed.distance * Dot(force, placed.slopes[1])};
}

}  // namespace QZMolPotential
