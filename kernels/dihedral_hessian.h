// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>

#include "kernels/dihedral.h"
#include "kernels/pair.h"
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
  // The Hessian is o ∇ψ ⊗ ∇ψ + f ∇²ψ with o = f'' and f = f'. With A = dψ/da, C = dψ/dc, ta =
  // a·b/|b|², tc = c·b/|b|², the second derivatives of ψ over the bond vectors are
  //   aa: S = -|b|/|N|⁴ (P ⊗ N + N ⊗ P),  P = b x N     cc: T = |b|/|M|⁴ (Q ⊗ M + M ⊗ Q),  Q = b x
  //   M ab: -b ⊗ A/|b|² - ta S                            cb: -b ⊗ C/|b|² - tc T               ac:
  //   0 bb: (ta² + |N|²/2|b|⁴) S + ta/|b|² (A ⊗ b + b ⊗ A), and the same with C, T
  // (Blondel and Karplus, J. Comput. Chem. 17, 1132 (1996), reduced to products of six vectors). In
  // atoms dψ/dPk = g_k = α_k A + γ_k C, so that with w = b/|b|² and δ = (0, -1, 1, 0) block (k, l)
  // is
  //   α_k α_l S + γ_k γ_l T - δ_l w ⊗ g_k - δ_k g_l ⊗ w + δ_k δ_l (|N|² S + |M|² T)/2|b|⁴.
  // As A is along N and C along M, S = A ⊗ p + p ⊗ A and T = C ⊗ q + q ⊗ C with p = -P/|N|² and
  // q = -Q/|M|²; f is drawn into p, q and w. Counted from the other end, C, q, γ and -w stand where
  // A, p, α and w stood, so a Pair computes both ends at once. The blocks not written out below
  // follow from the zero sum of every row.
  const double o = second;
  const double f = first;
  const auto angle = d.Angle();
  const auto g = angle.Atoms();
  if (grad != nullptr) {
    for (std::size_t k = 0; k < 4; ++k) AddToAtom(grad, atoms[k], f * g[k]);
  }

  const double perB2 = 1.0 / Dot(d.b, d.b);
  const Vec3 w = (f * perB2) * d.b;
  const Vec3 outer1 = o * g[1];
  const auto ends = Both(g[0], g[3]);
  const auto pq =
      (-f * d.perN2M2 * Pair{d.m2, d.n2}) * Cross(Both(d.b, d.b), Both(d.normal, d.normal2));
  const Pair factor{angle.alongA - 1.0, -1.0 - angle.alongC};  // α_1 and γ_2
  const Pair factor1{angle.alongA - 1.0, angle.alongC};        // α_1 and γ_1
  const Pair square = factor1 * factor1 + (0.5 * perB2 * perB2) * Pair{d.n2, d.m2};

  const auto h00h33 = SymmetricOuter(ends, pq + Pair{0.5 * o, 0.5 * o} * ends);
  const auto h10h23 =
      Outer(ends, factor * pq + Both(w, -w)) + Outer(factor * pq + Both(outer1, o * g[2]), ends);
  const auto h11 = Sum(SymmetricOuter(ends, square * pq)) + SymmetricOuter(g[1], w + 0.5 * outer1);
  const auto h30 = Outer(o * g[3], g[0]);
  const auto h20 = -(First(h00h33) + First(h10h23) + h30);
  const auto h13 = -(Second(h00h33) + Second(h10h23) + Transpose(h30));
  const auto h21 = -(Transpose(First(h10h23)) + h11 + Transpose(h13));

  sink.Diagonal(atoms[0], First(h00h33));
  sink.Diagonal(atoms[1], h11);
  sink.Diagonal(atoms[2], -(h20 + h21 + Second(h10h23)));
  sink.Diagonal(atoms[3], Second(h00h33));
  sink.Mixed(atoms[1], atoms[0], First(h10h23));
  sink.Mixed(atoms[2], atoms[0], h20);
  sink.Mixed(atoms[3], atoms[0], h30);
  sink.Mixed(atoms[2], atoms[1], h21);
  sink.Mixed(atoms[1], atoms[3], h13);
  sink.Mixed(atoms[2], atoms[3], Second(h10h23));
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
