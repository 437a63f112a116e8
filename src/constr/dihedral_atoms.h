// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <vector>

#include "constr/atoms.h"
#include "kernels/dihedral.h"
#include "kernels/sinks.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// The dihedral cosine of four atoms of a coordinate vector.
inline QZMolPotential::DihedralCosine CosineAt(const double* x, const AtomIndices<4>& atoms) {
  using QZMolPotential::LoadAtom;
  return {
      LoadAtom(x, atoms[0]), LoadAtom(x, atoms[1]), LoadAtom(x, atoms[2]), LoadAtom(x, atoms[3])};
}

/// Adds `scale` times the four blocks to the atoms' gradient.
inline void AddBlocks(double* grad,
                      const AtomIndices<4>& atoms,
                      double scale,
                      const std::array<QZMolPotential::Vec3, 4>& blocks) {
  for (std::size_t k = 0; k < 4; ++k) QZMolPotential::AddToAtom(grad, atoms[k], scale * blocks[k]);
}

/// Appends `factor` ∇q⊗∇q.
inline void AppendProducts(std::vector<QZOpt::QZMatrixEntry>& entries,
                           const AtomIndices<4>& atoms,
                           const std::array<QZMolPotential::Vec3, 4>& gradient,
                           double factor) {
  QZMolPotential::EntrySink<QZOpt::QZMatrixEntry> sink(entries);
  QZMolPotential::AddOuterProducts(sink, atoms, gradient, factor);
}

}  // namespace QZConstr
