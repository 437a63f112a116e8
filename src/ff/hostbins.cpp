// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "ff/hostbins.h"

#include <algorithm>
#include <cmath>

namespace QZMolPotential {
namespace {

// The least bin edge in Å: about that of the blocks of cells that hosts are collected for.
constexpr double kBinEdge = 4.0;

// `reach` outwards from `face`, with room for the rounding of distances and of the sum itself.
double Outwards(double face, double reach, double sign) {
  constexpr double kRounding = 1e-12;
  return face + sign * (reach + kRounding * (reach + std::abs(face)));
}

}  // namespace

void HostPoints::Resize(std::size_t count) {
  for (auto& component : x) component.resize(count);
  atom.resize(count);
}

void HostPoints::Append(const Point& point, unsigned int index) {
  for (std::size_t k = 0; k < 3; ++k) x[k].push_back(point[k]);
  atom.push_back(index);
}

void FilterByBox(const HostPoints& in, const CentreBox& box, double reach2, HostPoints& out) {
  out.Resize(in.Size());
  const auto outside = [&box](std::size_t axis, double x) {
    return std::max(0.0, std::max(box.low[axis] - x, x - box.high[axis]));
  };
  std::size_t kept = 0;
  for (std::size_t i = 0; i < in.Size(); ++i) {
    const double dx = outside(0, in.x[0][i]);
    const double dy = outside(1, in.x[1][i]);
    const double dz = outside(2, in.x[2][i]);
    for (std::size_t k = 0; k < 3; ++k) out.x[k][kept] = in.x[k][i];
    out.atom[kept] = in.atom[i];
    kept += static_cast<std::size_t>(dx * dx + dy * dy + dz * dz < reach2);
  }
  out.Resize(kept);
}

HostBins::HostBins(const HostPoints& hosts, const CentreBox& around, double reach) {
  CentreBox limits = around;
  for (std::size_t k = 0; k < 3; ++k) {
    limits.low[k] = Outwards(around.low[k], reach, -1.0);
    limits.high[k] = Outwards(around.high[k], reach, 1.0);
  }
  CentreBox extent{limits.high, limits.low};
  for (std::size_t i = 0; i < hosts.Size(); ++i) {
    const Point p{hosts.x[0][i], hosts.x[1][i], hosts.x[2][i]};
    bool inside = true;
    for (std::size_t k = 0; k < 3; ++k) {
      inside = inside && std::isfinite(p[k]) && p[k] >= limits.low[k] && p[k] <= limits.high[k];
    }
    if (!inside) continue;
    hosts_.Append(p, hosts.atom[i]);
    for (std::size_t k = 0; k < 3; ++k) {
      extent.low[k] = std::min(extent.low[k], p[k]);
      extent.high[k] = std::max(extent.high[k], p[k]);
    }
  }
  if (hosts_.Size() == 0) extent = {};

  // Not more bins than hosts, and few bins in a reach, however sparse the hosts are.
  const double bound = std::cbrt(static_cast<double>(hosts_.Size())) + 1.0;
  for (std::size_t k = 0; k < 3; ++k) {
    origin_[k] = extent.low[k];
    const double length = extent.high[k] - extent.low[k];
    const double count =
        std::min(bound, std::floor(length / std::max(kBinEdge, reach / 2.0)) + 1.0);
    dims_[k] = static_cast<std::size_t>(std::max(1.0, count));
    inverseEdge_[k] = length > 0.0 ? static_cast<double>(dims_[k]) / length : 0.0;
  }
  const auto binOf = [this](std::size_t i) {
    return (binAlong(2, hosts_.x[2][i]) * dims_[1] + binAlong(1, hosts_.x[1][i])) * dims_[0] +
           binAlong(0, hosts_.x[0][i]);
  };
  binStart_.assign(dims_[0] * dims_[1] * dims_[2] + 1, 0);
  for (std::size_t i = 0; i < hosts_.Size(); ++i) ++binStart_[binOf(i) + 1];
  for (std::size_t b = 1; b < binStart_.size(); ++b) binStart_[b] += binStart_[b - 1];
  binned_.resize(hosts_.Size());
  std::vector<unsigned int> next(binStart_.begin(), binStart_.end() - 1);
  for (std::size_t i = 0; i < hosts_.Size(); ++i) {
    binned_[next[binOf(i)]++] = static_cast<unsigned int>(i);
  }
}

std::size_t HostBins::binAlong(std::size_t axis, double x) const {
  const double bin = (x - origin_[axis]) * inverseEdge_[axis];
  if (!(bin > 0.0)) return 0;
  const auto last = static_cast<double>(dims_[axis] - 1);
  return static_cast<std::size_t>(std::min(bin, last));
}

void HostBins::Collect(const CentreBox& box, double reach, HostPoints& out) {
  std::array<std::size_t, 3> first{};
  std::array<std::size_t, 3> last{};
  for (std::size_t k = 0; k < 3; ++k) {
    first[k] = binAlong(k, Outwards(box.low[k], reach, -1.0));
    last[k] = binAlong(k, Outwards(box.high[k], reach, 1.0));
  }
  found_.clear();
  for (std::size_t iz = first[2]; iz <= last[2]; ++iz) {
    for (std::size_t iy = first[1]; iy <= last[1]; ++iy) {
      const std::size_t row = (iz * dims_[1] + iy) * dims_[0];
      const auto begin = static_cast<std::ptrdiff_t>(binStart_[row + first[0]]);
      const auto end = static_cast<std::ptrdiff_t>(binStart_[row + last[0] + 1]);
      found_.insert(found_.end(), binned_.begin() + begin, binned_.begin() + end);
    }
  }
  std::ranges::sort(found_);
  out.Resize(found_.size());
  for (std::size_t j = 0; j < found_.size(); ++j) {
    for (std::size_t k = 0; k < 3; ++k) out.x[k][j] = hosts_.x[k][found_[j]];
    out.atom[j] = hosts_.atom[found_[j]];
  }
}

}  // namespace QZMolPotential
