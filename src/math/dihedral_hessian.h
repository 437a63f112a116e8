// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "math/dihedral.h"
#include "math/mat3.h"
#include "math/packed.h"

namespace QZMolPotential {

/// Second derivatives of f(cos φ) over the points P0 .. P3: block (k, l) has rows over Pk and
/// columns over Pl.
struct DihedralHessian {
  Mat3 h00, h11, h22, h33;
  Mat3 h10, h20, h30, h21, h31, h32;

  /// From the first and second derivative of f with respect to the cosine:
  ///   f'' ∇cos ⊗ ∇cos + f' ∇²cos.
  /// A square penalty k (cos φ - c0)² passes f' = 2k (cos φ - c0), f'' = 2k; the cosine itself 1
  /// and 0. No guard against atoms in line.
  DihedralHessian(const DihedralCosine& dihedral, double first, double second);

  /// Adds all blocks to a packed Hessian in which P0 .. P3 are the four atoms.
  template <class Atoms>
  void AddTo(double* hessian, const Atoms& atoms) const {
    AddDiagonalBlock(hessian, atoms[0], h00);
    AddDiagonalBlock(hessian, atoms[1], h11);
    AddDiagonalBlock(hessian, atoms[2], h22);
    AddDiagonalBlock(hessian, atoms[3], h33);
    AddMixedBlock(hessian, atoms[1], atoms[0], h10);
    AddMixedBlock(hessian, atoms[2], atoms[0], h20);
    AddMixedBlock(hessian, atoms[3], atoms[0], h30);
    AddMixedBlock(hessian, atoms[2], atoms[1], h21);
    AddMixedBlock(hessian, atoms[3], atoms[1], h31);
    AddMixedBlock(hessian, atoms[3], atoms[2], h32);
  }
};

}  // namespace QZMolPotential
