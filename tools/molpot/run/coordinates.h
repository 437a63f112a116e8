// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "molpotential/molpotential.h"

namespace Molpot {

/// The names of --coordinates.
enum class Coordinates {
  Cartesian,
  Subset,
  Quaternion,
  Cluster,
  DegFree,
  Redundant,
  Zmatrix,
  Torsion,
};

const std::vector<std::pair<std::string, Coordinates>>& CoordinateNames();
const char* CoordinateName(Coordinates kind);
/// True where atoms can be held fixed.
bool CanFreeze(Coordinates kind);

/// One molecule's energy in the variables of a coordinate system.
class Variables {
 public:
  virtual ~Variables() = default;
  /// The function to minimise, in these variables.
  virtual QZOpt::QZFunc1& Function() = 0;
  /// The variables of Cartesian coordinates; fixes what stays fixed at those.
  virtual std::vector<double> Start(const std::vector<double>& coords) = 0;
  /// What change of each variable matters as much as those of the others; empty where all are
  /// alike.
  virtual std::vector<double> Scales() const { return {}; }
  /// True where what the variables mean is settled at the start or on the way from it, so that
  /// another start at the geometry reached may find steps again.
  virtual bool StartMatters() const { return false; }
  /// The Cartesian coordinates of variables.
  virtual std::vector<double> Cartesian(const double* vars) = 0;
};

/// Presents `energy` (set up on `mol`, and outliving the result) in a coordinate system. Adaptors
/// set it up again, restricted to what moves where atoms are frozen. `frozen` are 0-based atom
/// indices. Throws RecordError where the system does not apply.
std::unique_ptr<Variables> MakeVariables(Coordinates kind,
                                         QZMolPotential::QZMolFunc1& energy,
                                         const QZChem::QZMolBase& mol,
                                         const std::vector<unsigned int>& frozen);

}  // namespace Molpot
