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
constexpr double kNowhere = std::numeric_limits<double>::quiet_NaN();

Vec3 Lower(const Vec3& a, const Vec3& b) {
  return {std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)};
}
Vec3 Higher(const Vec3& a, const Vec3& b) {
  return {std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)};
}

// The squared distance of two boxes whose centres are `apart` and whose half extents add up to
// `half`.
double GapSquare(const Vec3& apart, const Vec3& half) {
  const Vec3 gap{std::max(std::abs(apart.x) - half.x, 0.0),
                 std::max(std::abs(apart.y) - half.y, 0.0),
                 std::max(std::abs(apart.z) - half.z, 0.0)};
  return Dot(gap, gap);
}

}  // namespace

void NeighbourList::boxes(const Slots& slots) {
  boxes_.resize(slots.numSlots / kClusterSize);
  largestHalf_ = {};
  double total = 0.0;
  std::size_t filled = 0;
  for (std::size_t c = 0; c < boxes_.size(); ++c) {
    Vec3 low{kInfinity, kInfinity, kInfinity};
    Vec3 high{-kInfinity, -kInfinity, -kInfinity};
    for (std::size_t s = c * kClusterSize; s < (c + 1) * kClusterSize; ++s) {
      if (slots.number[s] == kNoAtom) continue;
      const Vec3 p{slots.x[s], slots.y[s], slots.z[s]};
      low = Lower(low, p);
      high = Higher(high, p);
    }
    Box& box = boxes_[c];
    if (low.x > high.x) {
      box = {{}, {-1.0, -1.0, -1.0}};
      continue;
    }
    ++filled;
    box.half = 0.5 * (high - low);
    box.centre = low + box.half;
    largestHalf_ = Higher(largestHalf_, box.half);
    total += 2.0 * (box.half.x + box.half.y + box.half.z);
  }
  spread_ = filled == 0 ? 0.0 : total / static_cast<double>(3 * filled);
}

void NeighbourList::rowsOf(const Slots& slots, std::size_t cluster, double reach) {
  const Box& own = boxes_[cluster];
  const std::size_t firstOther = slots.withinMobile ? cluster + 1 : slots.numMobile / kClusterSize;
  candidates_.clear();
  if (!own.IsEmpty()) {
    const Vec3 span = Vec3{reach, reach, reach} + largestHalf_ + own.half;
    cells_.ForEachInBox(own.centre - span, own.centre + span, [&](CellList::Index other) {
      if (other < firstOther) return;
      const Box& box = boxes_[other];
      if (GapSquare(box.centre - own.centre, box.half + own.half) < reach * reach) {
        candidates_.push_back(other);
      }
    });
    std::ranges::sort(candidates_);
  }
  for (std::size_t s = cluster * kClusterSize; s < (cluster + 1) * kClusterSize; ++s) {
    begin_[s] = entries_.size();
    if (slots.number[s] == kNoAtom) continue;
    const Vec3 p{slots.x[s], slots.y[s], slots.z[s]};
    for (const std::uint32_t other : candidates_) {
      const Box& box = boxes_[other];
      if (GapSquare(box.centre - p, box.half) >= reach * reach) continue;
      entries_.push_back(other * static_cast<std::uint32_t>(kClusterSize));
      isUsed_[other] = 1;
    }
  }
}

void NeighbourList::Build(const Slots& slots, double reach) {
  boxes(slots);
  cells_.Build(boxes_.size(), 0.5 * reach, [this](std::size_t c) {
    return boxes_[c].IsEmpty() ? Vec3{kNowhere, kNowhere, kNowhere} : boxes_[c].centre;
  });
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
  Vec3 low{kInfinity, kInfinity, kInfinity};
  Vec3 high{-kInfinity, -kInfinity, -kInfinity};
  for (const std::uint32_t i : numbers) {
    low = Lower(low, LoadAtom(x, atoms[i]));
    high = Higher(high, LoadAtom(x, atoms[i]));
  }
  const Vec3 extent = high - low;
  std::size_t axis = extent.y > extent.x ? 1 : 0;
  if (extent.z > std::max(extent.x, extent.y)) axis = 2;
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
