// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "input/parts.h"
#include "molpotential/molpotential.h"

namespace Molpot {

/// A restraint or constraint on one molecule, ready to be reported.
struct Held {
  Origin origin;
  std::string who;   // the atoms of a group
  std::string what;  // atoms and target, for people
  std::string unit;  // of `measure`
  /// The quantity that is held, at the coordinates of the molecule given.
  std::function<double(const QZChem::QZMolBase&)> measure;
  // The range of the quantity that counts as no violation.
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
  bool isTorsion = false;  // 360° is 0°

  /// How far a value is outside `low` to `high`; 0 inside.
  double Beyond(double value) const;
};

struct HeldRestraint : Held {
  std::unique_ptr<QZMolPotential::QZMolFunc1> function;
};

/// Held at the function's target, or up to `halfWidth` to either side of it.
struct HeldConstraint : Held {
  std::unique_ptr<QZMolPotential::QZMolConstr> function;
  double halfWidth = 0.0;
};

using AtomGroup = std::vector<unsigned int>;

/// As people write a number.
std::string Number(double value);
/// "atoms 3 4 5 6" in the file's count.
std::string AtomNames(const AtomGroup& group);
/// "atoms 1-20,33" of ascending indices, as selections have it.
std::string AtomRanges(const AtomGroup& atoms);

/// What is held of the internal coordinate of a group: unit, measure and names are filled in.
template <class H>
H HoldGroup(const Origin& origin, const AtomGroup& group, const std::string& target);
/// What is held of the places of atoms: the largest distance from `points`, three doubles an atom.
HeldRestraint HoldPlaces(const Origin& origin,
                         const std::string& what,
                         const AtomGroup& atoms,
                         std::vector<double> points,
                         double width);

/// Three doubles an atom.
std::vector<double> Positions(const QZChem::QZMolBase& mol, const AtomGroup& atoms);

/// Sets the function up and appends. Throws RecordError.
template <class H>
void SetUpAndKeep(H held, const QZChem::QZMolBase& mol, std::vector<H>& all) {
  if (!held.function->Setup(mol)) {
    throw RecordError(held.origin.Label() + ": cannot be set up for " + held.what);
  }
  all.push_back(std::move(held));
}

}  // namespace Molpot
