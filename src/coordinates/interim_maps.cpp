// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "coordinates/map.h"
#include "molpotential/redundant.h"
#include "qzchem/mol.h"
#include "qzchem/topology.h"

namespace QZMolPotential {
namespace {

// The function that the adaptor asks for and that nobody evaluates.
class NoFunc final : public QZMolFunc1 {
 public:
  bool Setup(const QZChem::QZMolBase& mol) override {
    numVar_ = 3 * mol.AtomIndexBound();
    return true;
  }
  unsigned int NumVar() const override { return numVar_; }
  double operator()(const double*) override { return 0.0; }
  double operator()(const double*, double*) override { return 0.0; }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }
  NoFunc* CreateCopy() const override { return new NoFunc(*this); }

 private:
  unsigned int numVar_ = 0;
};

// Redundant internal coordinates of one component, through their adaptor. To the adaptor angles and
// dihedrals are values in [0, π]; here a value stands for the one that it reaches when folded at
// the ends, so that a step may pass them.
class RedundantMap final : public CoordinateMap {
 public:
  explicit RedundantMap(const QZChem::QZMolBase& mol)
      : CoordinateMap(3 * std::size_t{mol.AtomIndexBound()}), mol_(mol) {
    bound_ = adaptor_.Setup(mol);
    kinds_ = adaptor_.GetKinds();
    folded_.resize(kinds_.size());
    pulled_.resize(kinds_.size());
    signs_.assign(kinds_.size(), 1.0);
  }

  bool IsBound() const { return bound_; }
  std::size_t NumVar() const override { return kinds_.size(); }
  std::vector<VariableKind> Kinds() const override {
    std::vector<VariableKind> kinds;
    for (const QZInternalKind kind : kinds_) {
      kinds.push_back(kind == QZInternalKind::Bond    ? VariableKind::Length
                      : kind == QZInternalKind::Angle ? VariableKind::Angle
                                                      : VariableKind::Dihedral);
    }
    return kinds;
  }
  bool Start(const double* coords, double* vars) override {
    SetReason("");
    if (!std::all_of(coords, coords + NumCoords(), [](double x) { return std::isfinite(x); })) {
      SetReason("coordinates are not finite");
      return false;
    }
    std::copy_n(adaptor_.GetVar(coords), kinds_.size(), vars);
    adaptor_.Refresh();
    ReserveHessian();
    return true;
  }
  bool Place(const double* vars, double* coords) override {
    SetReason("");
    if (!adaptor_.AdaptVar(coords, fold(vars))) SetReason("the coordinates asked for do not exist");
    return std::all_of(coords, coords + NumCoords(), [](double x) { return std::isfinite(x); });
  }
  void PullGradient(const double* cartGrad, double* grad) override {
    adaptor_.AdaptGrad(pulled_.data(), cartGrad);
    for (std::size_t i = 0; i < kinds_.size(); ++i) grad[i] += signs_[i] * pulled_[i];
  }
  bool PullHessian(const double*, const double*, double*) override { return false; }
  bool IsPathDependent() const override { return true; }
  std::unique_ptr<CoordinateMap> Clone() const override {
    auto copy = std::make_unique<RedundantMap>(mol_);
    std::vector<double> vars(kinds_.size());
    copy->Start(adaptor_.GetCurrentCoords(), vars.data());
    return copy;
  }

 private:
  const double* fold(const double* vars) {
    for (std::size_t i = 0; i < kinds_.size(); ++i) {
      folded_[i] = vars[i];
      if (kinds_[i] == QZInternalKind::Bond) continue;
      const double turn = std::remainder(vars[i], 2.0 * std::numbers::pi);
      folded_[i] = std::abs(turn);
      signs_[i] = turn < 0.0 ? -1.0 : 1.0;
    }
    return folded_.data();
  }

  QZChem::QZGraphMol mol_;
  NoFunc func_;
  QZRedundantInterAdaptor adaptor_{func_, /*own=*/false, /*restrictInteractions=*/false};
  bool bound_ = false;
  std::vector<QZInternalKind> kinds_;
  std::vector<double> folded_, pulled_, signs_;
};

}  // namespace

std::unique_ptr<CoordinateMap> MakeRedundantMap(const MapRequest& request, std::string& reason) {
  std::vector<unsigned int> parts(request.fixed.size());
  if (QZChem::QZDetermineComponents(*request.mol, parts.data()) > 1) {
    reason =
        "redundant coordinates do not place several molecules against one another; cartesian, "
        "zmatrix, cluster and torsion-rigid do";
    return nullptr;
  }
  if (request.anyFixed) {
    reason = "redundant coordinates do not hold atoms exactly; cartesian, zmatrix and torsion do";
    return nullptr;
  }
  auto map = std::make_unique<RedundantMap>(*request.mol);
  if (map->IsBound()) return map;
  reason = "the redundant coordinates cannot be set up";
  return nullptr;
}

std::unique_ptr<CoordinateMap> MakeInternalMap(const MapRequest& /*request*/, std::string& reason) {
  reason = "internal coordinates are not available; redundant and zmatrix are";
  return nullptr;
}

}  // namespace QZMolPotential
