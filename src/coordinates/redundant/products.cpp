// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Products with the inverse that solver.cpp has prepared.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "coordinates/redundant/solver.h"
#include "coordinates/redundant/vectors.h"

namespace QZMolPotential {
namespace {

// The relative errors allowed in a solution: with a good factor, and when iterating without one.
constexpr double kConverged = 1e-12;
constexpr double kIteratedConverged = 1e-10;
constexpr int kMaxCorrections = 10;
constexpr int kMaxIterations = 300;
// When the rank is in doubt, the iteration for a step is stopped early. A few iterations damp the
// components along the least singular values, which would otherwise become huge; the
// back-transformation then converges in more steps.
constexpr int kDampedIterations = 5;

}  // namespace

void WilsonSolver::project(double* v) const {
  for (const Fragment& fragment : fragments_) {
    for (const Mode& mode : std::span(fragment.modes).first(fragment.numModes)) {
      double sum = 0.0;
      for (std::size_t k = 0; k < fragment.positions.size(); ++k) {
        sum += Dot(LoadAtom(mode.data(), k), LoadAtom(v, fragment.positions[k]));
      }
      for (std::size_t k = 0; k < fragment.positions.size(); ++k) {
        AddToAtom(v, fragment.positions[k], -sum * LoadAtom(mode.data(), k));
      }
    }
  }
}

// y = A⁺ b, as good as the factor is.
void WilsonSolver::applyInverse(const std::vector<double>& b, std::vector<double>& y) {
  for (std::size_t p = 0; p < atomAt_.size(); ++p) {
    const Vec3 v = LoadAtom(b.data(), atomAt_[p]);
    StoreAtom(work_.data(), p, turned_[p] ? frames_[p] * v : v);
  }
  project(work_.data());
  factor_.Solve(work_.data());
  project(work_.data());
  for (std::size_t p = 0; p < atomAt_.size(); ++p) {
    const Vec3 v = LoadAtom(work_.data(), p);
    StoreAtom(y.data(), atomAt_[p], turned_[p] ? Transpose(frames_[p]) * v : v);
  }
  for (Fragment& fragment : fragments_) {
    if (fragment.route != Route::kDense) continue;
    const std::span<double> column(column_.data(), fragment.NumCoords());
    for (std::size_t k = 0; k < fragment.positions.size(); ++k) {
      StoreAtom(column.data(), k, LoadAtom(b.data(), atomAt_[fragment.positions[k]]));
    }
    fragment.dense.Apply(column);
    for (std::size_t k = 0; k < fragment.positions.size(); ++k) {
      StoreAtom(y.data(), atomAt_[fragment.positions[k]], LoadAtom(column.data(), k));
    }
  }
}

// Solves A y = load + Bᵀ t, t being in rowResidual_, which becomes t - B y. `load` may be null.
void WilsonSolver::conjugateGradients(const WilsonRows& rows, const double* load) {
  std::fill(y_.begin(), y_.end(), 0.0);
  std::fill(direction_.begin(), direction_.end(), 0.0);
  std::fill(rowSum_.begin(), rowSum_.end(), 0.0);
  double previous = 0.0;
  double lastCorrection = 1.0;
  const int limit = iterative_ ? kDampedIterations : kMaxCorrections;
  for (int iteration = 0; iteration < limit; ++iteration) {
    if (load != nullptr) {
      std::copy_n(load, numCoords_, residual_.begin());
    } else {
      std::fill(residual_.begin(), residual_.end(), 0.0);
    }
    rows.AddTransposed(rowResidual_.data(), residual_.data());
    applyInverse(residual_, z_);
    const double product = Dot(residual_, z_);
    const double beta = iteration == 0 ? 0.0 : product / previous;
    for (std::size_t i = 0; i < numCoords_; ++i) direction_[i] = z_[i] + beta * direction_[i];
    previous = product;
    rows.Multiply(direction_.data(), rowDirection_.data());
    const double curvature = Dot(rowDirection_, rowDirection_);
    if (!(product > 0.0 && curvature > 0.0)) return;
    const double alpha = product / curvature;
    AddMultiple(alpha, direction_, y_);
    AddMultiple(alpha, rowDirection_, rowSum_);
    AddMultiple(-alpha, rowDirection_, rowResidual_);
    const double correction = alpha * std::max(std::sqrt(Dot(direction_, direction_) / Dot(y_, y_)),
                                               std::sqrt(curvature / Dot(rowSum_, rowSum_)));
    // Corrections fall geometrically: what the next one would be, or that they fall no longer.
    const double next = iteration == 0 ? 1.0 : correction * correction / lastCorrection;
    if (!(next > kConverged)) return;
    if (!iterative_ && iteration > 0 && correction > 0.5 * lastCorrection) return;
    lastCorrection = correction;
  }
}

// The shortest z that satisfies Bᵀ z = g as well as possible, when g has components along unknown
// null vectors of A: conjugate gradients on B Bᵀ z = B g, whose right side does not contain these
// components.
void WilsonSolver::iterateGradient(const WilsonRows& rows, const double* g, double* out) {
  const std::size_t numRows = rowResidual_.size();
  std::copy_n(g, numCoords_, residual_.begin());
  std::fill_n(out, numRows, 0.0);
  std::fill(rowDirection_.begin(), rowDirection_.end(), 0.0);
  double previous = 0.0;
  for (int iteration = 0; iteration < kMaxIterations; ++iteration) {
    rows.Multiply(residual_.data(), rowResidual_.data());
    std::fill(z_.begin(), z_.end(), 0.0);
    rows.AddTransposed(rowResidual_.data(), z_.data());
    applyInverse(z_, y_);
    applyInverse(y_, z_);
    rows.Multiply(z_.data(), rowSum_.data());
    const double product = Dot(rowResidual_, rowSum_);
    const double beta = iteration == 0 ? 0.0 : product / previous;
    for (std::size_t i = 0; i < numRows; ++i) {
      rowDirection_[i] = rowSum_[i] + beta * rowDirection_[i];
    }
    previous = product;
    std::fill(direction_.begin(), direction_.end(), 0.0);
    rows.AddTransposed(rowDirection_.data(), direction_.data());
    const double curvature = Dot(direction_, direction_);
    if (!(product > 0.0 && curvature > 0.0)) return;
    const double alpha = product / curvature;
    double size = 0.0;
    for (std::size_t i = 0; i < numRows; ++i) {
      out[i] += alpha * rowDirection_[i];
      size += out[i] * out[i];
    }
    AddMultiple(-alpha, direction_, residual_);
    if (!(alpha * std::sqrt(Dot(rowDirection_, rowDirection_) / size) > kIteratedConverged)) return;
  }
}

void WilsonSolver::InternalGradient(const WilsonRows& rows, const double* g, double* out) {
  if (failed_) {
    rows.Multiply(g, rowDirection_.data());
    std::fill(residual_.begin(), residual_.end(), 0.0);
    rows.AddTransposed(rowDirection_.data(), residual_.data());
    rows.Multiply(residual_.data(), out);
    return;
  }
  if (iterative_) {
    iterateGradient(rows, g, out);
    return;
  }
  std::fill(rowResidual_.begin(), rowResidual_.end(), 0.0);
  conjugateGradients(rows, g);
  std::copy(rowSum_.begin(), rowSum_.end(), out);
}

void WilsonSolver::CartesianStep(const WilsonRows& rows, const double* dq, double* out) {
  if (failed_) {
    std::fill(residual_.begin(), residual_.end(), 0.0);
    rows.AddTransposed(dq, residual_.data());
    rows.Multiply(residual_.data(), rowDirection_.data());
    std::fill_n(out, numCoords_, 0.0);
    rows.AddTransposed(rowDirection_.data(), out);
    return;
  }
  std::copy_n(dq, rowResidual_.size(), rowResidual_.begin());
  conjugateGradients(rows, nullptr);
  std::copy(y_.begin(), y_.end(), out);
}

}  // namespace QZMolPotential
