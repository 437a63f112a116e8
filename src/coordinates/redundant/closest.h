// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <vector>

#include "coordinates/redundant/ldlt.h"
#include "coordinates/redundant/pieces.h"
#include "coordinates/redundant/primitive.h"

namespace QZMolPotential {

/// Finds the geometry y whose internal coordinates are closest to wanted values, the minimum of
///   E(y) = Σ ½ w_i (q_i* - q_i(y))² + Σ ½ w m·(y - y_0)²,
/// the second sum over frame rows, which hold what internal coordinates do not see. Wanted values
/// need not belong to any geometry; y is a smooth function of them with
///   ∂y/∂q* = M⁻¹ Bᵀ W,   M = Bᵀ W B - Σ w_i (q_i* - q_i) ∂²q_i + frame,
/// M being the Hessian of E. The weights are 1/scale² of the kinds of coordinates. Therefore a
/// minimiser that uses these scales takes steps which, to first order, belong to possible changes
/// of the geometry. Cost: a few sparse factorisations for each geometry, linear in the atoms for
/// chains. Only `Start` allocates.
class ClosestGeometry {
 public:
  /// How `Seek` found its geometry.
  enum class Route { Newton, Geodesic, Step, Held };

  /// Starts from `x` with its active `primitives`, which are kept by value. `fixed` as in
  /// `FindPieces`.
  void Start(const std::vector<Primitive>& primitives,
             const std::vector<FrameRow>& frame,
             const std::vector<unsigned char>& fixed,
             const double* x);
  /// Moves `Y()` to the geometry for `wanted` (one finite value for each primitive). Tries in turn:
  /// damped Newton steps from the nearest of the latest geometries; Newton steps along a path of
  /// evenly changing coordinates; one linear step; and if that is not finite, the nearest of the
  /// latest geometries itself (`Held`).
  Route Seek(const double* wanted);

  const std::vector<Primitive>& Primitives() const { return primitives_; }
  /// The geometry, and what belongs to it: values, rows of B (zero where fixed or inactive).
  const std::vector<double>& Y() const { return y_; }
  const std::vector<double>& Values() const { return q_; }
  /// Rows and signs belong to it after a `Solve`.
  const PrimitiveRow& Row(std::size_t i) const { return rows_[i]; }
  double Weight(std::size_t i) const { return weights_[i]; }
  /// The sign with which the latest wanted value counts.
  double Sign(std::size_t i) const { return signs_[i]; }
  /// v (3 an atom) becomes M⁻¹ v; entries of fixed atoms 0.
  void Solve(double* v);
  /// v += Bᵀ W t; `Solve` of the result gives ∂y/∂q* t.
  void AddWeighted(const double* t, double* v) const;

 private:
  struct Sample {
    std::vector<double> y;
    std::vector<double> q;
    bool known = false;
  };

  void evaluate(const double* y, double* q) const;
  double energy(const double* wanted, const double* y, const double* q) const;
  void assemble(const double* wanted, bool curved);
  bool factor(const double* wanted, bool curved);
  double takeStep(double limit);
  void remember();
  void startNear(const double* wanted);
  bool newton(const double* wanted, int steps, double aim);
  bool geodesic(const double* wanted);
  bool linearStep(const double* wanted);

  std::vector<Primitive> primitives_;
  std::vector<FrameRow> frame_;
  std::vector<unsigned int> node_;    // by atom, none for fixed ones
  std::vector<unsigned int> atomOf_;  // by node
  std::vector<double> weights_;
  BlockLdlt factor_;
  std::vector<BlockLdlt::Hold> hold_;
  std::vector<double> origin_;  // y_0
  std::vector<double> y_, trialY_, force_, step_, solve_;
  std::vector<double> q_, trialQ_, signs_, partway_, wanted_;
  bool stale_ = true;  // the factor belongs to another geometry than `y_`
  std::vector<PrimitiveRow> rows_;
  std::vector<Sample> samples_;
  std::size_t nextSample_ = 0;
};

}  // namespace QZMolPotential
