// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <vector>

#include "constr/atoms.h"
#include "kernels/distance.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// The distance of two atoms of a coordinate vector, and value and derivatives of k (r - target)²
/// at it. Coincident atoms divide by zero.
struct PairDistance : QZMolPotential::PointDistance {
  PairDistance(const double* x, const AtomIndices<2>& atoms)
      : PointDistance(QZMolPotential::LoadAtom(x, atoms[0]),
                      QZMolPotential::LoadAtom(x, atoms[1])) {}

  double Square(double k, double target) const { return k * (r - target) * (r - target); }

  /// Adds the gradient of both atoms and returns the value; both are 0 at the target.
  double AddGradient(double* grad, const AtomIndices<2>& atoms, double k, double target) const {
    const double half = k * (r - target);  // of the slope
    QZMolPotential::AddDistanceGradient(grad, atoms, *this, half + half);
    return half * (r - target);
  }

  /// Appends what is positive in the second derivatives of f(r) with f' and f''.
  void AppendModel(std::vector<QZOpt::QZMatrixEntry>& entries,
                   const AtomIndices<2>& atoms,
                   double first,
                   double second) const {
    QZMolPotential::EntrySink<QZOpt::QZMatrixEntry> sink(entries);
    QZMolPotential::AddDistanceDerivatives(
        sink, nullptr, atoms, *this, std::max(first, 0.0), std::max(second, 0.0));
  }

  /// Adds the second derivatives to the packed Hessian and, unless `grad` is null, the gradient.
  void AddDerivatives(
      double* hessian, double* grad, const AtomIndices<2>& atoms, double k, double target) const {
    QZMolPotential::PackedSink sink(hessian);
    QZMolPotential::AddDistanceDerivatives(
        sink, grad, atoms, *this, 2.0 * k * (r - target), 2.0 * k);
  }
};

/// The warning's subject when a penalty's atoms are missing.
inline constexpr const char* kPenalisedDistance = "Distance to be constrained";

}  // namespace QZConstr
