// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "coordinates/redundant/primitive.h"
#include "kernels/mat3.h"

namespace QZMolPotential {

/// A turn R = exp([Σ ω_k e_k]x) about up to three axes e_k, with its derivatives over the ω_k.
/// Regular everywhere; ω and its opposite at 2π are the same turn.
struct AxisTurn {
  Mat3 turn{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};
  std::array<Mat3, 3> first{};
  std::array<Mat3, 6> second{};  // lower triangle by rows

  void Set(const std::array<Vec3, 3>& axes, const std::array<double, 3>& omega);
};

/// Moving atoms that internal coordinates tie together, and the rigid motions of them that those
/// coordinates do not see: all six without a fixed atom among its neighbours (five when straight,
/// three for an atom alone), turns about fixed neighbours in line, or none.
struct Piece {
  std::vector<unsigned int> atoms;
  std::vector<unsigned int> anchors;  // fixed atoms that its coordinates name
  bool placed = true;                 // whether its motions are variables or stand still
  std::size_t firstVar = 0;           // of its variables, translation first
  std::size_t turnSlots = 0;          // variables kept for turns
  Vec3 pivot{};
  std::vector<Vec3> axes{};  // orthonormal

  bool Translates() const { return anchors.empty(); }
  std::size_t NumVar() const { return placed ? (Translates() ? 3 : 0) + turnSlots : 0; }
  std::size_t FirstTurn() const { return firstVar + (Translates() ? 3 : 0); }
};

/// A linear coordinate of some atoms of a piece, Σ m_k · x_k with Σ |m_k|² = 1, along a rigid
/// motion: held at its value, it keeps the piece where it is.
struct FrameRow {
  std::vector<unsigned int> atoms;
  std::vector<Vec3> direction;
};

/// The pieces by order of their lowest atom. `fixed`: nonzero per atom that does not move.
std::vector<Piece> FindPieces(const std::vector<Primitive>& primitives,
                              const std::vector<unsigned char>& fixed);
/// Pivots and axes of the pieces at `x`.
void FindMotions(const std::vector<Primitive>& primitives,
                 const double* x,
                 std::vector<Piece>& pieces);
/// The rows that hold the piece against its motions at `x`. In large pieces they name some atoms
/// only, spread over it, so that matrices stay sparse.
void AppendFrameRows(const Piece& piece, const double* x, std::vector<FrameRow>& rows);

}  // namespace QZMolPotential
