// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "coordinates/redundant/coordinates.h"
#include "coordinates/redundant/dense.h"
#include "coordinates/redundant/ldlt.h"
#include "kernels/rotation.h"

namespace QZMolPotential {

/// Products with G = (B Bᵀ)⁺ without B Bᵀ. With A = BᵀB, 3N x 3N and sparse,
///   G B g = B A⁺ g,    Bᵀ G dq = A⁺ Bᵀ dq,
/// eigenvalues of A below 1e-12 counting as zero. A⁺ is applied by a sparse L D Lᵀ factor. The
/// known null vectors of A are directions of an atom in which it has no row (planar and linear
/// groups) and the rigid motions of every fragment; they are held in the factor and projected out
/// before and after it. Conjugate gradients with this A⁺ as preconditioner, and residuals formed
/// through B, restore the digits that are lost by forming A.
/// A rank test checks each fragment. A fragment that fails it is decomposed densely (up to 1,500
/// coordinates). A larger one gives a Warning and, when the factor itself is wrong, is factorised
/// with 1e-6 added to the diagonal; gradients are then computed by iteration, and steps are damped.
/// Cost: linear in the atoms for chains, both time and memory.
class WilsonSolver {
 public:
  /// Everything that depends only on which atoms the rows have. `numCoords`: length of x.
  void Analyse(const WilsonRows& rows, std::size_t numCoords);
  /// Factorises for the blocks of `rows`, which belong to coordinates `x`. Where they are not
  /// finite a warning is given, and G is B Bᵀ itself. Allocates only on the dense route.
  void Factor(const WilsonRows& rows, const double* x);
  /// Whether the last `Factor` had finite rows.
  bool IsFactored() const { return !failed_; }
  /// Warns that the pseudo-inverse could not be computed.
  static void Warn();
  /// out (one value a row) = G B g.
  void InternalGradient(const WilsonRows& rows, const double* g, double* out);
  /// out (numCoords) = Bᵀ G dq.
  void CartesianStep(const WilsonRows& rows, const double* dq, double* out);

 private:
  using Mode = std::vector<double>;  // in a fragment's own numbering
  enum class Route { kSparse, kDense, kIterative };
  struct Fragment {
    std::vector<unsigned int> positions;  // of its atoms in the factor
    std::vector<unsigned int> rows;
    // Orthonormal rigid motions, in the atoms' frames: the first `numModes`.
    std::array<Mode, 6> modes;
    std::size_t numModes = 0;
    Route route = Route::kSparse;
    DenseWilsonInverse dense;
    std::size_t NumCoords() const { return 3 * positions.size(); }
  };
  struct Incidence {
    unsigned int row;
    unsigned int block;
  };

  void findFragments(const WilsonRows& rows);
  void assembleDiagonal(const WilsonRows& rows);
  void holdLocalNullDirections(const WilsonRows& rows);
  void holdNullAxes(const WilsonRows& rows, std::size_t position);
  void assembleBlocks(const WilsonRows& rows);
  void findRigidMotions(Fragment& fragment, const double* x);
  void holdRigidMotions(const Fragment& fragment);
  void testRank(const WilsonRows& rows);
  void warnOfRank();
  void leaveSparseRoute(const WilsonRows& rows);
  void project(double* v) const;
  void applyInverse(const std::vector<double>& b, std::vector<double>& y);
  void conjugateGradients(const WilsonRows& rows, const double* load);
  void iterateGradient(const WilsonRows& rows, const double* g, double* out);

  std::size_t numCoords_ = 0;
  std::vector<unsigned int> atomAt_;       // by position
  std::vector<unsigned int> positionOf_;   // by atom; atoms without rows have none
  std::vector<unsigned int> localColumn_;  // by atom, its first coordinate within its fragment
  std::vector<std::size_t> slots_;         // of the atom pairs of each row, in their order
  std::vector<std::size_t> incidenceStart_;
  std::vector<Incidence> incidence_;  // by position
  std::vector<Fragment> fragments_;
  BlockLdlt factor_;
  std::vector<BlockLdlt::Hold> hold_;
  std::vector<char> turned_;  // positions that have a frame of their own
  std::vector<Mat3> frames_;  // its axes by rows
  bool failed_ = false;
  bool iterative_ = false;
  bool warned_ = false;

  // Work: in the factor's numbering, per coordinate, per row.
  std::vector<double> work_, column_;
  std::array<Mode, 6> candidates_;  // rigid motions of one fragment
  std::vector<double> start_, y_, residual_, z_, direction_;
  std::vector<double> rowResidual_, rowDirection_, rowSum_;
};

}  // namespace QZMolPotential
