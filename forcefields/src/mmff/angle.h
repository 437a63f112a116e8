// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "mmff/stretch_bend.h"

namespace QZMolPotential {

/// `MmffBend` and `MmffStretchBend` of the same atoms as one term; its gradient computes the angle
/// once for both.
struct MmffAngle {
  static constexpr std::size_t kAtoms = 3;
  static constexpr std::size_t kBonds = 2;
  static constexpr std::size_t kValues = 0;
  using Atoms = std::array<unsigned int, kAtoms>;
  struct Params {
    MmffBend::Params bend;
    MmffStretchBend::Params cross;  // zeros at a linear centre
    std::array<double, kValues> Values() const { return {}; }
  };

  static double Energy(const Params& p, const double* x, const Atoms& atoms) {
    return MmffBend::Energy(p.bend, x, atoms) + MmffStretchBend::Energy(p.cross, x, atoms);
  }
  static double Gradient(const Params& p, const double* x, const Atoms& atoms, double* grad) {
    const auto angle = AngleAt<BentAngle>(x, atoms);
    if (p.bend.isLinear || !angle.IsBent()) {
      return MmffBend::Gradient(p.bend, x, atoms, grad) +
             MmffStretchBend::Gradient(p.cross, x, atoms, grad);
    }
    const double theta = angle.Angle();
    const double bent = theta - p.cross.theta0;
    const double stretched = MmffStretchBend::Stretched(p.cross, angle);
    auto g = angle.Gradient(MmffBend::First(p.bend, theta) + stretched);
    g.u += (bent * p.cross.k1) * angle.unitU;
    g.v += (bent * p.cross.k2) * angle.unitV;
    AddAngleGradient(grad, atoms, g);
    return MmffBend::Value(p.bend, theta) + stretched * bent;
  }
  template <HessianSink Sink>
  static void Hessian(
      const Params& p, const double* x, const Atoms& atoms, double* grad, Sink& sink) {
    MmffBend::Hessian(p.bend, x, atoms, grad, sink);
    if (!p.bend.isLinear) MmffStretchBend::Hessian(p.cross, x, atoms, grad, sink);
  }
  template <HessianSink Sink>
  static void Model(const Params& p, const double* x, const Atoms& atoms, Sink& sink) {
    MmffBend::Model(p.bend, x, atoms, sink);
  }
};

}  // namespace QZMolPotential
