// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "constr/constr.h"
#include "input/selection.h"
#include "molpotential/molpotential.h"

namespace Molpot {

/// A restraint or constraint on one molecule, ready to be reported.
struct Held {
  std::string option;  // as on the command line, without the dashes
  std::string what;    // atoms and target, for people
  std::string unit;    // of `measure`
  std::size_t numAtoms = 0;
  /// The quantity that is held, at the coordinates of the molecule given.
  std::function<double(const QZChem::QZMolBase&)> measure;
};

struct HeldRestraint : Held {
  std::unique_ptr<QZMolPotential::QZMolFunc1> function;
};

struct HeldConstraint : Held {
  std::unique_ptr<QZMolPotential::QZMolConstr> function;
};

/// The restraints and constraints of a command line. `Add…` parses one option's argument and throws
/// UsageError; the other operations are const and serve several threads.
class Restraints {
 public:
  /// "SELECTION [width [strength]]": selected atoms stay near their start; Å and kcal/mol/Å².
  void AddPositional(const std::string& argument);
  /// "atoms degrees k": k (φ - φ0)², the angle with its sign, k in kcal/mol/rad².
  void AddTorsion(const std::string& argument);
  /// "atoms distance k": k (r - r0)², Å and kcal/mol/Å².
  void AddDistance(const std::string& argument);
  /// "atoms low high k": k times the squared excess outside [low, high].
  void AddDistanceBand(const std::string& argument);
  /// "sphere x y z radius k" or "box x1 y1 z1 x2 y2 z2 k", Å and kcal/mol/Å².
  void AddWall(const std::string& argument);
  /// An energy in kcal/mol in the words of `QZExpressionFunc`, atoms counting from 1.
  void AddExpression(const std::string& argument);
  /// Every rotatable bond's torsion stays as it is: k (φ - φ0)², k in kcal/mol/rad².
  void HoldTorsions(double k);
  /// "REFERENCE SMARTS [width [strength]]": matched atoms stay near where the reference has them.
  void AddTether(const std::string& argument);
  /// "atoms [value]": without a value what the molecule has at the start.
  void AddDistanceConstraint(const std::string& argument);
  void AddAngleConstraint(const std::string& argument);
  void AddTorsionConstraint(const std::string& argument);

  bool Empty() const { return makers_.empty() && constraintMakers_.empty(); }
  bool HasConstraints() const { return !constraintMakers_.empty(); }

  /// What the options name in `named`, set up on `mol`, in which those atoms have the same indices.
  /// Throws RecordError.
  std::vector<HeldRestraint> Build(const QZChem::QZMolBase& named,
                                   const QZChem::QZMolBase& mol) const;
  std::vector<HeldConstraint> BuildConstraints(const QZChem::QZMolBase& named,
                                               const QZChem::QZMolBase& mol) const;

 private:
  template <class T>
  using Maker = std::function<void(
      const QZChem::QZMolBase& named, const QZChem::QZMolBase& mol, std::vector<T>&)>;

  std::vector<Maker<HeldRestraint>> makers_;
  std::vector<Maker<HeldConstraint>> constraintMakers_;
};

}  // namespace Molpot
