// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "pairs/neighbours.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "pairs/loops.h"

namespace QZMolPotential {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
// Cells along an axis at most, whatever the extent of the system.
constexpr double kMostCells = 64.0;

}  // namespace

void NeighbourList::boxes(const Slots& slots) {
  boxes_.resize(slots.numSlots / kClusterSize);
  largestHalf_ = {};
  double total = 0.0;
  std::size_t filled = 0;
  const double* const axes[] = {slots.x, slots.y, slots.z};
  for (std::size_t c = 0; c < boxes_.size(); ++c) {
    std::array<double, 3> low{kInfinity, kInfinity, kInfinity};
    std::array<double, 3> high{-kInfinity, -kInfinity, -kInfinity};
    for (std::size_t s = c * kClusterSize; s < (c + 1) * kClusterSize; ++s) {
      if (slots.number[s] == kNoAtom) continue;
      for (std::size_t k = 0; k < 3; ++k) {
        low[k] = std::min(low[k], axes[k][s]);
        high[k] = std::max(high[k], axes[k][s]);
      }
    }
    Box& box = boxes_[c];
    if (low[0] > high[0]) {
      box = {{}, {-1.0, -1.0, -1.0}};
      continue;
    }
    ++filled;
    for (std::size_t k = 0; k < 3; ++k) {
      box.half[k] = 0.5 * (high[k] - low[k]);
      box.centre[k] = low[k] + box.half[k];
      largestHalf_[k] = std::max(largestHalf_[k], box.half[k]);
      total += 2.0 * box.half[k];
    }
  }
  spread_ = filled == 0 ? 0.0 : total / static_cast<double>(3 * filled);
}

// Bins the clusters by their centres, by counting.
void NeighbourList::cells(double reach) {
  std::array<double, 3> low{kInfinity, kInfinity, kInfinity};
  std::array<double, 3> high{-kInfinity, -kInfinity, -kInfinity};
  for (const Box& box : boxes_) {
    if (box.half[0] < 0.0) continue;
    for (std::size_t k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], box.centre[k]);
      high[k] = std::max(high[k], box.centre[k]);
    }
  }
  for (std::size_t k = 0; k < 3; ++k) {
    const double extent = std::max(high[k] - low[k], 0.0);
    origin_[k] = low[k];
    count_[k] = static_cast<std::size_t>(std::clamp(extent / (0.5 * reach), 1.0, kMostCells));
    edge_[k] = std::max(extent / static_cast<double>(count_[k]), 1e-3);
  }
  cellOf_.resize(boxes_.size());
  cellBegin_.assign(count_[0] * count_[1] * count_[2] + 1, 0);
  for (std::size_t c = 0; c < boxes_.size(); ++c) {
    if (boxes_[c].half[0] < 0.0) continue;
    std::size_t cell = 0;
    for (std::size_t k = 3; k-- > 0;) {
      const double along = (boxes_[c].centre[k] - origin_[k]) / edge_[k];
      cell = cell * count_[k] + std::min(static_cast<std::size_t>(along), count_[k] - 1);
    }
    cellOf_[c] = static_cast<std::uint32_t>(cell);
    ++cellBegin_[cell + 1];
  }
  for (std::size_t c = 1; c < cellBegin_.size(); ++c) cellBegin_[c] += cellBegin_[c - 1];
  cellClusters_.resize(boxes_.size());
  // Filling from the back leaves each beginning where it belongs and the clusters ascending.
  std::vector<std::uint32_t>& next = candidates_;
  next.assign(cellBegin_.begin() + 1, cellBegin_.end());
  for (std::size_t c = boxes_.size(); c-- > 0;) {
    if (boxes_[c].half[0] >= 0.0) cellClusters_[--next[cellOf_[c]]] = static_cast<std::uint32_t>(c);
  }
}

