// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/map.h"

#include <algorithm>
#include <limits>
#include <new>

#include "kernels/packed.h"

namespace QZMolPotential {
namespace {

// Memory that nobody touches before it is needed costs addresses only. Null where it is not to be
// had.
std::unique_ptr<double[]> Reserve(std::size_t rows, std::size_t columns) {
  constexpr std::size_t kMost = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(double);
  if (columns != 0 && rows > kMost / columns) return nullptr;
  return std::unique_ptr<double[]>(new (std::nothrow) double[rows * columns]);
}

}  // namespace

CoordinateMap::~CoordinateMap() = default;

CoordinateMap::CoordinateMap(const CoordinateMap& other)
    : numCoords_(other.numCoords_), reason_(other.reason_) {}

void CoordinateMap::ReserveHessian() {
  if (pulled_) return;
  pulled_ = Reserve(NumVar(), numCoords_);
  column_ = Reserve(1, numCoords_ + NumVar());
}

void CoordinateMap::AddCurvature(const double* /*cartGrad*/, double* /*hess*/) {}

bool CoordinateMap::PullHessian(const double* cartHess, const double* cartGrad, double* hess) {
  ReserveHessian();
  if (!pulled_ || !column_) return false;
  const std::size_t n = numCoords_;
  const std::size_t count = NumVar();
  double* const column = column_.get();
  double* const image = column + n;
  for (std::size_t c = 0; c < n; ++c) {
    std::copy_n(cartHess + PackedIndex(c, 0), c + 1, column);
    for (std::size_t r = c + 1; r < n; ++r) column[r] = cartHess[PackedIndex(r, c)];
    std::fill_n(image, count, 0.0);
    PullGradient(column, image);
    for (std::size_t v = 0; v < count; ++v) pulled_[v * n + c] = image[v];
  }
  for (std::size_t v = 0; v < count; ++v) {
    std::fill_n(image, count, 0.0);
    PullGradient(pulled_.get() + v * n, image);
    double* const row = hess + PackedIndex(v, 0);
    for (std::size_t w = 0; w <= v; ++w) row[w] += image[w];
  }
  AddCurvature(cartGrad, hess);
  return true;
}

bool CoordinateMap::PullModel(const std::vector<QZOpt::QZMatrixEntry>& cart,
                              std::vector<QZOpt::QZMatrixEntry>& entries) {
  constexpr std::size_t kLargest = 3000;  // coordinates: 36 MB a matrix
  const std::size_t count = NumVar();
  if (numCoords_ > kLargest || count > kLargest) return false;
  std::vector<double> dense(PackedSize(numCoords_), 0.0);
  for (const auto& [row, column, value] : cart) dense[PackedIndex(row, column)] += value;
  const std::vector<double> noGradient(numCoords_, 0.0);
  std::vector<double> pulled(PackedSize(count), 0.0);
  if (!PullHessian(dense.data(), noGradient.data(), pulled.data())) return false;
  for (std::size_t v = 0; v < count; ++v) {
    for (std::size_t w = 0; w <= v; ++w) {
      const double value = pulled[PackedIndex(v, w)];
      if (value == 0.0) continue;
      entries.push_back({static_cast<unsigned int>(v), static_cast<unsigned int>(w), value});
    }
  }
  return true;
}

}  // namespace QZMolPotential
