// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "coordinates.h"
#include "qzopt/optimizers.h"
#include "restraints.h"
#include "selection.h"

namespace Molpot {

/// What is computed for every record of a run; immutable while it runs.
struct Task {
  std::string forceField = "mmff94";
  bool addHydrogens = false;
  bool minimise = false;
  bool keepTrajectory = false;
  bool dryRun = false;
  unsigned int numInteractions = 0;  // listed of every term
  QZOpt::QZOptOptions optimizer;
  std::optional<Coordinates> coordinates;
  std::optional<Pattern> freeze;
  Restraints restraints;
};

struct Component {
  std::string name;
  double energy;
};

/// A bond, angle, pair, ... of a force-field term.
struct Interaction {
  std::string name;
  std::vector<unsigned int> atoms;  // numbers from 1
  double energy;
};

/// What became of a restraint or constraint.
struct HeldReport {
  std::string option;
  std::string what;
  std::string unit;
  double reached = 0.0;
  double energy = 0.0;  // 0 for constraints
};

/// What became of one record.
struct Outcome {
  unsigned int record = 0;
  std::string title;
  std::string raw;    // as read
  std::string error;  // empty: good
  std::vector<std::string> warnings;

  unsigned int numAtoms = 0;
  unsigned int numVariables = 0;
  double initialEnergy = 0.0;
  double energy = 0.0;
  std::vector<Component> initialComponents;
  std::vector<Component> components;
  std::vector<Interaction> interactions;  // term by term, highest energy first
  QZOpt::QZOptResult optimizer;
  double seconds = 0.0;
  std::vector<HeldReport> held;
  std::vector<std::string> matched;  // of a dry run
  QZChem::QZGraphMol mol;
  std::string trajectory;
};

/// Runs one record. `outcome` comes in with record, raw, molecule or error, and goes out complete;
/// nothing is thrown. Safe from several threads, each with its own outcome.
void Run(const Task& task, Outcome& outcome);

/// The force field of a name that --forcefield accepts.
std::unique_ptr<QZMolPotential::QZMolFunc1> MakeForceField(const std::string& name);

/// Makes the molecule ready for a force field: hydrogens, three dimensions, size. Throws
/// RecordError.
void Prepare(const Task& task, QZChem::QZGraphMol& mol);

/// Force field and restraints summed. Owns its parts.
class Energy {
 public:
  Energy(const Task& task, const QZChem::QZMolBase& mol);
  QZMolPotential::QZMolFunc1& Function() { return sum_; }
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
  std::unique_ptr<QZMolPotential::QZMolFunc1> field_;
  std::vector<HeldRestraint> restraints_;
  QZMolPotential::QZGenericFF sum_;
};

/// Messages of the library reach the record that its thread works on, or standard error.
class MessageRouter {
 public:
  MessageRouter();
  MessageRouter(const MessageRouter&) = delete;
  MessageRouter& operator=(const MessageRouter&) = delete;
  ~MessageRouter();
};

}  // namespace Molpot
