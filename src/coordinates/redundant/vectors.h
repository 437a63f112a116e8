// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <numeric>
#include <vector>

namespace QZMolPotential {

inline double Dot(const std::vector<double>& a, const std::vector<double>& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

/// sum += factor * a.
inline void AddMultiple(double factor, const std::vector<double>& a, std::vector<double>& sum) {
  for (std::size_t i = 0; i < a.size(); ++i) sum[i] += factor * a[i];
}

}  // namespace QZMolPotential
