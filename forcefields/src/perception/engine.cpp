// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/engine.h"

#include <algorithm>
#include <utility>

namespace QZMolPotential {

Engine::Engine(std::vector<unsigned int> atomIndices, unsigned int indexBound)
    : atomIndices_(std::move(atomIndices)), indexBound_(indexBound) {
  positions().assign(atomIndices_.size(), &unused_);
  coords_.assign(3 * atomIndices_.size(), 0.0);
  if (hasHoles()) grad_.assign(coords_.size(), 0.0);
}

double* Engine::Bind(const double* x) {
  bool changed = false;
  for (std::size_t i = 0; i < atomIndices_.size(); ++i) {
    const double* from = x + 3 * std::size_t{atomIndices_[i]};
    double* to = coords_.data() + 3 * i;
    for (int k = 0; k < 3; ++k) {
      if (!(to[k] == from[k])) {
        to[k] = from[k];
        changed = true;
      }
    }
  }
  if (!df_init) {
    initialize();
  } else if (changed) {
    initDistanceMatrix();
  }
  return coords_.data();
}

double* Engine::GradientTarget(double* grad) {
  if (!hasHoles()) return grad;
  std::ranges::fill(grad_, 0.0);
  return grad_.data();
}

void Engine::AddGradient(double* grad) {
  if (!hasHoles()) return;
  for (std::size_t i = 0; i < atomIndices_.size(); ++i) {
    for (std::size_t k = 0; k < 3; ++k) grad[3 * atomIndices_[i] + k] += grad_[3 * i + k];
  }
}

}  // namespace QZMolPotential
