// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/map.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>

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

CoordinateMap::CoordinateMap(std::size_t numCoords) : numCoords_(numCoords), moving_(numCoords) {
  std::iota(moving_.begin(), moving_.end(), 0U);
}

CoordinateMap::CoordinateMap(const CoordinateMap& other)
    : numCoords_(other.numCoords_), reason_(other.reason_), moving_(other.moving_) {}

void CoordinateMap::ReserveHessian() {
  if (pulled_) return;
  pulled_ = Reserve(NumVar(), moving_.size());
  column_ = Reserve(1, numCoords_ + NumVar());
}

bool CoordinateMap::CheckFinite(const double* coords) {
  if (std::all_of(coords, coords + numCoords_, [](double x) { return std::isfinite(x); })) {
    return true;
  }
  SetReason("coordinates are not finite");
  return false;
}

void CoordinateMap::AddCurvature(const double* /*cartGrad*/, double* /*hess*/) {}

// Adds JᵀHJ; element(r, c) is that of H for the moving coordinates number r and c.
template <class Element>
void CoordinateMap::sandwich(Element element, double* hess) {
  const std::size_t count = NumVar();
  const std::size_t n = moving_.size();
  prepareManyPulls();
  double* const column = column_.get();
  double* const image = column + numCoords_;
  std::fill_n(column, numCoords_, 0.0);
  for (std::size_t c = 0; c < n; ++c) {
    for (std::size_t r = 0; r < n; ++r) column[moving_[r]] = element(r, c);
    std::fill_n(image, count, 0.0);
    PullGradient(column, image);
    for (std::size_t v = 0; v < count; ++v) pulled_[v * n + c] = image[v];
  }
  for (std::size_t v = 0; v < count; ++v) {
    for (std::size_t r = 0; r < n; ++r) column[moving_[r]] = pulled_[v * n + r];
    std::fill_n(image, count, 0.0);
    PullGradient(column, image);
    double* const row = hess + PackedIndex(v, 0);
    for (std::size_t w = 0; w <= v; ++w) row[w] += image[w];
  }
}

bool CoordinateMap::PullHessian(const double* cartHess, const double* cartGrad, double* hess) {
  ReserveHessian();
  if (!pulled_ || !column_) return false;
  sandwich(
      [&](std::size_t r, std::size_t c) {
        const auto [low, high] = std::minmax(moving_[r], moving_[c]);
        return cartHess[PackedIndex(high, low)];
      },
      hess);
  AddCurvature(cartGrad, hess);
  return true;
}

bool CoordinateMap::PullModel(const std::vector<QZOpt::QZMatrixEntry>& cart,
                              std::vector<QZOpt::QZMatrixEntry>& entries) {
  constexpr std::size_t kLargest = 3000;  // coordinates: 36 MB a matrix
  const std::size_t count = NumVar();
  if (moving_.size() > kLargest || count > kLargest) return false;
  ReserveHessian();
  if (!pulled_ || !column_) return false;
  constexpr std::size_t kStill = ~std::size_t{0};
  std::vector<std::size_t> place(numCoords_, kStill);
  for (std::size_t k = 0; k < moving_.size(); ++k) place[moving_[k]] = k;
  std::vector<double> dense(PackedSize(moving_.size()), 0.0);
  for (const auto& [row, column, value] : cart) {
    const auto [low, high] = std::minmax(place[row], place[column]);
    if (high != kStill) dense[PackedIndex(high, low)] += value;
  }
  std::vector<double> pulled(PackedSize(count), 0.0);
  sandwich([&](std::size_t r,
               std::size_t c) { return dense[r > c ? PackedIndex(r, c) : PackedIndex(c, r)]; },
           pulled.data());
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
