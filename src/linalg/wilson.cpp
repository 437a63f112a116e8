// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <array>
#include <cmath>
#include <cstddef>

#include "kernels/packed.h"
#include "kernels/unit_cosine.h"
#include "kernels/vec3.h"
#include "molpotential/geomderiv.h"

namespace QZMolPotential {

namespace {

/// s = sin θ = n·e / (|n||e|), n = p x q, of p = a - b, q = c - b, e = d - b.
struct WilsonSine {
  Vec3 p, q, e, n;
  UnitCosine sine;
  double value;   // s
  double cosine;  // |n x e| / (|n||e|): √(1 - s²) without its cancellation near ±π/2

  WilsonSine(const double* a, const double* b, const double* c, const double* d)
      : p(LoadAtom(a, 0) - LoadAtom(b, 0)),
        q(LoadAtom(c, 0) - LoadAtom(b, 0)),
        e(LoadAtom(d, 0) - LoadAtom(b, 0)),
        n(Cross(p, q)),
        sine(n, e),
        value(sine.Value()),
        cosine(Norm(Cross(n, e)) / (Norm(n) * Norm(e))) {}

  double Angle() const { return std::atan2(value, cosine); }

  /// ds/dp, ds/dq, ds/de.
  std::array<Vec3, 3> Gradient() const {
    return {Cross(q, sine.First()), Cross(sine.First(), p), sine.Second()};
  }
};

/// Gradient of the angle over a, b, c, d from the gradient of its sine over p, q, e.
void StoreGradient(const WilsonSine& w, const std::array<Vec3, 3>& ds, double* grad) {
  const double scale = 1.0 / w.cosine;
  const Vec3 ga = scale * ds[0];
  const Vec3 gc = scale * ds[1];
  const Vec3 gd = scale * ds[2];
  StoreAtom(grad, 0, ga);
  StoreAtom(grad, 1, -(ga + gc + gd));
  StoreAtom(grad, 2, gc);
  StoreAtom(grad, 3, gd);
}

/// The 3 x 3 matrix of v x (.) applied to the columns of m.
Mat3 CrossColumns(const Vec3& v, const Mat3& m) {
  return {v.y * m.row2 - v.z * m.row1, v.z * m.row0 - v.x * m.row2, v.x * m.row1 - v.y * m.row0};
}
/// The same for the rows: m [v]ᵀ.
Mat3 CrossRows(const Mat3& m, const Vec3& v) {
  return {Cross(v, m.row0), Cross(v, m.row1), Cross(v, m.row2)};
}
Mat3 Skew(const Vec3& v) {
  return {{0.0, -v.z, v.y}, {v.z, 0.0, -v.x}, {-v.y, v.x, 0.0}};
}

/// d²s over (p, q, e) as a full 9 x 9, lower blocks only, from dn = -q x dp, dn = p x dq and the
/// bilinear d²n = 2 dp x dq.
using Nine = std::array<std::array<double, 9>, 9>;
void StoreBlock(Nine& h, std::size_t row, std::size_t column, const Mat3& m) {
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      h[3 * row + i][3 * column + j] = Element(m, i, j);
      h[3 * column + j][3 * row + i] = Element(m, i, j);
    }
  }
}
Nine SecondSine(const WilsonSine& w) {
  const Mat3 nn = w.sine.SecondFirst();
  const Mat3 en = Transpose(w.sine.Mixed());
  const Vec3 minusP = -w.p;
  Nine h;
  StoreBlock(h, 0, 0, CrossRows(CrossColumns(w.q, nn), w.q));
  StoreBlock(h, 1, 0, CrossRows(CrossColumns(minusP, nn), w.q) + Skew(w.sine.First()));
  StoreBlock(h, 1, 1, CrossRows(CrossColumns(w.p, nn), w.p));
  StoreBlock(h, 2, 0, CrossRows(en, w.q));
  StoreBlock(h, 2, 1, CrossRows(en, minusP));
  StoreBlock(h, 2, 2, w.sine.SecondSecond());
  return h;
}

}  // namespace

double QZWilson(const double* a, const double* b, const double* c, const double* d) {
  return WilsonSine(a, b, c, d).Angle();
}

double QZdWilson_dx(
    double* grad, const double* a, const double* b, const double* c, const double* d) {
  const WilsonSine w(a, b, c, d);
  StoreGradient(w, w.Gradient(), grad);
  return w.Angle();
}

double QZd2Wilson_dx2(double* grad,
                      double* hessian,
                      const double* a,
                      const double* b,
                      const double* c,
                      const double* d) {
  const WilsonSine w(a, b, c, d);
  const auto ds = w.Gradient();
  StoreGradient(w, ds, grad);
  // d²θ = d²s/√(1 - s²) + s ds ⊗ ds/(1 - s²)^(3/2), the last as s dθ ⊗ dθ/√(1 - s²).
  const double scale = 1.0 / w.cosine;
  Nine h = SecondSine(w);
  constexpr std::array<std::size_t, 3> kAtom{0, 2, 3};
  std::array<std::array<double, 3>, 9> toCentre{};
  for (std::size_t i = 0; i < 9; ++i) {
    const std::size_t row = 3 * kAtom[i / 3] + i % 3;
    for (std::size_t j = 0; j < 9; ++j) {
      const std::size_t column = 3 * kAtom[j / 3] + j % 3;
      const double value = scale * (h[i][j] + w.value * grad[row] * grad[column]);
      toCentre[i][j % 3] -= value;
      if (column <= row) hessian[PackedIndex(row, column)] = value;
    }
  }
  // The centre moves p, q and e together, backwards.
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      hessian[PackedIndex(3 + i, j)] = toCentre[j][i];
      hessian[PackedIndex(6 + i, 3 + j)] = toCentre[3 + i][j];
      hessian[PackedIndex(9 + i, 3 + j)] = toCentre[6 + i][j];
      if (j <= i) {
        hessian[PackedIndex(3 + i, 3 + j)] =
            -(toCentre[i][j] + toCentre[3 + i][j] + toCentre[6 + i][j]);
      }
    }
  }
  return w.Angle();
}

}  // namespace QZMolPotential
