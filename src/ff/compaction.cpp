// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "ff/compaction.h"

#include <cstdint>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ff/compaction.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "kernels/simd.h"

HWY_BEFORE_NAMESPACE();
namespace QZMolPotential::HWY_NAMESPACE {

// As many atom indices as doubles.
using Indices = hn::Rebind<std::uint32_t, Doubles>;

// Products and sums stay apart throughout: a fused one would round differently.

// The flagged lanes of `in`, moved to the front.
HWY_INLINE void StoreFlagged(const unsigned int* in, const std::uint8_t* flags, unsigned int* out) {
  const Indices d;
  hn::CompressBitsStore(hn::LoadU(d, in), flags, d, out);
}

std::size_t FilterHosts(const HostPoints& in,
                        const CentreBox& box,
                        double reach2,
                        HostPoints& out) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const auto limit = hn::Set(d, reach2);
  std::size_t written = 0;
  std::size_t j = 0;
  const auto outside = [&](std::size_t k, hn::Vec<Doubles> x) HWY_ATTR {
    const auto below = hn::Sub(hn::Set(d, box.low[k]), x);
    const auto above = hn::Sub(x, hn::Set(d, box.high[k]));
    const auto off = hn::Max(hn::Zero(d), hn::Max(below, above));
    return hn::Mul(off, off);
  };
  for (; j + lanes <= in.size; j += lanes) {
    const auto x = hn::LoadU(d, &in.x[0][j]);
    const auto y = hn::LoadU(d, &in.x[1][j]);
    const auto z = hn::LoadU(d, &in.x[2][j]);
    const auto d2 = hn::Add(hn::Add(outside(0, x), outside(1, y)), outside(2, z));
    std::uint8_t flags[8] = {};
    hn::StoreMaskBits(d, hn::Lt(d2, limit), flags);
    hn::CompressBitsStore(x, flags, d, &out.x[0][written]);
    hn::CompressBitsStore(y, flags, d, &out.x[1][written]);
    const std::size_t count = hn::CompressBitsStore(z, flags, d, &out.x[2][written]);
    StoreFlagged(&in.atom[j], flags, &out.atom[written]);
    written += count;
  }
  // Without a branch, since which hosts are in reach is unpredictable.
  for (; j < in.size; ++j) {
    const GridPoint p = in.At(j);
    for (std::size_t k = 0; k < 3; ++k) out.x[k][written] = p[k];
    out.atom[written] = in.atom[j];
    written += static_cast<std::size_t>(MayReach(p, box, reach2));
  }
  return written;
}

std::size_t CompactHosts(
    const HostPoints& hosts, const double* planar2, double cz, double reach2, unsigned int* out) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const double* z = hosts.x[2].data();
  const auto centre = hn::Set(d, cz);
  const auto limit = hn::Set(d, reach2);
  std::size_t written = 0;
  std::size_t j = 0;
  for (; j + lanes <= hosts.size; j += lanes) {
    const auto dz = hn::Sub(hn::LoadU(d, z + j), centre);
    const auto d2 = hn::Add(hn::LoadU(d, planar2 + j), hn::Mul(dz, dz));
    const auto near = hn::Lt(d2, limit);
    std::uint8_t flags[8] = {};
    hn::StoreMaskBits(d, near, flags);
    StoreFlagged(&hosts.atom[j], flags, out + written);
    written += hn::CountTrue(d, near);
  }
  for (; j < hosts.size; ++j) {
    const double dz = z[j] - cz;
    out[written] = hosts.atom[j];
    written += static_cast<std::size_t>(planar2[j] + dz * dz < reach2);
  }
  return written;
}

}  // namespace QZMolPotential::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace QZMolPotential {

HWY_EXPORT(FilterHosts);
HWY_EXPORT(CompactHosts);

namespace {

// A whole register is written at a time, of which the last entries may be spare.
constexpr std::size_t kSpare = 8;

}  // namespace

void FilterByBox(const HostPoints& in, const CentreBox& box, double reach2, HostPoints& out) {
  out.MakeRoom(in.size + kSpare);
  out.size = HWY_DYNAMIC_DISPATCH(FilterHosts)(in, box, reach2, out);
}

std::size_t CompactColumn(const HostPoints& hosts,
                          const std::vector<double>& planar2,
                          double cz,
                          double reach2,
                          std::vector<unsigned int>& out) {
  if (out.size() < hosts.size + kSpare) out.resize(hosts.size + kSpare);
  return HWY_DYNAMIC_DISPATCH(CompactHosts)(hosts, planar2.data(), cz, reach2, out.data());
}

}  // namespace QZMolPotential
#endif
