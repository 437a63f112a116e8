// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "ff/compaction.h"

#include <bit>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace QZMolPotential {
namespace {

// Four entries are written at a time, of which the last ones may be spare.
constexpr std::size_t kLanes = 4;

// The plain loops, from entry `first` and with `written` entries there already. They write without
// a branch, since which hosts are in reach is unpredictable.
std::size_t FilterFrom(std::size_t first,
                       std::size_t written,
                       const HostPoints& in,
                       const CentreBox& box,
                       double reach2,
                       HostPoints& out) {
  for (std::size_t j = first; j < in.size; ++j) {
    const Point p = in.At(j);
    for (std::size_t k = 0; k < 3; ++k) out.x[k][written] = p[k];
    out.atom[written] = in.atom[j];
    written += static_cast<std::size_t>(MayReach(p, box, reach2));
  }
  return written;
}

std::size_t CompactFrom(std::size_t first,
                        std::size_t written,
                        const HostPoints& hosts,
                        const double* planar2,
                        double cz,
                        double reach2,
                        unsigned int* out) {
  const double* z = hosts.x[2].data();
  for (std::size_t j = first; j < hosts.size; ++j) {
    const double dz = z[j] - cz;
    out[written] = hosts.atom[j];
    written += static_cast<std::size_t>(planar2[j] + dz * dz < reach2);
  }
  return written;
}

#if defined(__x86_64__)

// For each set of four flags: the shuffles that move the flagged lanes to the front, of 4-byte
// lanes by bytes and of 8-byte lanes by halves.
struct Shuffles {
  alignas(16) std::array<std::array<std::uint8_t, 16>, 16> words{};
  alignas(32) std::array<std::array<std::uint32_t, 8>, 16> doubles{};
};
constexpr Shuffles kToFront = [] {
  Shuffles shuffles;
  for (unsigned int flags = 0; flags < 16; ++flags) {
    std::size_t front = 0;
    for (unsigned int lane = 0; lane < kLanes; ++lane) {
      if ((flags >> lane & 1U) == 0) continue;
      for (unsigned int k = 0; k < 4; ++k) {
        shuffles.words[flags][4 * front + k] = static_cast<std::uint8_t>(4 * lane + k);
      }
      shuffles.doubles[flags][2 * front] = 2 * lane;
      shuffles.doubles[flags][2 * front + 1] = 2 * lane + 1;
      ++front;
    }
  }
  return shuffles;
}();

[[gnu::target("avx2")]] inline unsigned int FlagsBelow(__m256d d2, __m256d limit) {
  return static_cast<unsigned int>(_mm256_movemask_pd(_mm256_cmp_pd(d2, limit, _CMP_LT_OQ)));
}

[[gnu::target("avx2")]] inline void StoreFlagged(const unsigned int* in,
                                                 unsigned int flags,
                                                 unsigned int* out) {
  const __m128i shuffle =
      _mm_load_si128(reinterpret_cast<const __m128i*>(kToFront.words[flags].data()));
  const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(words, shuffle));
}

[[gnu::target("avx2")]] std::size_t FilterAvx2(const HostPoints& in,
                                               const CentreBox& box,
                                               double reach2,
                                               HostPoints& out) {
  const __m256d limit = _mm256_set1_pd(reach2);
  const __m256d zero = _mm256_setzero_pd();
  std::size_t written = 0;
  std::size_t j = 0;
  for (; j + kLanes <= in.size; j += kLanes) {
    __m256d x[3];
    __m256d square[3];
    for (std::size_t k = 0; k < 3; ++k) {
      x[k] = _mm256_loadu_pd(&in.x[k][j]);
      const __m256d below = _mm256_sub_pd(_mm256_set1_pd(box.low[k]), x[k]);
      const __m256d above = _mm256_sub_pd(x[k], _mm256_set1_pd(box.high[k]));
      const __m256d outside = _mm256_max_pd(zero, _mm256_max_pd(below, above));
      square[k] = _mm256_mul_pd(outside, outside);
    }
    const __m256d d2 = _mm256_add_pd(_mm256_add_pd(square[0], square[1]), square[2]);
    const unsigned int flags = FlagsBelow(d2, limit);
    const __m256i shuffle =
        _mm256_load_si256(reinterpret_cast<const __m256i*>(kToFront.doubles[flags].data()));
    for (std::size_t k = 0; k < 3; ++k) {
      const __m256i front = _mm256_permutevar8x32_epi32(_mm256_castpd_si256(x[k]), shuffle);
      _mm256_storeu_pd(&out.x[k][written], _mm256_castsi256_pd(front));
    }
    StoreFlagged(&in.atom[j], flags, &out.atom[written]);
    written += static_cast<std::size_t>(std::popcount(flags));
  }
  return FilterFrom(j, written, in, box, reach2, out);
}

[[gnu::target("avx2")]] std::size_t CompactAvx2(
    const HostPoints& hosts, const double* planar2, double cz, double reach2, unsigned int* out) {
  const double* z = hosts.x[2].data();
  const __m256d centre = _mm256_set1_pd(cz);
  const __m256d limit = _mm256_set1_pd(reach2);
  std::size_t written = 0;
  std::size_t j = 0;
  for (; j + kLanes <= hosts.size; j += kLanes) {
    const __m256d dz = _mm256_sub_pd(_mm256_loadu_pd(z + j), centre);
    const __m256d d2 = _mm256_add_pd(_mm256_loadu_pd(planar2 + j), _mm256_mul_pd(dz, dz));
    const unsigned int flags = FlagsBelow(d2, limit);
    StoreFlagged(&hosts.atom[j], flags, out + written);
    written += static_cast<std::size_t>(std::popcount(flags));
  }
  return CompactFrom(j, written, hosts, planar2, cz, reach2, out);
}

bool HasAvx2() {
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
}

#endif

}  // namespace

void FilterByBox(const HostPoints& in, const CentreBox& box, double reach2, HostPoints& out) {
  out.MakeRoom(in.size + kLanes);
#if defined(__x86_64__)
  if (HasAvx2()) {
    out.size = FilterAvx2(in, box, reach2, out);
    return;
  }
#endif
  out.size = FilterFrom(0, 0, in, box, reach2, out);
}

std::size_t CompactColumn(const HostPoints& hosts,
                          const std::vector<double>& planar2,
                          double cz,
                          double reach2,
                          std::vector<unsigned int>& out) {
  if (out.size() < hosts.size + kLanes) out.resize(hosts.size + kLanes);
#if defined(__x86_64__)
  if (HasAvx2()) return CompactAvx2(hosts, planar2.data(), cz, reach2, out.data());
#endif
  return CompactFrom(0, 0, hosts, planar2.data(), cz, reach2, out.data());
}

}  // namespace QZMolPotential
