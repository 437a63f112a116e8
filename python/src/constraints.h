// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "coordinates.h"
#include "qzopt/optimizers.h"

namespace MolPotentialPython {

/// A distance, angle or torsion of a molecule with a target; `degrees` for angles.
std::unique_ptr<QZMolPotential::QZGeometryConstr> MakeConstraint(
    const std::string& kind, const std::vector<unsigned int>& atoms);
/// What one unit of Python's values is in the library's: 1 for Å, π/180 for degrees.
double UnitOf(const std::string& kind);

/// Python's constraints in the variables of a coordinate system.
class ConstraintSet {
 public:
  /// Throws InputError.
  ConstraintSet(const py::list& constraints, Coordinates& system);
  void AddTo(QZOpt::QZConstrainedMinimizer& minimizer) const;

 private:
  struct Held {
    std::unique_ptr<QZMolPotential::QZGeometryConstr> cartesian;
    std::unique_ptr<QZMolPotential::QZCoordinateConstr> constraint;
    double lower = 0.0;
    double upper = 0.0;
  };
  std::vector<Held> all_;
};

}  // namespace MolPotentialPython
