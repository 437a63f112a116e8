// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/geomderiv.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "kernels/dihedral.h"
#include "kernels/dihedral_hessian.h"
#include "kernels/packed.h"
#include "kernels/unit_cosine.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

double secondCosDer(const double* u, const double* v, double* hessian) {
  const Vec3 first = LoadAtom(u, 0);
  const Vec3 second = LoadAtom(v, 0);
  const UnitCosine cosine(first, second);
  const Mat3 uu = cosine.SecondFirst();
  const Mat3 vv = cosine.SecondSecond();
  const Mat3 uv = cosine.Mixed();
  // A moves u, C moves v, B moves -u and -v.
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      const double vu = Element(uv, j, i);
      hessian[PackedIndex(3 + i, j)] = -Element(uu, i, j) - vu;
      hessian[PackedIndex(6 + i, j)] = vu;
      hessian[PackedIndex(6 + i, 3 + j)] = -vu - Element(vv, i, j);
      if (j > i) continue;
      hessian[PackedIndex(i, j)] = Element(uu, i, j);
      hessian[PackedIndex(3 + i, 3 + j)] =
          Element(uu, i, j) + Element(uv, i, j) + vu + Element(vv, i, j);
      hessian[PackedIndex(6 + i, 6 + j)] = Element(vv, i, j);
    }
  }
  return Dot(first, second);
}

double secondCosDer(
    const double* a, const double* b, const double* c, double* grad, double* hessian) {
  const DihedralCosine dihedral(LoadAtom(a, 0), LoadAtom(b, 0), LoadAtom(c, 0));
  std::fill_n(grad, 12, 0.0);
  std::fill_n(hessian, PackedSize(12), 0.0);
  AddDihedralDerivatives(hessian, grad, {0, 1, 2, 3}, dihedral, 1.0, 0.0);
  return dihedral.cosine;
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
