// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "forcefields/forcefields.h"
#include "input/restraints.h"
#include "input/selection.h"
#include "molpotential/molpotential.h"
#include "qzopt/optimizers.h"

namespace Molpot {

/// What is computed for every record of a run; immutable while it runs.
struct Task {
  std::string forceField = "mmff94";
  double dielectric = 1.0;
  bool distanceDependent = false;
  double cutoff = 0.0;  // Å; 0: every pair
  std::shared_ptr<const QZMolPotential::QZHostField> host;
  double hostFlexibleDistance = 0.0;          // Å; 0: none by distance
  std::optional<AtomSelection> hostFlexible;  // of the host
  bool strain = false;
  bool addHydrogens = false;
  bool largestFragment = false;
  std::shared_ptr<const QZChem::QZTemplates> templates;
  unsigned int numConformers = 0;  // made of every record; 0: the record's own
  double conformerRms = 0.5;       // Å
  bool partialCharges = false;
  bool minimise = false;
  bool normalModes = false;
  QZMolPotential::QZNormalModesOptions modes;
  bool keepTrajectory = false;
  bool dryRun = false;
  unsigned int numInteractions = 0;  // listed of every term
  double timeLimit = 0.0;            // seconds a record; 0: none
  QZOpt::QZOptOptions optimizer;
  std::optional<QZMolPotential::QZCoordinates> coordinates;
  std::optional<AtomSelection> freeze;
  std::optional<AtomSelection> move;
  bool HoldsAtoms() const { return freeze.has_value() || move.has_value(); }
  Restraints restraints;
};

/// The names of --method.
const std::map<std::string, QZOpt::QZOptMethod>& MethodNames();

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
  Origin origin;
  std::string who;
  std::string what;
  std::string unit;
  double reached = 0.0;
  double energy = 0.0;  // 0 for constraints
  double beyond = 0.0;  // its target or bounds
  bool IsViolated() const { return beyond > kNegligible; }
  /// "Å" of "Å away at most".
  std::string PlainUnit() const { return unit.substr(0, unit.find(' ')); }
  /// Å or degrees, of what is as good as met.
  static constexpr double kNegligible = 1e-3;
};

/// What became of one record.
struct Outcome {
  unsigned int record = 0;
  unsigned int conformer = 0;  // from 1, by energy; 0: the record itself
  std::string title;
  std::string raw;    // as read
  std::string error;  // empty: good
  std::vector<std::string> warnings;

  unsigned int numAtoms = 0;
  std::string coordinates;  // that it was minimised in
  unsigned int numVariables = 0;
  QZMolPotential::QZBackTransformations backTransformations;
  double initialEnergy = 0.0;
  double energy = 0.0;
  std::vector<Component> initialComponents;
  std::vector<Component> components;
  std::vector<Interaction> interactions;  // term by term, highest energy first
  QZOpt::QZOptResult optimizer;
  std::string reason;  // why the minimisation ended
  std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();
  double seconds = 0.0;  // of its work
  std::vector<double> partialCharges;
  std::optional<double> interactionEnergy;  // with the host
  std::optional<double> strainEnergy;       // of the pose against the relaxed free form
  std::optional<QZChem::QZGraphMol> host;   // with its flexible atoms where they ended
  /// What numbers and selections refer to where `mol` is more than the record: with flexible atoms
  /// of a host behind it.
  std::optional<QZChem::QZGraphMol> named;
  const QZChem::QZMolBase& Named() const {
    return named.has_value() ? static_cast<const QZChem::QZMolBase&>(*named) : mol;
  }
  QZMolPotential::QZNormalModes modes;
  std::vector<HeldReport> held;
  std::vector<std::string> matched;  // of a dry run
  QZChem::QZGraphMol mol;
  std::string trajectory;

  /// True when it was minimised and the minimiser's criterion, or a constraint, was not met.
  bool IsUnconverged() const { return !reason.empty() && !optimizer.converged; }
  /// Seconds since its work began.
  double Age() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
  }
};

}  // namespace Molpot
