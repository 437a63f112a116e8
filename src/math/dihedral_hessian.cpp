// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "math/dihedral_hessian.h"

namespace QZMolPotential {

// The Hessian is o ∇ψ ⊗ ∇ψ + f ∇²ψ. With A = dψ/da, C = dψ/dc, ta = a·b/|b|², tc = c·b/|b|², the
// second derivatives of ψ over the bond vectors are
//   aa: S = -|b|/|N|⁴ (P ⊗ N + N ⊗ P),  P = b x N     cc: T = |b|/|M|⁴ (Q ⊗ M + M ⊗ Q),  Q = b x M
//   ab: -b ⊗ A/|b|² - ta S                            cb: -b ⊗ C/|b|² - tc T               ac: 0
//   bb: (ta² + |N|²/2|b|⁴) S + ta/|b|² (A ⊗ b + b ⊗ A), and the same with C, T
// (Blondel and Karplus, J. Comput. Chem. 17, 1132 (1996), reduced to products of six vectors). In
// atoms dψ/dPk = g_k = α_k A + γ_k C, so that with w = b/|b|² and δ = (0, -1, 1, 0) block (k, l) is
//   α_k α_l S + γ_k γ_l T - δ_l w ⊗ g_k - δ_k g_l ⊗ w + δ_k δ_l (|N|² S + |M|² T)/2|b|⁴.
// As A is along N and C along M, S = A ⊗ p + p ⊗ A and T = C ⊗ q + q ⊗ C with p = -P/|N|² and
// q = -Q/|M|²; f is drawn into p, q and w. Blocks (2, 1) and (2, 2) follow from the zero sum of
// every row.
DihedralHessian::DihedralHessian(const DihedralCosine& d, double first, double second) {
  const double sine = d.Sine();
  const double o = second * sine * sine - first * d.cosine;
  const double f = -first * sine;
  const auto angle = d.Angle();
  const auto g = angle.Atoms();
  const Vec3& a = g[0];
  const Vec3& c = g[3];
  const double perB2 = 1.0 / Dot(d.b, d.b);
  const Vec3 p = (-f * (d.perN2M2 * d.m2)) * Cross(d.b, d.normal);
  const Vec3 q = (-f * (d.perN2M2 * d.n2)) * Cross(d.b, d.normal2);
  const Vec3 w = (f * perB2) * d.b;
  const double alpha1 = angle.alongA - 1.0;
  const double alpha2 = -angle.alongA;
  const double gamma1 = angle.alongC;
  const double gamma2 = -1.0 - angle.alongC;
  const double half = 0.5 * perB2 * perB2;
  const Vec3 outer1 = o * g[1];
  const Vec3 outer2 = o * g[2];

  h00 = SymmetricOuter(a, p + (0.5 * o) * a);
  h33 = SymmetricOuter(c, q + (0.5 * o) * c);
  h30 = Outer(o * c, a);
  h10 = Outer(a, alpha1 * p + w) + Outer(alpha1 * p + outer1, a);
  h20 = Outer(a, alpha2 * p - w) + Outer(alpha2 * p + outer2, a);
  h31 = Outer(c, gamma1 * q + outer1) + Outer(gamma1 * q + w, c);
  h32 = Outer(c, gamma2 * q + outer2) + Outer(gamma2 * q - w, c);
  h11 = SymmetricOuter(a, (alpha1 * alpha1 + half * d.n2) * p) +
        SymmetricOuter(c, (gamma1 * gamma1 + half * d.m2) * q) +
        SymmetricOuter(g[1], w + 0.5 * outer1);
  h21 = -(Transpose(h10) + h11 + h31);
  h22 = -(h20 + h21 + Transpose(h32));
}

}  // namespace QZMolPotential
