// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "input/held.h"

namespace Molpot {

class Restraints;

/// A kind of restraint: an option of the command line, and a "kind" of a file of restraints.
struct RestraintKind {
  const char* name;  // the option's, without dashes
  const char* help;
  bool isConstraint;
  void (Restraints::*add)(Parts& parts);
};

/// Every kind, in the order of --help.
const std::vector<RestraintKind>& RestraintKinds();

/// The restraints and constraints of a command line. `Add` and `AddFile` parse and throw
/// UsageError; the other operations are const and serve several threads.
class Restraints {
 public:
  void Add(const RestraintKind& kind, const std::string& argument);
  /// The entries of a JSON file: an array of objects, or an object with it as "restraints".
  /// Refuses constraints where they are not welcome.
  void AddFile(const std::string& path, bool constraints);

  bool Empty() const { return makers_.empty() && constraintMakers_.empty(); }
  /// The files that were read.
  const std::vector<std::string>& Files() const { return files_; }
  /// Where each was asked for.
  const std::vector<Origin>& Origins() const { return origins_; }

  /// What is named in `named`, set up on `mol`, in which those atoms have the same indices. Throws
  /// RecordError.
  std::vector<HeldRestraint> Build(const QZChem::QZMolBase& named,
                                   const QZChem::QZMolBase& mol) const;
  std::vector<HeldConstraint> BuildConstraints(const QZChem::QZMolBase& named,
                                               const QZChem::QZMolBase& mol) const;

 private:
  friend const std::vector<RestraintKind>& RestraintKinds();
  template <class T>
  using Maker = std::function<void(
      const QZChem::QZMolBase& named, const QZChem::QZMolBase& mol, std::vector<T>&)>;

  void addPositional(Parts& parts);
  void addTorsion(Parts& parts);
  void addDistance(Parts& parts);
  void addDistanceBand(Parts& parts);
  void addWall(Parts& parts);
  void addTether(Parts& parts);
  void addExpression(Parts& parts);
  void addHeldTorsions(Parts& parts);
  void addDistanceConstraint(Parts& parts);
  void addAngleConstraint(Parts& parts);
  void addTorsionConstraint(Parts& parts);

  std::vector<Origin> origins_;
  std::vector<std::string> files_;
  std::vector<Maker<HeldRestraint>> makers_;
  std::vector<Maker<HeldConstraint>> constraintMakers_;
};

}  // namespace Molpot
