// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

#include "linalg/dense_kernels.h"
#include "linalg/tridiagonal.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "linalg/orthogonalise.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "linalg/dense_loops.h"

HWY_BEFORE_NAMESPACE();
namespace QZMolPotential::HWY_NAMESPACE {

double Orthogonalise(std::span<double> x, std::span<const double* const> others) {
  constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
  const std::size_t n = x.size();
  Scale(1.0 / Dense::MaxAbs(x.data(), n), x.data(), n);
  const double start = std::sqrt(Dot(x.data(), x.data(), n));
  double before = start;
  for (int round = 0; round < 4 && !others.empty(); ++round) {
    for (const double* other : others) {
      Axpy(-Dot(other, x.data(), n), other, x.data(), n);
    }
    const double after = std::sqrt(Dot(x.data(), x.data(), n));
    if (!(after > 100.0 * kEpsilon * start)) return 0.0;
    const bool done = after > 0.5 * before;
    before = after;
    if (done) break;
  }
  Scale(1.0 / before, x.data(), n);
  return start;
}

}  // namespace QZMolPotential::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace QZMolPotential {

HWY_EXPORT(Orthogonalise);

double Orthogonalise(std::span<double> x, std::span<const double* const> others) {
  return HWY_DYNAMIC_DISPATCH(Orthogonalise)(x, others);
}

}  // namespace QZMolPotential
#endif
