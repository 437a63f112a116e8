// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "input/drive.h"
#include "qzopt/scan.h"
#include "run/energy.h"

namespace Molpot {

/// The relaxed scan of one molecule: its energy with restraints, in the coordinates of the atoms
/// that move, under the constraints of the task and those that drive.
class RelaxedScan {
 public:
  /// `mol` is moved; all outlive this object. Throws RecordError.
  RelaxedScan(const Task& task, QZChem::QZGraphMol& mol, const std::vector<Drive>& drives);
  std::vector<QZOpt::QZScanPoint> Run();
  /// The coordinates of all atoms at a point that was reached.
  std::vector<double> Coords(const QZOpt::QZScanPoint& point) const;
  /// Where a driven coordinate ended, in Å or degrees; NaN where nothing was reached.
  double Reached(std::size_t drive, const QZOpt::QZScanPoint& point) const;

 private:
  void place(double* x);
  void name(QZOpt::QZScanPoint& point);

  const Task& task_;
  QZChem::QZGraphMol& mol_;
  const std::vector<Drive>& drives_;
  Energy energy_;
  std::vector<unsigned int> fixed_;  // indices, ascending
  std::unique_ptr<QZMolPotential::QZCoordinateFunc> function_;
  std::vector<std::unique_ptr<QZMolPotential::QZGeometryConstr>> driven_;
  std::vector<HeldConstraint> held_;
  std::deque<QZMolPotential::QZCoordinateConstr> inVariables_;  // first those that drive
};

}  // namespace Molpot
