// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <utility>
#include <vector>

#include "kernels/packed.h"

namespace QZMolPotential {

/// Where second derivatives go, atom by atom. A term is written once, as a template over its sink:
///   Diagonal(i, m)   adds the symmetric block of atom i with itself;
///   Mixed(i, j, m)   adds the block of two different atoms, rows over i, columns over j, in either
///                    order; its transpose, block (j, i), is understood.
template <class S>
concept HessianSink = requires(S sink, std::size_t i, const Mat3& m) {
  sink.Diagonal(i, m);
  sink.Mixed(i, i, m);
};

/// The dense packed Hessian over all atoms, 3N(3N+1)/2 doubles.
class PackedSink {
 public:
  explicit PackedSink(double* hessian) : hessian_(hessian) {}
  void Diagonal(std::size_t i, const Mat3& m) { AddDiagonalBlock(hessian_, i, m); }
  void Mixed(std::size_t i, std::size_t j, const Mat3& m) { AddMixedBlock(hessian_, i, j, m); }

 private:
  double* hessian_;
};

/// Entries of the lower triangle one by one, appended to a vector of {row, column, value} records;
/// entries of the same place are not summed. The vector grows.
template <class Entry>
class EntrySink {
 public:
  explicit EntrySink(std::vector<Entry>& entries) : entries_(&entries) {}
  void Diagonal(std::size_t i, const Mat3& m) {
    const Index k = first(i);
    append(std::array<Entry, 6>{{{k, k, m.row0.x},
                                 {k + 1, k, m.row1.x},
                                 {k + 1, k + 1, m.row1.y},
                                 {k + 2, k, m.row2.x},
                                 {k + 2, k + 1, m.row2.y},
                                 {k + 2, k + 2, m.row2.z}}});
  }
  void Mixed(std::size_t i, std::size_t j, const Mat3& m) {
    if (i > j) {
      lower(first(i), first(j), m);
    } else {
      lower(first(j), first(i), Transpose(m));
    }
  }

 private:
  using Index = unsigned int;
  static Index first(std::size_t atom) { return static_cast<Index>(3 * atom); }
  void lower(Index k, Index l, const Mat3& m) {
    append(std::array<Entry, 9>{{{k, l, m.row0.x},
                                 {k, l + 1, m.row0.y},
                                 {k, l + 2, m.row0.z},
                                 {k + 1, l, m.row1.x},
                                 {k + 1, l + 1, m.row1.y},
                                 {k + 1, l + 2, m.row1.z},
                                 {k + 2, l, m.row2.x},
                                 {k + 2, l + 1, m.row2.y},
                                 {k + 2, l + 2, m.row2.z}}});
  }
  template <std::size_t N>
  void append(const std::array<Entry, N>& block) {
    entries_->insert(entries_->end(), block.begin(), block.end());
  }
  std::vector<Entry>* entries_;
};

/// A symmetric matrix of 3 x 3 blocks: one for every atom and one for every pair of atoms that some
/// term couples. The pattern is fixed once, evaluation adds and allocates nothing. A block outside
/// the pattern is an error of the caller's and is dropped. Cost of `Mixed`: a search among the
/// lower partners of an atom. Holds 9 doubles a block.
class BlockHessian {
 public:
  using AtomPair = std::pair<unsigned int, unsigned int>;

  /// `pairs`: atoms below `numAtoms` in either order; repeats and pairs of an atom with itself are
  /// ignored. All blocks start as zero.
  void SetPattern(std::size_t numAtoms, std::vector<AtomPair> pairs) {
    for (auto& [i, j] : pairs) {
      if (i < j) std::swap(i, j);
    }
    std::ranges::sort(pairs);
    pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
    start_.assign(numAtoms + 1, 0);
    partners_.clear();
    for (const auto& [i, j] : pairs) {
      if (i == j) continue;
      ++start_[i + 1];
      partners_.push_back(j);
    }
    for (std::size_t i = 0; i < numAtoms; ++i) start_[i + 1] += start_[i];
    diagonal_.assign(numAtoms, Mat3{});
    mixed_.assign(partners_.size(), Mat3{});
  }
  void SetZero() {
    std::ranges::fill(diagonal_, Mat3{});
    std::ranges::fill(mixed_, Mat3{});
  }
  std::size_t NumAtoms() const { return diagonal_.size(); }
  std::size_t NumPairs() const { return partners_.size(); }

