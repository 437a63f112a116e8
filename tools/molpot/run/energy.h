// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "forcefields/forcefields.h"
#include "molpotential/molpotential.h"
#include "run/task.h"

namespace Molpot {

/// The force field of a name that --forcefield accepts.
std::unique_ptr<QZMolPotential::QZStandardFF> MakeForceField(const std::string& name);

/// Force field and restraints summed. Owns its parts.
class Energy {
 public:
  Energy(const Task& task, const QZChem::QZMolBase& mol);
  /// Binds everything to the molecule. Throws RecordError with all that the library says.
  void SetUp(const QZChem::QZMolBase& mol);
  QZMolPotential::QZMolFunc2& Function() { return sum_; }
  const std::vector<HeldRestraint>& Held() const { return restraints_; }
  /// Takes back the selections that an adaptor made, so that every term counts again.
  bool Unrestrict(const QZChem::QZMolBase& mol);
  /// The named terms at Cartesian coordinates.
  std::vector<Component> Components(const double* coords);
  /// The `count` interactions of highest energy of every term, highest first.
  std::vector<Interaction> Highest(const QZChem::QZMolBase& mol,
                                   const double* coords,
                                   unsigned int count) const;

 private:
  std::string forceField_;
  std::unique_ptr<QZMolPotential::QZStandardFF> field_;
  std::vector<HeldRestraint> restraints_;
  QZMolPotential::QZGenericFF2 sum_;
};

}  // namespace Molpot
