// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "coordinates/map.h"
#include "coordinates/tree/zmatrix_rows.h"

namespace QZMolPotential {

/// A Z-matrix in the frame of the start. Each moving atom is placed relative to three earlier
/// atoms, its partners, which are bonded neighbours if possible; fixed atoms come before all
/// others. Partners and descriptions are chosen at `Start`: a nearly straight angle is described by
/// two bends. Where there are not three earlier atoms, or all of them are in line, fixed axes take
/// their place. Without overall motion the values that only place the molecule are not variables.
class ZmatrixMap final : public CoordinateMap {
 public:
  explicit ZmatrixMap(const MapRequest& request);

  std::size_t NumVar() const override { return numVar_; }
  std::vector<VariableKind> Kinds() const override;
  bool Start(const double* coords, double* vars) override;
  bool Place(const double* vars, double* coords) override;
  void PullGradient(const double* cartGrad, double* grad) override;
  bool StartMatters() const override { return true; }
  bool IsOutdated(const double* vars, const double* coords) const override;
  std::unique_ptr<CoordinateMap> Clone() const override;

 protected:
  void AddCurvature(const double* cartGrad, double* hess) override;

 private:
  static constexpr std::size_t kLanes = 8;
  using Lane = Dual<kLanes>;
  struct Value {
    double value = 0.0;
    std::ptrdiff_t var = -1;  // none: stays as it is
    VariableKind kind = VariableKind::Length;
  };

  void orderAtoms(const MapRequest& request);
  void chooseRow(std::size_t k);
  void chooseBent(ZmatRow& row, std::size_t placed) const;
  unsigned int chooseDihedral(const ZmatRow& row, std::size_t placed) const;
  void aimAxes(std::size_t k);
  bool measure(std::size_t k);
  bool isPlacedBefore(unsigned int atom, std::size_t placed) const;

  std::vector<std::vector<unsigned int>> bonded_;  // per atom index
  std::vector<unsigned int> order_;                // fixed atoms, then the rows' atoms
  std::vector<std::size_t> rank_;                  // per atom index, its place in `order_`
  std::size_t numFixed_ = 0;
  std::size_t numVar_ = 0;
  ZmatAxes axes_;
  std::vector<ZmatRow> rows_;
  std::vector<std::array<Value, 3>> values_;
  std::vector<double> ref_;
  std::vector<Vec3> points_, forces_;
  std::vector<PlacedRow<double>> placed_;
  std::vector<BasicVec3<Lane>> lanePoints_, laneForces_;
  std::vector<PlacedRow<Lane>> lanePlaced_;
};

std::unique_ptr<CoordinateMap> MakeZmatrixMap(const MapRequest& request, std::string& reason);

}  // namespace QZMolPotential
