// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "linalg/rows.h"

#include <algorithm>
#include <utility>

#include "kernels/packed.h"
#include "molpotential/linalg.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "linalg/rows.cpp"
#include <hwy/foreach_target.h>  // compiles this file once for each instruction set

#include "linalg/dense_loops.h"

HWY_BEFORE_NAMESPACE();
namespace QZMolPotential::HWY_NAMESPACE {

void EliminateRows(double* a, std::size_t n, std::size_t k) {
  double* pivotRow = a + k * n;
  const double inverse = 1.0 / pivotRow[k];
  Scale(inverse, pivotRow, n);
  pivotRow[k] = inverse;
  for (std::size_t i = 0; i < n; ++i) {
    if (i == k) continue;
    double* row = a + i * n;
    const double factor = std::exchange(row[k], 0.0);
    Axpy(-factor, pivotRow, row, n);
  }
}

void PackedProduct(double* y, const double* a, const double* x, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    const double* row = a + PackedIndex(i, 0);
    y[i] = Dot(row, x, i + 1);
    Axpy(x[i], row, y, i);
  }
}

}  // namespace QZMolPotential::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace QZMolPotential {

HWY_EXPORT(EliminateRows);
HWY_EXPORT(PackedProduct);

void Eliminate(double* a, std::size_t n, std::size_t k) {
  HWY_DYNAMIC_DISPATCH(EliminateRows)(a, n, k);
}

void matxvec(double* y, double* a, double* x, int n) {
  HWY_DYNAMIC_DISPATCH(PackedProduct)(y, a, x, static_cast<std::size_t>(std::max(n, 0)));
}

}  // namespace QZMolPotential
#endif