void NeighbourList::rowsOf(const Slots& slots, std::size_t cluster, double reach) {
  const Box& own = boxes_[cluster];
  const std::size_t firstOther = slots.withinMobile ? cluster + 1 : slots.numMobile / kClusterSize;
  candidates_.clear();
  if (own.half[0] >= 0.0) {
    std::array<std::size_t, 3> low{};
    std::array<std::size_t, 3> high{};
    for (std::size_t k = 0; k < 3; ++k) {
      const double span = reach + own.half[k] + largestHalf_[k];
      const double last = static_cast<double>(count_[k] - 1);
      const double from = (own.centre[k] - span - origin_[k]) / edge_[k];
      const double to = (own.centre[k] + span - origin_[k]) / edge_[k];
      low[k] = static_cast<std::size_t>(std::clamp(from, 0.0, last));
      high[k] = static_cast<std::size_t>(std::clamp(to, 0.0, last));
    }
    for (std::size_t iz = low[2]; iz <= high[2]; ++iz) {
      for (std::size_t iy = low[1]; iy <= high[1]; ++iy) {
        const std::size_t line = (iz * count_[1] + iy) * count_[0];
        for (std::size_t e = cellBegin_[line + low[0]]; e < cellBegin_[line + high[0] + 1]; ++e) {
          const std::uint32_t other = cellClusters_[e];
          if (other < firstOther) continue;
          const Box& box = boxes_[other];
          double square = 0.0;
          for (std::size_t k = 0; k < 3; ++k) {
            const double gap = std::abs(box.centre[k] - own.centre[k]) - box.half[k] - own.half[k];
            if (gap > 0.0) square += gap * gap;
          }
          if (square < reach * reach) candidates_.push_back(other);
        }
      }
    }
    std::ranges::sort(candidates_);
  }
  for (std::size_t s = cluster * kClusterSize; s < (cluster + 1) * kClusterSize; ++s) {
    begin_[s] = entries_.size();
    if (slots.number[s] == kNoAtom) continue;
    const double p[] = {slots.x[s], slots.y[s], slots.z[s]};
    for (const std::uint32_t other : candidates_) {
      const Box& box = boxes_[other];
      double square = 0.0;
      for (std::size_t k = 0; k < 3; ++k) {
        const double gap = std::abs(box.centre[k] - p[k]) - box.half[k];
        if (gap > 0.0) square += gap * gap;
      }
      if (square >= reach * reach) continue;
      entries_.push_back(other * static_cast<std::uint32_t>(kClusterSize));
      isUsed_[other] = 1;
    }
  }
}

void NeighbourList::Build(const Slots& slots, double reach) {
  boxes(slots);
  cells(reach);
  begin_.resize(slots.numMobile + 1);
  entries_.clear();
  const std::size_t mobileClusters = slots.numMobile / kClusterSize;
  isUsed_.assign(boxes_.size(), 0);
  std::fill_n(isUsed_.begin(), mobileClusters, std::uint8_t{1});
  for (std::size_t c = 0; c < mobileClusters; ++c) rowsOf(slots, c, reach);
  begin_[slots.numMobile] = entries_.size();
  used_.clear();
  for (std::size_t c = 0; c < boxes_.size(); ++c) {
    if (isUsed_[c] != 0) used_.push_back(static_cast<std::uint32_t>(c * kClusterSize));
  }
}

void OrderInSpace(std::span<std::uint32_t> numbers, const double* x, const unsigned int* atoms) {
  if (numbers.size() <= kClusterSize) return;
  std::array<double, 3> low{kInfinity, kInfinity, kInfinity};
  std::array<double, 3> high{-kInfinity, -kInfinity, -kInfinity};
  for (const std::uint32_t i : numbers) {
    for (std::size_t k = 0; k < 3; ++k) {
      const double value = x[3 * std::size_t{atoms[i]} + k];
      low[k] = std::min(low[k], value);
      high[k] = std::max(high[k], value);
    }
  }
  std::size_t axis = 0;
  for (std::size_t k = 1; k < 3; ++k) {
    if (high[k] - low[k] > high[axis] - low[axis]) axis = k;
  }
  const std::size_t clusters = (numbers.size() + kClusterSize - 1) / kClusterSize;
  const std::size_t half = clusters / 2 * kClusterSize;
  std::nth_element(numbers.begin(),
                   numbers.begin() + static_cast<std::ptrdiff_t>(half),
                   numbers.end(),
                   [&](std::uint32_t a, std::uint32_t b) {
                     const double va = x[3 * std::size_t{atoms[a]} + axis];
                     const double vb = x[3 * std::size_t{atoms[b]} + axis];
                     return va != vb ? va < vb : a < b;
                   });
  OrderInSpace(numbers.first(half), x, atoms);
  OrderInSpace(numbers.subspan(half), x, atoms);
}

}  // namespace QZMolPotential
