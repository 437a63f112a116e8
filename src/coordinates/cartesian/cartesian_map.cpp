// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/cartesian/cartesian_map.h"

#include <algorithm>
#include <utility>

#include "kernels/packed.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

CartesianMap::CartesianMap(std::size_t atomIndexBound, std::vector<unsigned int> moving)
    : CoordinateMap(3 * atomIndexBound), moving_(std::move(moving)), ref_(NumCoords(), 0.0) {}

std::unique_ptr<CoordinateMap> CartesianMap::Clone() const {
  return std::make_unique<CartesianMap>(*this);
}

std::vector<VariableKind> CartesianMap::Kinds() const {
  return std::vector<VariableKind>(NumVar(), VariableKind::Cartesian);
}

bool CartesianMap::Start(const double* coords, double* vars) {
  std::copy_n(coords, NumCoords(), ref_.begin());
  for (std::size_t k = 0; k < moving_.size(); ++k) {
    StoreAtom(vars, k, LoadAtom(coords, moving_[k]));
  }
  return true;
}

bool CartesianMap::Place(const double* vars, double* coords) {
  std::ranges::copy(ref_, coords);
  for (std::size_t k = 0; k < moving_.size(); ++k) {
    StoreAtom(coords, moving_[k], LoadAtom(vars, k));
  }
  return true;
}

void CartesianMap::PullGradient(const double* cartGrad, double* grad) {
  for (std::size_t k = 0; k < moving_.size(); ++k) {
    AddToAtom(grad, k, LoadAtom(cartGrad, moving_[k]));
  }
}

bool CartesianMap::PullHessian(const double* cartHess, const double* /*cartGrad*/, double* hess) {
  for (std::size_t k = 0; k < moving_.size(); ++k) {
    for (std::size_t row = 0; row < 3; ++row) {
      const std::size_t from = 3 * std::size_t{moving_[k]} + row;
      double* const out = hess + PackedIndex(3 * k + row, 0);
      for (std::size_t m = 0; m < k; ++m) {
        const std::size_t to = 3 * std::size_t{moving_[m]};
        for (std::size_t j = 0; j < 3; ++j) {
          out[3 * m + j] +=
              cartHess[to + j < from ? PackedIndex(from, to + j) : PackedIndex(to + j, from)];
        }
      }
      const double* const own = cartHess + PackedIndex(from, from - row);
      for (std::size_t j = 0; j <= row; ++j) out[3 * k + j] += own[j];
    }
  }
  return true;
}

bool CartesianMap::PullModel(const std::vector<QZOpt::QZMatrixEntry>& cart,
                             std::vector<QZOpt::QZMatrixEntry>& entries) {
  if (moving_.size() * 3 == NumCoords()) {
    entries.insert(entries.end(), cart.begin(), cart.end());
    return true;
  }
  constexpr unsigned int kFixed = ~0U;
  std::vector<unsigned int> place(NumCoords(), kFixed);
  for (unsigned int k = 0; k < moving_.size(); ++k) {
    for (unsigned int j = 0; j < 3; ++j) place[3 * std::size_t{moving_[k]} + j] = 3 * k + j;
  }
  for (const auto& [row, column, value] : cart) {
    const auto [low, high] = std::minmax(place[row], place[column]);
    if (high != kFixed) entries.push_back({high, low, value});
  }
  return true;
}

}  // namespace QZMolPotential
