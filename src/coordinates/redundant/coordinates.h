// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "kernels/vec3.h"
#include "molpotential/internalkind.h"
#include "qzchem/atom.h"
#include "qzsystem/predicate.h"

namespace QZChem {
class QZMolBase;
}

namespace QZMolPotential {

/// Wilson's B matrix by rows, for products with vectors: row i holds the blocks dq_i/dx of at most
/// four atoms. An atom may occur twice in a row; its blocks then add up.
class WilsonRows {
 public:
  void Clear();
  /// Appends a row of zero blocks; without atoms the row is empty for good.
  void AddRow(std::span<const unsigned int> atoms);

  std::size_t NumRows() const { return start_.size() - 1; }
  std::span<const unsigned int> Atoms(std::size_t row) const {
    return {atoms_.data() + start_[row], start_[row + 1] - start_[row]};
  }
  std::span<const Vec3> Blocks(std::size_t row) const {
    return {blocks_.data() + start_[row], start_[row + 1] - start_[row]};
  }
  std::span<Vec3> Blocks(std::size_t row) {
    return {blocks_.data() + start_[row], start_[row + 1] - start_[row]};
  }

  /// out (one value a row) = B x.
  void Multiply(const double* x, double* out) const;
  /// out (x's layout) += Bᵀ t.
  void AddTransposed(const double* t, double* out) const;

 private:
  std::vector<std::size_t> start_{0};
  std::vector<unsigned int> atoms_;
  std::vector<Vec3> blocks_;
};

/// Every bond, valence angle and proper dihedral of a molecule, in this order, with values and rows
/// of B. Frozen coordinates stay in the list; frozen bonds and angles have empty rows of B, frozen
/// dihedrals have full rows. Values: Å and radians, dihedrals unsigned in [0, π].
class RedundantCoordinates {
 public:
  /// One code a coordinate.
  enum Type : int {
    kActiveBond = 1,
    kActiveOther = 0,
    kFrozenBond = -1,
    kFrozenAngle = -2,
    kFrozenDihedral = -3
  };

  /// `frozen` may be null.
  void Build(const QZChem::QZMolBase& mol,
             const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>* frozen);

  std::size_t Size() const { return types_.size(); }
  std::size_t NumActive() const { return numActive_; }
  bool IsActive(std::size_t i) const { return types_[i] >= 0; }
  bool IsActiveBond(std::size_t i) const { return types_[i] == kActiveBond; }
  QZInternalKind Kind(std::size_t i) const {
    if (i < bonds_.size()) return QZInternalKind::Bond;
    return i < bonds_.size() + angles_.size() ? QZInternalKind::Angle : QZInternalKind::Dihedral;
  }

  /// B with the rows of this molecule, all blocks zero.
  WilsonRows EmptyRows() const;
  /// q (Size() values) at x. Angles within 1e-6 of straight or folded, measured in the cosine, are
  /// moved by 1e-6 off them; dihedrals within 1e-12 of 0 and π snap to them.
  void Values(const double* x, double* q) const;
  /// The same with the rows of B. Here dihedrals within 1e-12 of 0 and π are moved by 1e-12 off
  /// them instead.
  void ValuesAndRows(const double* x, double* q, WilsonRows& rows) const;

 private:
  using Bond = std::array<unsigned int, 2>;
  using Angle = std::array<unsigned int, 3>;
  using Dihedral = std::array<unsigned int, 4>;

  std::vector<Bond> bonds_;
  std::vector<Angle> angles_;
  std::vector<Dihedral> dihedrals_;
  std::vector<int> types_;
  std::size_t numActive_ = 0;
};

}  // namespace QZMolPotential
