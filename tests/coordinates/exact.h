// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "coordinates/field.h"
#include "molpotential/mapped.h"
#include "support/molecules.h"

namespace TestSupport {

inline Reals VarsOf(QZMolPotential::QZMappedFunc& f, const Reals& x) {
  Reals vars(f.NumVar());
  if (f.NumVar() > 0) f.GetVar(vars.data(), x.data());
  return vars;
}

inline Reals CoordsOf(const QZMolPotential::QZMappedFunc& f, const Reals& vars, std::size_t n) {
  Reals x(n, 1e9);
  EXPECT_TRUE(f.AdaptVar(x.data(), vars.data()));
  return x;
}

/// A rigid motion of all atoms, to somewhere far off.
inline Reals Elsewhere(Reals x) {
  const double c = std::cos(2.0);
  const double s = std::sin(2.0);
  for (std::size_t i = 0; i < x.size(); i += 3) {
    const double px = x[i];
    const double py = x[i + 1];
    const double pz = x[i + 2];
    x[i] = c * px - s * pz + 20.0;
    x[i + 1] = s * px + c * pz - 7.0;
    x[i + 2] = 3.0 - py;
  }
  return x;
}

/// Derivatives at the start and away from it, the way back in the frame of the start, and a second
/// Setup. `held`: atoms that must not move at all.
inline void ExpectExact(QZMolPotential::QZMappedFunc& f,
                        const QZChem::QZGraphMol& mol,
                        std::mt19937& rng,
                        const std::vector<unsigned int>& held = {}) {
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(f.Setup(mol));
    Reals x = Jittered(Coords(mol), 0.05, rng);
    if (round == 1) x = Elsewhere(x);
    ASSERT_TRUE(f.SetupConf(x.data()));
    const Reals start = VarsOf(f, x);
    EXPECT_LE(LargestDifference(CoordsOf(f, start, x.size()), x), 1e-11);
    EXPECT_EQ(CheckDerivatives(f, start), "");
    const Reals away = Jittered(start, 0.1, rng);
    EXPECT_EQ(CheckDerivatives(f, away), "");
    EXPECT_EQ(f.GetScales().size(), f.NumVar());
    const Reals moved = CoordsOf(f, away, x.size());
    for (const unsigned int atom : held) {
      for (unsigned int j = 3 * atom; j < 3 * atom + 3; ++j) EXPECT_EQ(moved[j], x[j]) << j;
    }
  }
}

}  // namespace TestSupport
