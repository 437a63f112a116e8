// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Restraints of atoms, and constraints.
#include "input/restraints.h"

#include <cmath>
#include <numbers>
#include <set>

#include "constr/constr.h"
#include "input/errors.h"
#include "input/internals.h"

namespace Molpot {

using QZChem::QZMolBase;

namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kDefaultStrength = 50.0;  // kcal/mol/Å²
// Å, of a distance that is asked for.
constexpr double kShortest = 1.0e-3;
constexpr double kLongest = 1.0e5;

std::vector<AtomGroup> Resolve(const Origin& origin, const AtomTuple& atoms, const QZMolBase& mol) {
  try {
    return atoms.Resolve(mol);
  } catch (const RecordError& error) {
    throw RecordError(origin.Label() + ": " + error.what());
  }
}

std::string OnsetText(double onset, const char* unit) {
  return onset > 0.0 ? ", onset " + Number(onset) + " " + unit : "";
}

}  // namespace

void Restraints::addPositional(Parts& parts) {
  const AtomSelection selection = parts.Selection(3);
  const double width = parts.NonNegative("width", 0.0);
  const double strength = parts.NonNegative("strength", kDefaultStrength);
  const double onset = parts.NonNegative("onset", 0.0);
  makers_.push_back([=, origin = parts.From()](const QZMolBase& named,
                                               const QZMolBase& mol,
                                               std::vector<HeldRestraint>& all) {
    const AtomGroup atoms = selection.Atoms(named);
    HeldRestraint held =
        HoldPlaces(origin,
                   std::to_string(atoms.size()) + " atoms of \"" + selection.Text() + "\" within " +
                       Number(width) + " Å, " + Number(strength) + " kcal/mol/Å²" +
                       OnsetText(onset, "Å") + ": " + AtomRanges(atoms),
                   atoms,
                   Positions(mol, atoms),
                   width);
    auto restraint = std::make_unique<QZConstr::QZHarmonicPotential>(strength, width);
    restraint->SetOnset(onset);
    std::set<const QZChem::QZAtomBase*> members;
    for (const unsigned int index : atoms) members.insert(mol.GetAtom(index));
    restraint->Set(QZChem::IsMemberPtr<QZChem::QZAtomBase>(std::move(members)),
                   QZMolPotential::QZCategoryPositional);
    held.function = std::move(restraint);
    SetUpAndKeep(std::move(held), mol, all);
  });
}

void Restraints::addTorsion(Parts& parts) {
  const AtomTuple atoms = parts.Atoms(4);
  const double degrees = parts.Number("degrees");
  const double k = parts.NonNegative("k");
  const double width = parts.NonNegative("width", 0.0);
  const double onset = parts.NonNegative("onset", 0.0);
  makers_.push_back([=, origin = parts.From()](const QZMolBase& named,
                                               const QZMolBase& mol,
                                               std::vector<HeldRestraint>& all) {
    const std::string target = "target " + Number(degrees) + "°" +
                               (width > 0.0 ? " ± " + Number(width) + "°" : "") +
                               OnsetText(onset, "°");
    for (const AtomGroup& g : Resolve(origin, atoms, named)) {
      auto held = HoldGroup<HeldRestraint>(origin, g, target);
      held.low = degrees - width;
      held.high = degrees + width;
      auto restraint = std::make_unique<QZConstr::QZTorsionAngleRestraint>(k, degrees * kDegree);
      restraint->SetTorsion(g[0], g[1], g[2], g[3]);
      restraint->SetWidth(width * kDegree);
      restraint->SetOnset(onset * kDegree);
      held.function = std::move(restraint);
      SetUpAndKeep(std::move(held), mol, all);
    }
  });
}

void Restraints::addDistance(Parts& parts) {
  const AtomTuple atoms = parts.Atoms(2);
  const double distance = parts.NonNegative("distance");
  const double k = parts.NonNegative("k");
  makers_.push_back([=, origin = parts.From()](const QZMolBase& named,
                                               const QZMolBase& mol,
                                               std::vector<HeldRestraint>& all) {
    for (const AtomGroup& g : Resolve(origin, atoms, named)) {
      auto held = HoldGroup<HeldRestraint>(origin, g, "target " + Number(distance) + " Å");
      held.low = held.high = distance;
      held.function = std::make_unique<QZConstr::QZDistanceQuadPenalty>(
          *mol.GetAtom(g[0]), *mol.GetAtom(g[1]), distance, k);
      SetUpAndKeep(std::move(held), mol, all);
    }
  });
}

