// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "ff/hostbins.h"

#include <algorithm>
#include <cmath>

#include "ff/compaction.h"

namespace QZMolPotential {
namespace {

// The least bin edge in Å: about that of the blocks of cells that hosts are collected for.
constexpr double kBinEdge = 4.0;

bool IsFinite(const Point& p) {
  return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

// `reach` outwards from `face`, with room for the rounding of distances and of the sum itself.
double Outwards(double face, double reach, double sign) {
  constexpr double kRounding = 1e-12;
  return face + sign * (reach + kRounding * (reach + std::abs(face)));
}

}  // namespace

HostBins::HostBins(const HostPoints& hosts, const CentreBox& around, double reach2)
    : reach2_(reach2), reach_(std::sqrt(reach2)) {
  CentreBox extent{around.high, around.low};
  for (std::size_t i = 0; i < hosts.size; ++i) {
    const Point p = hosts.At(i);
    if (!IsFinite(p) || !MayReach(p, around, reach2)) continue;
    hosts_.Append(p, hosts.atom[i]);
    for (std::size_t k = 0; k < 3; ++k) {
      extent.low[k] = std::min(extent.low[k], p[k]);
      extent.high[k] = std::max(extent.high[k], p[k]);
    }
  }
  // Not more bins than hosts, and few bins in a reach, however sparse the hosts are.
  const double most = std::cbrt(static_cast<double>(hosts_.size)) + 1.0;
  for (std::size_t k = 0; k < 3; ++k) {
    const double length = hosts_.size != 0 ? extent.high[k] - extent.low[k] : 0.0;
    const double edge = std::max(kBinEdge, reach_ / 2.0);
    origin_[k] = extent.low[k];
    dims_[k] = static_cast<std::size_t>(std::min(most, std::floor(length / edge) + 1.0));
    inverseEdge_[k] = length > 0.0 ? static_cast<double>(dims_[k]) / length : 0.0;
  }
  sortIntoBins();
}

void HostBins::sortIntoBins() {
  std::vector<std::size_t> bins(hosts_.size);
  binStart_.assign(dims_[0] * dims_[1] * dims_[2] + 1, 0);
  for (std::size_t i = 0; i < hosts_.size; ++i) {
    const Point p = hosts_.At(i);
    bins[i] = (binAlong(2, p[2]) * dims_[1] + binAlong(1, p[1])) * dims_[0] + binAlong(0, p[0]);
    ++binStart_[bins[i] + 1];
  }
  for (std::size_t b = 1; b < binStart_.size(); ++b) binStart_[b] += binStart_[b - 1];
  binned_.resize(hosts_.size);
  std::vector<unsigned int> next(binStart_.begin(), binStart_.end() - 1);
  for (std::size_t i = 0; i < hosts_.size; ++i) {
    binned_[next[bins[i]]++] = static_cast<unsigned int>(i);
  }
}

std::size_t HostBins::binAlong(std::size_t axis, double x) const {
  const double bin = (x - origin_[axis]) * inverseEdge_[axis];
  if (!(bin > 0.0)) return 0;
  const auto last = static_cast<double>(dims_[axis] - 1);
  return static_cast<std::size_t>(std::min(bin, last));
}

void HostBins::Collect(const CentreBox& box, HostPoints& out) {
  std::array<std::size_t, 3> first{};
  std::array<std::size_t, 3> last{};
  for (std::size_t k = 0; k < 3; ++k) {
    first[k] = binAlong(k, Outwards(box.low[k], reach_, -1.0));
    last[k] = binAlong(k, Outwards(box.high[k], reach_, 1.0));
  }
  found_.clear();
  for (std::size_t iz = first[2]; iz <= last[2]; ++iz) {
    for (std::size_t iy = first[1]; iy <= last[1]; ++iy) {
      const std::size_t row = (iz * dims_[1] + iy) * dims_[0];
      for (std::size_t b = binStart_[row + first[0]]; b < binStart_[row + last[0] + 1]; ++b) {
        if (MayReach(hosts_.At(binned_[b]), box, reach2_)) found_.push_back(binned_[b]);
      }
    }
  }
  std::ranges::sort(found_);
  out.size = 0;
  for (const unsigned int position : found_) out.Append(hosts_.At(position), hosts_.atom[position]);
}

}  // namespace QZMolPotential
