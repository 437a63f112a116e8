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

/// The force field and options of a task.
std::unique_ptr<QZMolPotential::QZStandardFF> MakeForceField(const Task& task);

/// Adds a restraint to a sum, with its Hessian where it has one. It is not owned.
void AddRestraint(const HeldRestraint& held, QZMolPotential::QZGenericFF2& sum);

/// Force field and restraints summed. Owns its parts.
class Energy {
 public:
  /// `named` is what selections refer to: `mol`, or its first atoms.
  Energy(const Task& task, const QZChem::QZMolBase& named, const QZChem::QZMolBase& mol);
  /// Binds everything to the molecule. Throws RecordError with all that the library says.
  void SetUp(const QZChem::QZMolBase& mol);
  QZMolPotential::QZMolFunc2& Function() { return sum_; }
  const std::vector<HeldRestraint>& Held() const { return restraints_; }
  /// Elementary charges by atom index; empty for a force field without.
  std::vector<double> PartialCharges() const { return field_->GetPartialCharges(); }
  /// The parts of the energy in a host; null without one.
  std::unique_ptr<QZMolPotential::QZHostFunc::Energies> InHost(const double* coords);
  /// The named terms at Cartesian coordinates.
  std::vector<Component> Components(const double* coords);
  /// The `count` interactions of highest energy of every term, highest first.
  std::vector<Interaction> Highest(const QZChem::QZMolBase& mol,
                                   const double* coords,
                                   unsigned int count) const;

 private:
  Task task_;  // its force field and options
  std::unique_ptr<QZMolPotential::QZStandardFF> field_;
  std::unique_ptr<QZMolPotential::QZHostFunc> host_;  // in place of field_
  std::vector<HeldRestraint> restraints_;
  QZMolPotential::QZGenericFF2 sum_;
};

}  // namespace Molpot