void Restraints::addDistanceBand(Parts& parts) {
  const AtomTuple atoms = parts.Atoms(2);
  const double low = parts.NonNegative("low");
  const double high = parts.NonNegative("high");
  const double k = parts.NonNegative("k");
  const double onset = parts.NonNegative("onset", 0.0);
  if (low > high) parts.Refuse("\"low\" is above \"high\"");
  makers_.push_back([=, origin = parts.From()](const QZMolBase& named,
                                               const QZMolBase& mol,
                                               std::vector<HeldRestraint>& all) {
    for (const AtomGroup& g : Resolve(origin, atoms, named)) {
      auto held = HoldGroup<HeldRestraint>(
          origin,
          g,
          "within " + Number(low) + " to " + Number(high) + " Å" + OnsetText(onset, "Å"));
      held.low = low;
      held.high = high;
      auto penalty = std::make_unique<QZConstr::QZDistLimitPenalty>(
          *mol.GetAtom(g[0]), *mol.GetAtom(g[1]), low, high, k);
      penalty->SetOnset(onset);
      held.function = std::move(penalty);
      SetUpAndKeep(std::move(held), mol, all);
    }
  });
}

namespace {

// What differs between the three kinds of constraint.
struct InternalKind {
  unsigned int numAtoms;
  const char* what;
  const char* unit;
  double toLibrary;
  double lowest;  // of the target
  double highest;
  double widest;  // of a range
};

std::function<void(const QZMolBase&, const QZMolBase&, std::vector<HeldConstraint>&)>
ParseConstraint(const InternalKind& kind, Parts& parts) {
  const AtomTuple atoms = parts.Atoms(kind.numAtoms);
  const std::optional<Parts::Range> range = parts.OptionalRange();
  std::string target = "held as it is";
  if (range.has_value()) {
    for (const double value : {range->low, range->high}) {
      if (value >= kind.lowest && value <= kind.highest) continue;
      parts.Refuse(std::string(kind.what) + " of " + Number(value) + " " + kind.unit +
                   " is not possible");
    }
    if (!(range->low <= range->high && range->high - range->low < kind.widest)) {
      parts.Refuse("nothing is between " + Number(range->low) + " and " + Number(range->high));
    }
    target = range->low == range->high
                 ? "target " + Number(range->low) + " " + kind.unit
                 : "from " + Number(range->low) + " to " + Number(range->high) + " " + kind.unit;
  }
  return [=, origin = parts.From()](
             const QZMolBase& named, const QZMolBase& mol, std::vector<HeldConstraint>& all) {
    for (const AtomGroup& g : Resolve(origin, atoms, named)) {
      auto held = HoldGroup<HeldConstraint>(origin, g, target);
      auto function = HoldInternal(g);
      if (range.has_value()) {
        function->SetTarget(0.5 * (range->low + range->high) * kind.toLibrary);
        held.halfWidth = 0.5 * (range->high - range->low) * kind.toLibrary;
        held.low = range->low;
        held.high = range->high;
      } else {
        held.low = held.high = held.measure(mol);
      }
      held.function = std::move(function);
      SetUpAndKeep(std::move(held), mol, all);
    }
  };
}

}  // namespace

void Restraints::addDistanceConstraint(Parts& parts) {
  constraintMakers_.push_back(
      ParseConstraint({2, "a distance", "Å", 1.0, kShortest, kLongest, kLongest}, parts));
}

void Restraints::addAngleConstraint(Parts& parts) {
  constraintMakers_.push_back(
      ParseConstraint({3, "an angle", "°", kDegree, 0.0, 180.0, 360.0}, parts));
}

void Restraints::addTorsionConstraint(Parts& parts) {
  constraintMakers_.push_back(
      ParseConstraint({4, "a torsion", "°", kDegree, -360.0, 360.0, 360.0}, parts));
}

std::vector<HeldRestraint> Restraints::Build(const QZMolBase& named, const QZMolBase& mol) const {
  std::vector<HeldRestraint> all;
  for (const auto& make : makers_) make(named, mol, all);
  return all;
}

std::vector<HeldConstraint> Restraints::BuildConstraints(const QZMolBase& named,
                                                         const QZMolBase& mol) const {
  std::vector<HeldConstraint> all;
  for (const auto& make : constraintMakers_) make(named, mol, all);
  return all;
}

}  // namespace Molpot
