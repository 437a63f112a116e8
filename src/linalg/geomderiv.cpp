// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/geomderiv.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "kernels/angle.h"
#include "kernels/dihedral_hessian.h"
#include "kernels/out_of_plane.h"

namespace QZMolPotential {

namespace {

/// A packed Hessian that one term alone fills: each block is written, not added to.
class PackedOutput {
 public:
  explicit PackedOutput(double* hessian) : hessian_(hessian) {}
  void Diagonal(std::size_t i, const Mat3& m) {
    double* out = hessian_ + PackedIndex(3 * i, 3 * i);
    out[0] = m.row0.x;
    out += 3 * i + 1;
    out[0] = m.row1.x;
    out[1] = m.row1.y;
    StoreAtom(out + 3 * i + 2, 0, m.row2);
  }
  void Mixed(std::size_t i, std::size_t j, const Mat3& m) {
    i > j ? lower(i, j, m) : lower(j, i, Transpose(m));
  }

 private:
  void lower(std::size_t i, std::size_t j, const Mat3& m) {
    double* out = hessian_ + PackedIndex(3 * i, 3 * j);
    StoreAtom(out, 0, m.row0);
    StoreAtom(out += 3 * i + 1, 0, m.row1);
    StoreAtom(out + 3 * i + 2, 0, m.row2);
  }
  double* hessian_;
};

}  // namespace

double secondCosDer(const double* u, const double* v, double* hessian) {
  const Vec3 first = LoadAtom(u, 0);
  const Vec3 second = LoadAtom(v, 0);
  PackedOutput sink(hessian);
  AddAngleCosineDerivatives(sink, nullptr, {0, 1, 2}, VectorCosine(first, second), 1.0, 0.0);
  return Dot(first, second);
}

double secondCosDer(
    const double* a, const double* b, const double* c, double* grad, double* hessian) {
  const DihedralCosine dihedral(LoadAtom(a, 0), LoadAtom(b, 0), LoadAtom(c, 0));
  std::fill_n(grad, 12, 0.0);
  PackedOutput sink(hessian);
  AddDihedralCosineDerivatives</*kGuarded=*/false>(sink, grad, {0, 1, 2, 3}, dihedral, 1.0, 0.0);
  return dihedral.cosine;
}

namespace {

OutOfPlane OutOfPlaneOf(const double* a, const double* b, const double* c, const double* d) {
  return {LoadAtom(a, 0), LoadAtom(b, 0), LoadAtom(c, 0), LoadAtom(d, 0)};
}

/// The slopes of the angle itself. At ±π/2 it has no derivatives, and none are made up.
AngleSlopes OfItself(const OutOfPlane& angle) {
  if (!angle.toNormal.straight) return angle.Slopes(1.0, 0.0);
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  return {kNone, kNone, kNone};
}

void StoreGradient(const OutOfPlane& angle, const AngleSlopes& slopes, double* grad) {
  const auto g = angle.Gradient(slopes);
  for (std::size_t k = 0; k < 4; ++k) StoreAtom(grad, k, g[k]);
}

}  // namespace

double QZWilson(const double* a, const double* b, const double* c, const double* d) {
  return OutOfPlaneOf(a, b, c, d).Angle();
}

double QZdWilson_dx(
    double* grad, const double* a, const double* b, const double* c, const double* d) {
  const OutOfPlane angle = OutOfPlaneOf(a, b, c, d);
  StoreGradient(angle, OfItself(angle), grad);
  return angle.Angle();
}

double QZd2Wilson_dx2(double* grad,
                      double* hessian,
                      const double* a,
                      const double* b,
                      const double* c,
                      const double* d) {
  const OutOfPlane angle = OutOfPlaneOf(a, b, c, d);
  const AngleSlopes slopes = OfItself(angle);
  StoreGradient(angle, slopes, grad);
  PackedOutput sink(hessian);
  AddOutOfPlaneDerivatives(sink, nullptr, {0, 1, 2, 3}, angle, slopes);
  return angle.Angle();
}

bool isOutsideVectors(const double* p0, const double* p1, const double* p2, const double* p3) {
  // Components below this (Å) count as zero when a direction is taken from them.
  constexpr double kFlat = 1e-6;
  const auto complement = [](double x) { return std::sqrt(std::max(0.0, 1.0 - x * x)); };
  const Vec3 apex = LoadAtom(p1, 0);
  const Vec3 u = LoadAtom(p0, 0) - apex;
  const Vec3 w = LoadAtom(p2, 0) - apex;
  const Vec3 t = LoadAtom(p3, 0) - apex;

  // About z and then about y, so that u lies along the X axis.
  const double rho = std::sqrt(u.x * u.x + u.y * u.y);
  const double cosPhi = rho > kFlat ? std::clamp(u.x / rho, -1.0, 1.0) : 1.0;
  const double sinPhi = u.y < 0.0 ? -complement(cosPhi) : complement(cosPhi);
  const double sinTheta = rho / Norm(u);
  const double cosTheta = u.z > 0.0 ? -complement(sinTheta) : complement(sinTheta);
  const auto turned = [&](const Vec3& p) {
    const double x = cosPhi * p.x + sinPhi * p.y;
    return Vec3{
        x * sinTheta - p.z * cosTheta, cosPhi * p.y - sinPhi * p.x, x * cosTheta + p.z * sinTheta};
  };
  const Vec3 wTurned = turned(w);
  const Vec3 tTurned = turned(t);

  // About X, so that w lies in the XY plane with y >= 0.
  double cosChi = 1.0;
  double sinChi = 0.0;
  if (std::abs(wTurned.z) > kFlat) {
    cosChi = wTurned.y / std::sqrt(wTurned.z * wTurned.z + wTurned.y * wTurned.y);
    sinChi = wTurned.z < 0.0 ? -complement(cosChi) : complement(cosChi);
  } else if (wTurned.z < 0.0) {
    cosChi = -1.0;
  }
  double wy = wTurned.y;
  double ty = tTurned.y;
  if (cosChi < 1.0) {
    wy = wTurned.z * sinChi + wTurned.y * cosChi;
    ty = tTurned.y * cosChi + tTurned.z * sinChi;
  }
  if (ty * wy <= 0.0) return true;
  return !(tTurned.x / std::sqrt(ty * ty + tTurned.x * tTurned.x) >
           wTurned.x / std::sqrt(wy * wy + wTurned.x * wTurned.x));
}

}  // namespace QZMolPotential
