// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "ff/hostbins.h"

#include <algorithm>
#include <cmath>

#include "ff/compaction.h"

namespace QZMolPotential {
namespace {

// The least edge in Å: about that of the blocks of grid cells that hosts are collected for.
constexpr double kEdge = 4.0;

bool IsFinite(const GridPoint& p) {
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
  for (std::size_t i = 0; i < hosts.size; ++i) {
    const GridPoint p = hosts.At(i);
    if (IsFinite(p) && MayReach(p, around, reach2)) hosts_.Append(p, hosts.atom[i]);
  }
  cells_.Build(hosts_.size, std::max(kEdge, reach_ / 2.0), [this](std::size_t i) {
    const GridPoint p = hosts_.At(i);
    return Vec3{p[0], p[1], p[2]};
  });
}

void HostBins::Collect(const CentreBox& box, HostPoints& out) {
  const auto corner = [this](const GridPoint& face, double sign) {
    return Vec3{Outwards(face[0], reach_, sign),
                Outwards(face[1], reach_, sign),
                Outwards(face[2], reach_, sign)};
  };
  found_.clear();
  cells_.ForEachInBox(corner(box.low, -1.0), corner(box.high, 1.0), [&](unsigned int i) {
    if (MayReach(hosts_.At(i), box, reach2_)) found_.push_back(i);
  });
  std::ranges::sort(found_);
  out.size = 0;
  for (const unsigned int position : found_) out.Append(hosts_.At(position), hosts_.atom[position]);
}

}  // namespace QZMolPotential
