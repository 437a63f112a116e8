// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "ff/compaction.h"

#include <array>
#include <bit>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace QZMolPotential {
namespace {

std::size_t CompactFrom(std::size_t first,
                        std::size_t written,
                        const double* planar2,
                        const double* z,
                        const unsigned int* atom,
                        std::size_t count,
                        double cz,
                        double reach2,
                        unsigned int* out) {
  for (std::size_t j = first; j < count; ++j) {
    const double dz = z[j] - cz;
    // Without a branch: which hosts are in reach is unpredictable.
    out[written] = atom[j];
    written += static_cast<std::size_t>(planar2[j] + dz * dz < reach2);
  }
  return written;
}

#if defined(__x86_64__)

// For each set of four flags the byte shuffle that moves the flagged 4-byte lanes to the front.
constexpr auto kLanesToFront = [] {
  std::array<std::array<std::uint8_t, 16>, 16> shuffles{};
  for (unsigned int flags = 0; flags < 16; ++flags) {
    std::size_t byte = 0;
    for (unsigned int lane = 0; lane < 4; ++lane) {
      if ((flags >> lane & 1U) == 0) continue;
      for (unsigned int k = 0; k < 4; ++k) {
        shuffles[flags][byte++] = static_cast<std::uint8_t>(4 * lane + k);
      }
    }
  }
  return shuffles;
}();

[[gnu::target("avx2")]] std::size_t CompactAvx2(const double* planar2,
                                                const double* z,
                                                const unsigned int* atom,
                                                std::size_t count,
                                                double cz,
                                                double reach2,
                                                unsigned int* out) {
  const __m256d centre = _mm256_set1_pd(cz);
  const __m256d limit = _mm256_set1_pd(reach2);
  std::size_t written = 0;
  std::size_t j = 0;
  for (; j + 4 <= count; j += 4) {
    const __m256d dz = _mm256_sub_pd(_mm256_loadu_pd(z + j), centre);
    const __m256d d2 = _mm256_add_pd(_mm256_loadu_pd(planar2 + j), _mm256_mul_pd(dz, dz));
    const auto flags =
        static_cast<unsigned int>(_mm256_movemask_pd(_mm256_cmp_pd(d2, limit, _CMP_LT_OQ)));
    const __m128i atoms = _mm_loadu_si128(reinterpret_cast<const __m128i*>(atom + j));
    const __m128i shuffle =
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(kLanesToFront[flags].data()));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + written), _mm_shuffle_epi8(atoms, shuffle));
    written += static_cast<std::size_t>(std::popcount(flags));
  }
  return CompactFrom(j, written, planar2, z, atom, count, cz, reach2, out);
}

const bool kHasAvx2 = __builtin_cpu_supports("avx2") != 0;

#endif

}  // namespace

std::size_t CompactColumn(const double* planar2,
                          const double* z,
                          const unsigned int* atom,
                          std::size_t count,
                          double cz,
                          double reach2,
                          unsigned int* out) {
#if defined(__x86_64__)
  if (kHasAvx2) return CompactAvx2(planar2, z, atom, count, cz, reach2, out);
#endif
  return CompactFrom(0, 0, planar2, z, atom, count, cz, reach2, out);
}

}  // namespace QZMolPotential
