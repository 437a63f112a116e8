// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "coordinates/map.h"
#include "molpotential/molpotential.h"
#include "qzchem/mol.h"

namespace TestSupport {

using MapMaker = std::unique_ptr<QZMolPotential::CoordinateMap> (*)(
    const QZMolPotential::MapRequest&, std::string&);

inline std::unique_ptr<QZMolPotential::CoordinateMap> MakeMap(
    MapMaker maker,
    const QZChem::QZGraphMol& mol,
    bool overallMotion,
    const std::vector<unsigned int>& fixed = {}) {
  QZMolPotential::MapRequest request;
  request.mol = &mol;
  request.fixed.assign(mol.AtomIndexBound(), 0);
  for (const unsigned int atom : fixed) request.fixed[atom] = 1;
  request.anyFixed = !fixed.empty();
  request.overallMotion = overallMotion;
  std::string reason;
  auto map = maker(request, reason);
  EXPECT_TRUE(map) << reason;
  return map;
}

/// A Cartesian function in the variables of a coordinate map, as plainly as can be.
class MapFunc final : public QZOpt::QZFunc2 {
 public:
  /// `f` must have a Hessian where one is asked for.
  MapFunc(QZMolPotential::CoordinateMap& map, QZMolPotential::QZMolFunc1& f)
      : map_(map), f_(f), x_(map.NumCoords()), g_(map.NumCoords()) {}
  unsigned int NumVar() const override { return static_cast<unsigned int>(map_.NumVar()); }
  using QZFunc2::operator();
  double operator()(const double* v) override {
    if (!map_.Place(v, x_.data())) return std::numeric_limits<double>::infinity();
    return f_(x_.data());
  }
  double operator()(const double* v, double* grad) override {
    if (!map_.Place(v, x_.data())) return std::numeric_limits<double>::infinity();
    std::ranges::fill(g_, 0.0);
    const double energy = f_(x_.data(), g_.data());
    map_.PullGradient(g_.data(), grad);
    return energy;
  }
  bool operator()(const double* v, double* hess, double* grad) override {
    if (!map_.Place(v, x_.data())) return false;
    std::ranges::fill(g_, 0.0);
    std::vector<double> h(x_.size() * (x_.size() + 1) / 2, 0.0);
    auto& level2 = dynamic_cast<QZMolPotential::QZMolFunc2&>(f_);
    if (!level2(x_.data(), h.data(), g_.data())) return false;
    if (grad != nullptr) map_.PullGradient(g_.data(), grad);
    return map_.PullHessian(h.data(), g_.data(), hess);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }
  const std::vector<double>& X() const { return x_; }

 private:
  QZMolPotential::CoordinateMap& map_;
  QZMolPotential::QZMolFunc1& f_;
  std::vector<double> x_, g_;
};

}  // namespace TestSupport
