// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "math/dihedral_hessian.h"

#include <array>
#include <cmath>
#include <cstddef>

#include "math/packed.h"

namespace QZMolPotential {

namespace {

/// Writes the first `count` elements of a row.
inline void Store(double* out, const Vec3& row, std::size_t count = 3) {
  out[0] = row.x;
  if (count > 1) out[1] = row.y;
  if (count > 2) out[2] = row.z;
}

using Elements = std::array<double, 3>;
inline Elements ToElements(const Vec3& v) {
  return {v.x, v.y, v.z};
}

}  // namespace

// The Hessian is outer ∇ψ ⊗ ∇ψ + curvature ∇²ψ. With A = dψ/da, C = dψ/dc, ta = a·b/|b|²,
// tc = c·b/|b|², the second derivatives of ψ over the bond vectors are
//   aa: S = -|b|/|N|⁴ (P ⊗ N + N ⊗ P),  P = b x N     cc: T = |b|/|M|⁴ (Q ⊗ M + M ⊗ Q),  Q = b x M
//   ab: -b ⊗ A/|b|² - ta S                            cb: -b ⊗ C/|b|² - tc T               ac: 0
//   bb: (ta² + |N|²/2|b|⁴) S + ta/|b|² (A ⊗ b + b ⊗ A), and the same with C, T
// (Blondel and Karplus, J. Comput. Chem. 17, 1132 (1996), reduced to products of six vectors). In
// atoms dψ/dPk = g_k = α_k A + γ_k C, so that with w = b/|b|² and δ = (0, -1, 1, 0) block (k, l) is
//   α_k α_l S + γ_k γ_l T - δ_l w ⊗ g_k - δ_k g_l ⊗ w + δ_k δ_l (|N|² S + |M|² T)/2|b|⁴.
// Blocks of P2 follow from the zero sum of every row.
void DihedralFunctionHessian(const DihedralCosine& d,
                             double first,
                             double second,
                             double* hessian) {
  const double sine = d.Sine();
  const double outer = second * sine * sine - first * d.cosine;
  const double curvature = -first * sine;
  const auto angle = d.Angle();
  const auto g = angle.Atoms(1.0);
  const double b2 = Dot(d.b, d.b);
  const double length = std::sqrt(b2);
  const double alpha1 = angle.alongA - 1.0;
  const double gamma1 = angle.alongC;
  const double halfN = 0.5 * d.n2 / (b2 * b2);
  const double halfM = 0.5 * d.m2 / (b2 * b2);

  const Vec3 pRow = (-curvature * length / (d.n2 * d.n2)) * Cross(d.b, d.normal);
  const Vec3 qRow = (curvature * length / (d.m2 * d.m2)) * Cross(d.b, d.normal2);
  const Vec3 wRow = (curvature / b2) * d.b;
  const Elements n = ToElements(d.normal);
  const Elements m = ToElements(d.normal2);
  const Elements p = ToElements(pRow);
  const Elements q = ToElements(qRow);
  const Elements w = ToElements(wRow);
  const Elements g0 = ToElements(g[0]);
  const Elements g1 = ToElements(g[1]);
  const Elements g3 = ToElements(g[3]);

  Elements h10[3], h20[3], h11[3], h31[3], h32[3];
  for (std::size_t i = 0; i < 3; ++i) {
    const Vec3 s = p[i] * d.normal + n[i] * pRow;
    const Vec3 t = q[i] * d.normal2 + m[i] * qRow;
    const Vec3 h00 = s + (outer * g0[i]) * g[0];
    const Vec3 h33 = t + (outer * g3[i]) * g[3];
    const Vec3 h30 = (outer * g3[i]) * g[0];
    const Vec3 h03 = (outer * g0[i]) * g[3];
    const Vec3 by0 = alpha1 * h00 + gamma1 * h30;
    const Vec3 by3 = alpha1 * h03 + gamma1 * h33;
    const Vec3 row10 = by0 + g0[i] * wRow;
    const Vec3 row31 = alpha1 * h30 + gamma1 * h33 + w[i] * g[3];
    const Vec3 row11 =
        alpha1 * by0 + gamma1 * by3 + halfN * s + halfM * t + w[i] * g[1] + g1[i] * wRow;
    h10[i] = ToElements(row10);
    h11[i] = ToElements(row11);
    h31[i] = ToElements(row31);
    h20[i] = ToElements(-(h00 + row10 + h30));
    h32[i] = ToElements(-(h30 + row31 + h33));
    Store(hessian + PackedIndex(i, 0), h00, i + 1);
    Store(hessian + PackedIndex(3 + i, 0), row10);
    Store(hessian + PackedIndex(3 + i, 3), row11, i + 1);
    Store(hessian + PackedIndex(9 + i, 0), h30);
    Store(hessian + PackedIndex(9 + i, 3), row31);
    Store(hessian + PackedIndex(9 + i, 9), h33, i + 1);
  }
  Elements h12[3];
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      h12[j][i] = -(h10[j][i] + h11[i][j] + h31[i][j]);
      hessian[PackedIndex(6 + i, j)] = h20[i][j];
      hessian[PackedIndex(6 + i, 3 + j)] = h12[j][i];
      hessian[PackedIndex(9 + i, 6 + j)] = h32[i][j];
    }
  }
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      hessian[PackedIndex(6 + i, 6 + j)] = -(h20[j][i] + h12[i][j] + h32[i][j]);
    }
  }
}

}  // namespace QZMolPotential
