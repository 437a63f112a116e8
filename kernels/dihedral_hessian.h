// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>

#include "kernels/dihedral.h"
#include "kernels/sinks.h"

namespace QZMolPotential {

/// Adds f' ∇ψ to a gradient, unless it is null, and to `sink` the second derivatives of f(ψ) of the
/// signed dihedral ψ, f'' ∇ψ ⊗ ∇ψ + f' ∇²ψ; `atoms` are P0 .. P3. Nothing is added where three
/// atoms are in line, since ψ means nothing there; `kGuarded` false leaves that to the caller.
template <bool kGuarded = true, HessianSink Sink>
void AddDihedralDerivatives(Sink& sink,
                            double* grad,
                            const std::array<unsigned int, 4>& atoms,
                            const DihedralCosine& d,
                            double first,
                            double second) {
  if (kGuarded && d.IsDegenerate()) return;
  // The Hessian is o ∇ψ ⊗ ∇ψ + f ∇²ψ with o = f'' and f = f'. With A = dψ/da, C = dψ/dc,
  // ta = a·b/|b|², tc = c·b/|b|², the second derivatives of ψ over the bond vectors are
  //   aa: S = -|b|/|N|⁴ (P ⊗ N + N ⊗ P),  P = b x N
  //   cc: T = |b|/|M|⁴ (Q ⊗ M + M ⊗ Q),  Q = b x M
  //   ab: -b ⊗ A/|b|² - ta S,   cb: -b ⊗ C/|b|² - tc T,   ac: 0
  //   bb: (ta² + |N|²/2|b|⁴) S + ta/|b|² (A ⊗ b + b ⊗ A), and the same with C, T
  // (Blondel and Karplus, J. Comput. Chem. 17, 1132 (1996), reduced to products of six vectors). In
  // atoms dψ/dPk = g_k = α_k A + γ_k C, so that with w = b/|b|² and δ = (0, -1, 1, 0) block (k, l)
  // is
  //   α_k α_l S + γ_k γ_l T - δ_l w ⊗ g_k - δ_k g_l ⊗ w + δ_k δ_l (|N|² S + |M|² T)/2|b|⁴.
  // As A is along N and C along M, S = A ⊗ p + p ⊗ A and T = C ⊗ q + q ⊗ C with p = -P/|N|² and
  // q = -Q/|M|²; f is drawn into p, q and w. Counted from the other end, C, q, γ and -w stand where
  // A, p, α and w stood. Blocks of atom 2 and block (1, 3) follow from the zero sum of every row.
  // Each block is handed on as soon as it is there, since registers do not hold many.
  const double o = second;
  const double f = first;
  const auto angle = d.Angle();
  const auto g = angle.Atoms();
  if (grad != nullptr) {
    for (std::size_t k = 0; k < 4; ++k) AddToAtom(grad, atoms[k], f * g[k]);
  }

  const double perB2 = 1.0 / Dot(d.b, d.b);
  const double alpha1 = angle.alongA - 1.0;
  const double gamma1 = angle.alongC;
  const double gamma2 = -1.0 - angle.alongC;
  const double half = 0.5 * perB2 * perB2;
  const Vec3 w = (f * perB2) * d.b;
  const Vec3 p = (-f * d.perN2M2 * d.m2) * Cross(d.b, d.normal);
  const Vec3 q = (-f * d.perN2M2 * d.n2) * Cross(d.b, d.normal2);
  const Vec3 p1 = alpha1 * p;
  const Vec3 q2 = gamma2 * q;
  const Vec3 og1 = o * g[1];
  const Vec3 z = w + 0.5 * og1;

  const Mat3 h00 = SymmetricOuter(g[0], p + (0.5 * o) * g[0]);
  sink.Diagonal(atoms[0], h00);
  const Mat3 h30 = Outer(o * g[3], g[0]);
  sink.Mixed(atoms[3], atoms[0], h30);
  const Mat3 h10 = Outer(g[0], p1 + w) + Outer(p1 + og1, g[0]);
  sink.Mixed(atoms[1], atoms[0], h10);
  const Mat3 minus20 = h00 + h10 + h30;
  sink.Mixed(atoms[2], atoms[0], -minus20);
  const Mat3 h33 = SymmetricOuter(g[3], q + (0.5 * o) * g[3]);
  sink.Diagonal(atoms[3], h33);
  const Mat3 h23 = Outer(g[3], q2 - w) + Outer(q2 + o * g[2], g[3]);
  sink.Mixed(atoms[2], atoms[3], h23);
  const Mat3 minus13 = h33 + h23 + Transpose(h30);
  sink.Mixed(atoms[1], atoms[3], -minus13);
  const Mat3 h11 = SymmetricOuter(g[0], (alpha1 * alpha1 + half * d.n2) * p + alpha1 * z) +
                   SymmetricOuter(g[3], (gamma1 * gamma1 + half * d.m2) * q + gamma1 * z);
  sink.Diagonal(atoms[1], h11);
  const Mat3 minus21 = Transpose(h10) + h11 - Transpose(minus13);
  sink.Mixed(atoms[2], atoms[1], -minus21);
  sink.Diagonal(atoms[2], minus20 + minus21 - h23);
}

/// The same for f(cos φ), φ = |ψ|, with slope f' and curvature f'' over the cosine: a square
/// penalty k (cos φ - c0)² passes 2k (cos φ - c0) and 2k; the cosine itself 1 and 0. Regular at 0
/// and π.
template <bool kGuarded = true, HessianSink Sink>
void AddDihedralCosineDerivatives(Sink& sink,
                                  double* grad,
                                  const std::array<unsigned int, 4>& atoms,
                                  const DihedralCosine& d,
                                  double first,
                                  double second) {
  const double sine = d.Sine();
  AddDihedralDerivatives<kGuarded>(
      sink, grad, atoms, d, -first * sine, second * sine * sine - first * d.cosine);
}

}  // namespace QZMolPotential
