// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <vector>

#include "molpotential/redundant.h"
#include "qzopt/function.h"

namespace QZMolPotential {

/// A redundant adaptor as a minimiser takes it. To the adaptor itself angles and dihedrals are
/// values in [0, π], and a step that passes an end, as at every planar group, asks for a geometry
/// that does not exist. Here they are free: a value v stands for the one in [0, π] that it reaches
/// when folded at the ends, |v| up to whole turns, and the gradient is folded with it.
/// What coordinates a value belongs to depends on the way that led to it, since the adaptor seeks
/// them from its current ones. `GetCoords` therefore remembers those of the latest values and of
/// the lowest energy. When a minimiser stops short of convergence, starting again from the
/// coordinates it reached makes the values consistent with them. The adaptor must be set up, is not
/// owned and must outlive this object.
class QZ_API QZRedundantVarFunc final : public QZOpt::QZFunc1 {
 public:
  explicit QZRedundantVarFunc(QZRedundantInterAdaptor& adaptor);

  unsigned int NumVar() const override { return adaptor_.NumVar(); }
  /// Makes `coords` (3 x AtomIndexBound() doubles) the adaptor's current ones, forgets what it
  /// remembers and returns the variables there.
  std::vector<double> Start(const double* coords);
  /// The Cartesian coordinates of variables that were evaluated or started from; others are sought
  /// from the current coordinates.
  std::vector<double> GetCoords(const double* vars);
  std::vector<double> GetScales() const { return QZInternalScales(kinds_); }

  using QZOpt::QZFunc1::operator();
  double operator()(const double* x) override;
  /// `grad` (NumVar() doubles) is **added to**.
  double operator()(const double* x, double* grad) override;
  /// Those of the wrapped function, at the coordinates of `x`, or its own answer to null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;

 private:
  struct KnownGeometry {
    std::vector<double> vars;
    std::vector<double> coords;
    double energy = 0.0;
  };

  const double* fold(const double* x);
  void keep(const double* vars, double energy, KnownGeometry& known) const;
  void remember(const double* x, double energy);

  QZRedundantInterAdaptor& adaptor_;
  std::vector<QZInternalKind> kinds_;
  std::vector<double> folded_, signs_, grad_;
  KnownGeometry start_;
  KnownGeometry best_;
  std::array<KnownGeometry, 8> recent_;
  std::size_t next_ = 0;
};

}  // namespace QZMolPotential
