// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstdint>

#include "pairs/input.h"

namespace QZMolPotential {

/// Slots are visited in runs of this many with a cutoff; every array over slots may be read and
/// written this far beyond its end.
inline constexpr std::size_t kClusterSize = 8;

/// In an entry of `special`, which is the second slot of a pair: the pair is three bonds apart, not
/// excluded.
inline constexpr std::uint32_t kOneFourBit = 0x80000000u;

/// The data of one evaluation for the loops. Atoms are stored in slots, mobile atoms first. Row i
/// is the set of pairs of slot i with later slots. Special pairs of a row (excluded or scaled) are
/// handled by changing `charge` and `depth` before the row and restoring them after it, so that the
/// loops need no exceptions.
struct PairView {
  // Rows: slots 0 .. numRows - 1; columns from `firstColumn` or the row's own slot on.
  std::size_t numRows = 0;
  std::size_t numSlots = 0;
  std::size_t firstColumn = 0;
  // By slot.
  const double* x = nullptr;
  const double* y = nullptr;
  const double* z = nullptr;
  double* gx = nullptr;
  double* gy = nullptr;
  double* gz = nullptr;
  const double* chargeOf = nullptr;
  double* charge = nullptr;  // equals `chargeOf` between rows
  const std::uint16_t* type = nullptr;
  const std::uint32_t* number = nullptr;  // kNoAtom: an empty slot
  // Of a row: where its parameters stand in the two tables over slots, and its special pairs.
  const std::size_t* tableRow = nullptr;
  const double* scale = nullptr;  // 1/R* (12-6: x_ij^2)
  double* depth = nullptr;
  const PairParameters* byType = nullptr;  // what `depth` is restored from
  std::size_t numTypes = 0;
  const std::size_t* specialBegin = nullptr;
  const std::uint32_t* special = nullptr;
  // Clusters near a row beyond its own, by their first slot; null: every slot is visited.
  const std::size_t* nearBegin = nullptr;
  const std::uint32_t* near = nullptr;
  // 332.0716/D, n of 1/(r + 0.05)^n, where van der Waals begins to fade, the cutoff (0: none).
  double coulomb = 0.0;
  bool distanceDependent = false;
  double switchOn = 0.0;
  double switchOff = 0.0;
  PairPotential potential = PairPotential::Buffered147;

  // Second derivatives: for each slot of a row E'/r and (E'' - E'/r)/r^2, handed over row by row.
  double* first = nullptr;
  double* second = nullptr;
  void (*rowDone)(void* context, std::size_t row) = nullptr;
  void* context = nullptr;

  /// Calls visit(begin, end) for the runs of slots that row i visits, in ascending order.
  template <class Visit>
  void ForEachRun(std::size_t i, Visit visit) const;
};

inline constexpr std::uint32_t kNoAtom = 0xffffffffu;

/// Energies of all rows; with `withGradient` the gradient is added to gx, gy, gz, and with
/// `rowDone` second derivatives are handed over too. The widest vectors that the processor has are
/// used.
PairEnergies RunPairs(const PairView& view, PairTerms terms, bool withGradient);

/// True when a[k] and b[k] differ by at most `limit` for all k < n; false when one is not a number.
bool AllWithin(const double* a, const double* b, std::size_t n, double limit);

template <class Visit>
void PairView::ForEachRun(std::size_t i, Visit visit) const {
  if (near == nullptr) {
    visit(firstColumn > i ? firstColumn : i + 1, numSlots);
    return;
  }
  if (firstColumn <= i) visit(i + 1, i - i % kClusterSize + kClusterSize);
  for (std::size_t k = nearBegin[i]; k < nearBegin[i + 1]; ++k) {
    visit(std::size_t{near[k]}, std::size_t{near[k]} + kClusterSize);
  }
}

}  // namespace QZMolPotential
