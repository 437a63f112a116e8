// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "pairs/input.h"
#include "pairs/loops.h"
#include "pairs/neighbours.h"

namespace QZMolPotential {

/// One system's arrays as the loops want them: atoms in slots, mobile ones first, parameters of
/// every mobile atom's type in the order of the slots, special pairs by row. With a cutoff slots
/// are ordered in space, in clusters of `kClusterSize` that hold either mobile atoms or others.
class PairLayout {
 public:
  explicit PairLayout(const PairInput& input);

  std::size_t NumPairs() const { return numPairs_; }
  std::size_t NumChargedPairs() const { return numChargedPairs_; }
  std::size_t NumListings() const { return numListings_; }

  /// Takes the coordinates, listing neighbours anew where they may have changed. False: neighbours
  /// cannot be listed since a coordinate is not finite.
  bool Load(const PairInput& input, const double* x);
  void ClearGradient();
  void AddGradient(const PairInput& input, double* grad) const;

  /// Valid until the next `Load`, copy or move.
  PairView View(const PairInput& input);
  /// Room for second derivatives, made when it is first asked for: 6 doubles a slot, zeros.
  std::vector<double>& Diagonal();
  /// Calls visit(i, j, oneFour) for each counted pair of numbers i < j, in ascending order.
  template <class Visit>
  void ForEachPair(const PairInput& input, Visit visit) const;
  /// Calls visit(slot) for each slot that the loops read.
  template <class Visit>
  void ForEachUsedSlot(Visit visit) const;

 private:
  struct Special {
    std::uint32_t low;  // numbers
    std::uint32_t high;
    bool oneFour;
    auto operator<=>(const Special&) const = default;  // NOLINT(modernize-use-nullptr)
  };

  bool isMobile(const PairInput& input, std::size_t number) const {
    return input.mobile.empty() || input.mobile[number] != 0;
  }
  bool visits(const PairInput& input, std::size_t i, std::size_t j) const;
  void collectSpecials(const PairInput& input);
  void rejectPairs(const PairInput& input);
  void countPairs(const PairInput& input);
  void place(const PairInput& input);
  void order(const PairInput& input, const double* x);
  void fillTables(const PairInput& input);
  void fillSpecials(const PairInput& input);
  bool isListed(const PairInput& input, const double* x) const;
  bool list(const PairInput& input, const double* x);
  void gather(const PairInput& input, const double* x);

  bool isCut_ = false;
  std::vector<std::uint8_t> active_;  // by number: has a pair that is accepted
  std::vector<Special> specials_;
  std::size_t numPairs_ = 0;
  std::size_t numChargedPairs_ = 0;

  // By slot, with room for reading beyond the end.
  std::size_t numMobileSlots_ = 0;
  std::size_t numSlots_ = 0;
  std::vector<std::uint32_t> number_;
  std::vector<std::uint16_t> type_;
  std::vector<double> x_, y_, z_, gx_, gy_, gz_;
  std::vector<double> chargeOf_, charge_;
  std::vector<std::size_t> tableRow_;
  std::vector<double> scale_, depth_;  // [row of a mobile atom's type][slot]
  std::vector<std::size_t> specialBegin_;
  std::vector<std::uint32_t> special_;
  std::vector<double> first_, second_, diagonal_;

  // Cutoff only.
  NeighbourList near_;
  std::vector<double> reference_;  // coordinates at the latest listing
  std::size_t numListings_ = 0;
  double spreadAtOrder_ = 0.0;
};

template <class Visit>
void PairLayout::ForEachPair(const PairInput& input, Visit visit) const {
  const auto n = static_cast<unsigned int>(input.NumAtoms());
  auto special = specials_.begin();
  for (unsigned int i = 0; i < n; ++i) {
    for (unsigned int j = i + 1; j < n; ++j) {
      if (active_[i] == 0 || active_[j] == 0 || !visits(input, i, j)) continue;
      const bool isSpecial = special != specials_.end() && special->low == i && special->high == j;
      if (!isSpecial) {
        visit(i, j, false);
      } else if ((special++)->oneFour) {
        visit(i, j, true);
      }
    }
  }
}

template <class Visit>
void PairLayout::ForEachUsedSlot(Visit visit) const {
  const auto run = [&](std::size_t begin, std::size_t end) {
    for (std::size_t s = begin; s < end; ++s) {
      if (number_[s] != kNoAtom) visit(s);
    }
  };
  if (!isCut_) {
    run(0, numSlots_);
    return;
  }
  for (const std::uint32_t begin : near_.Used()) run(begin, begin + kClusterSize);
}

}  // namespace QZMolPotential