  void Diagonal(std::size_t i, const Mat3& m) { diagonal_[i] = diagonal_[i] + m; }
  void Mixed(std::size_t i, std::size_t j, const Mat3& m) {
    const bool ordered = j < i;
    const std::size_t place = ordered ? Place(i, j) : Place(j, i);
    if (place != kNone) mixed_[place] = mixed_[place] + (ordered ? m : Transpose(m));
  }

  /// Calls visit(i, j, block) for every atom (i == j) and pair (j < i), rows over i.
  template <class Visit>
  void ForEachBlock(Visit visit) const {
    for (std::size_t i = 0; i < NumAtoms(); ++i) {
      for (std::size_t k = start_[i]; k < start_[i + 1]; ++k) visit(i, partners_[k], mixed_[k]);
      visit(i, i, diagonal_[i]);
    }
  }
  /// Adds all blocks to another sink.
  template <HessianSink Sink>
  void AddTo(Sink sink) const {
    ForEachBlock([&sink](std::size_t i, std::size_t j, const Mat3& m) {
      i == j ? sink.Diagonal(i, m) : sink.Mixed(i, j, m);
    });
  }
  /// out += H v, 3 x NumAtoms() doubles each.
  void Multiply(const double* v, double* out) const {
    ForEachBlock([v, out](std::size_t i, std::size_t j, const Mat3& m) {
      AddToAtom(out, i, m * LoadAtom(v, j));
      if (i != j) AddToAtom(out, j, Transpose(m) * LoadAtom(v, i));
    });
  }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::size_t Place(std::size_t i, std::size_t j) const {
    const auto first = partners_.begin() + static_cast<std::ptrdiff_t>(start_[i]);
    const auto last = partners_.begin() + static_cast<std::ptrdiff_t>(start_[i + 1]);
    const auto found = std::lower_bound(first, last, j);
    return found != last && *found == j ? static_cast<std::size_t>(found - partners_.begin())
                                        : kNone;
  }

  std::vector<std::size_t> start_;      // of an atom's partners; one more than atoms
  std::vector<unsigned int> partners_;  // lower atoms, ascending within each atom
  std::vector<Mat3> diagonal_;
  std::vector<Mat3> mixed_;
};

/// Adds `factor` ∇q⊗∇q to `sink`; `gradient` is ∇q over `atoms`. For a function f(q) and factor f''
/// this is the positive part of its Hessian, and near the minimum of f all of it.
template <std::size_t K, HessianSink Sink>
void AddOuterProducts(Sink& sink,
                      const std::array<unsigned int, K>& atoms,
                      const std::array<Vec3, K>& gradient,
                      double factor) {
  for (std::size_t k = 0; k < K; ++k) {
    const Vec3 scaled = factor * gradient[k];
    sink.Diagonal(atoms[k], Outer(scaled, gradient[k]));
    for (std::size_t l = 0; l < k; ++l) {
      sink.Mixed(atoms[k], atoms[l], Outer(scaled, gradient[l]));
    }
  }
}

/// For a function of the K vectors from a central atom to K other atoms: adds its second
/// derivatives over these K + 1 atoms to `sink`. `blocks[k][l]`, l <= k, are its second derivatives
/// over the vectors k (rows) and l (columns).
template <std::size_t K, HessianSink Sink>
void AddCentred(Sink& sink,
                const std::array<unsigned int, K>& atoms,
                unsigned int centre,
                const std::array<std::array<Mat3, K>, K>& blocks) {
  Mat3 all{};
  for (std::size_t k = 0; k < K; ++k) {
    Mat3 row{};
    for (std::size_t l = 0; l < K; ++l) {
      row = row + (l <= k ? blocks[k][l] : Transpose(blocks[l][k]));
      if (l < k) sink.Mixed(atoms[k], atoms[l], blocks[k][l]);
    }
    sink.Diagonal(atoms[k], blocks[k][k]);
    sink.Mixed(atoms[k], centre, -row);
    all = all + row;
  }
  sink.Diagonal(centre, all);
}

}  // namespace QZMolPotential
