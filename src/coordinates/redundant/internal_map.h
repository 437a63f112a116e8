// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "coordinates/map.h"
#include "coordinates/redundant/closest.h"
#include "coordinates/redundant/pieces.h"
#include "coordinates/redundant/primitive_set.h"

namespace QZMolPotential {

/// The common part of redundant and delocalised internal coordinates. The internal coordinates
/// determine a geometry y (the body), in which every piece of the molecule has the placement of the
/// reference; then each piece is turned and shifted,
///   x = R(ω) (y - p) + p + t.
/// Internal coordinates do not depend on ω and t, so that y and the placement of the pieces are
/// independent. Variables: those of the body, then t and ω of each piece.
class InternalMap : public CoordinateMap {
 public:
  std::size_t NumVar() const override { return numVar_; }
  std::vector<VariableKind> Kinds() const override;
  bool Start(const double* coords, double* vars) override;
  bool Place(const double* vars, double* coords) override;
  void PullGradient(const double* cartGrad, double* grad) override;
  bool IsPathDependent() const override { return true; }
  void Follow(const CoordinateMap& other) override;
  RouteCounts Routes() const override { return routes_; }
  bool IsOutdated(const double* vars, const double* coords) const override;

 protected:
  explicit InternalMap(const MapRequest& request);
  void AddCurvature(const double* cartGrad, double* hess) override;

  // The operations of the body. Its gradients and steps have 3 entries for each atom index; entries
  // of fixed atoms are meaningless.
  virtual std::size_t numBodyVars() const = 0;
  virtual std::vector<VariableKind> bodyKinds() const = 0;
  virtual bool startBody(double* vars) = 0;
  using Route = ClosestGeometry::Route;
  /// Moves the body to where `vars`, which are finite, lead.
  virtual Route placeBody(const double* vars) = 0;
  /// Takes the state of the body of `other`, which is of the same class.
  virtual void followBody(const InternalMap& other) = 0;
  virtual const std::vector<double>& bodyCoords() const = 0;
  /// out (numBodyVars()) += (∂y/∂v)ᵀ g.
  virtual void pullBody(const double* g, double* out) = 0;
  /// Adds Σ g ∂²y/∂v∂v.
  virtual void addBodyCurvature(const double* g, double* hess) = 0;

  /// To be called by constructors: gives the pieces' motions their variables, after the body's.
  void numberVars();
  /// Over the forms that the pieces may have.
  std::size_t fewestHeldMotions() const;

  std::vector<unsigned char> fixed_;
  PrimitiveSet set_;
  std::vector<Piece> pieces_;
  std::vector<FrameRow> frame_;
  ClosestGeometry body_;
  std::vector<double> start_;  // the reference

 private:
  std::array<double, 3> turnOf(const Piece& piece, const double* vars) const;
  void count(Route route);
  void turnBack(const double* cartGrad, double* bodyGrad) const;

  std::size_t numVar_ = 0;
  RouteCounts routes_;
  std::vector<AxisTurn> turns_;  // by piece
  bool isPlaced_ = false;
  std::vector<double> lastVars_;    // placed last
  std::vector<double> lastCoords_;  // where they led
  std::vector<double> bodyGrad_, pulled_;
};

}  // namespace QZMolPotential
