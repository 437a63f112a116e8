// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "coordinates.h"
#include "qzopt/optimizers.h"
#include "qzopt/scan.h"

namespace MolPotentialPython {

/// A constraint as Python's `Constraint` describes it, set up on `mol`. `kind`: see
/// `ConstraintKinds`. Throws InputError.
std::unique_ptr<QZMolPotential::QZGeometryConstr> MakeConstraint(const std::string& kind,
                                                                 const py::object& atoms,
                                                                 const py::object& reference,
                                                                 const QZChem::QZGraphMol& mol);
/// What one unit of Python's values is in the library's: 1 for Å, π/180 for degrees.
double UnitOf(const std::string& kind);

/// Python's constraints on one molecule.
class ConstraintSet {
 public:
  /// Throws InputError.
  ConstraintSet(const py::list& constraints, const QZChem::QZGraphMol& mol);
  bool Empty() const { return all_.empty(); }
  /// Over the variables of a coordinate system.
  void AddTo(QZOpt::QZConstrainedMinimizer& minimizer, QZMolPotential::QZCoordinateFunc& system);
  /// Over Cartesian coordinates.
  void AddTo(QZOpt::QZRelaxedScan& scan) const;

 private:
  /// A constraint with its bounds, over Cartesian coordinates and, once `AddTo` was called, over
  /// the variables of a coordinate system.
  struct BoundedConstraint {
    std::unique_ptr<QZMolPotential::QZGeometryConstr> cartesian;
    std::unique_ptr<QZMolPotential::QZCoordinateConstr> inVariables;
    double lower = 0.0;
    double upper = 0.0;
  };
  std::vector<BoundedConstraint> all_;
};

}  // namespace MolPotentialPython
