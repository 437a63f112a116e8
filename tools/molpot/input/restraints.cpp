// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/restraints.h"

#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>
#include <set>

#include "input/internals.h"
#include "input/words.h"

namespace Molpot {

using QZChem::QZMolBase;

namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kDefaultWidth = 0.0;
constexpr double kDefaultStrength = 50.0;
// Å, of a distance that is asked for.
constexpr double kShortest = 1.0e-3;
constexpr double kLongest = 1.0e5;

using Group = std::vector<unsigned int>;

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

// "atoms 3-4-5-6" as the file counts them.
std::string AtomNames(const Group& group) {
  std::string text = group.size() == 1 ? "atom " : "atoms ";
  for (std::size_t k = 0; k < group.size(); ++k) {
    text += (k > 0 ? "-" : "") + std::to_string(group[k] + 1);
  }
  return text;
}

// The distance, angle or torsion of the group, for people.
std::function<double(const QZMolBase&)> InternalOf(const Group& g) {
  return [g](const QZMolBase& mol) { return MeasureInternal(mol, g); };
}

template <class H>
H MakeHeld(const char* option,
           const Group& group,
           const std::string& target,
           const char* unit,
           std::function<double(const QZMolBase&)> measure) {
  H held;
  held.option = option;
  held.what = AtomNames(group) + (target.empty() ? "" : ", " + target);
  held.unit = unit;
  held.numAtoms = group.size();
  held.measure = std::move(measure);
  return held;
}

// Largest distance of the restrained atoms from where they started.
std::function<double(const QZMolBase&)> DisplacementOf(const QZMolBase& start, Group atoms) {
  std::vector<double> from(std::size_t{3} * start.AtomIndexBound());
  start.GetCoords(from.data());
  return [from = std::move(from), atoms = std::move(atoms)](const QZMolBase& mol) {
    double largest = 0.0;
    for (const unsigned int index : atoms) {
      double p[3];
      mol.GetCoords(mol.GetAtom(index), p);
      const double* q = &from[std::size_t{3} * index];
      largest = std::max(largest, std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]));
    }
    return largest;
  };
}

void RequireNonNegative(const std::string& option, const char* what, double value) {
  if (std::isfinite(value) && value >= 0.0) return;
  throw UsageError(option + ": the " + what + " must not be negative");
}

double TakeNonNegative(const std::string& option,
                       const char* what,
                       std::vector<std::string>& words) {
  const double value = TakeNumber(option, what, words);
  RequireNonNegative(option, what, value);
  return value;
}

std::vector<Group> Resolve(const char* option, const AtomTuple& atoms, const QZMolBase& mol) {
  try {
    return atoms.Resolve(mol);
  } catch (const RecordError& error) {
    throw RecordError(std::string(option) + ": " + error.what());
  }
}

template <class H>
void SetUpAndKeep(H held, const QZMolBase& mol, std::vector<H>& all) {
  if (!held.function->Setup(mol)) {
    throw RecordError(held.option + ": cannot be set up for " + held.what);
  }
  all.push_back(std::move(held));
}

}  // namespace

void Restraints::AddPositional(const std::string& argument) {
  static const char* kOption = "--restrain";
  std::vector<double> numbers;
  const AtomSelection selection(kOption, argument, 2, numbers);
  const double width = numbers.empty() ? kDefaultWidth : numbers[0];
  const double strength = numbers.size() < 2 ? kDefaultStrength : numbers[1];
  RequireNonNegative(kOption, "width", width);
  RequireNonNegative(kOption, "strength", strength);
  makers_.push_back(
      [=](const QZMolBase& named, const QZMolBase& mol, std::vector<HeldRestraint>& all) {
        const Group atoms = selection.Atoms(named);
        HeldRestraint held;
        held.option = kOption;
        held.what = std::to_string(atoms.size()) + " atoms of \"" + selection.Text() +
                    "\" within " + Number(width) + " Å, " + Number(strength) + " kcal/mol/Å²";
        held.unit = "Å away at most";
        held.numAtoms = atoms.size();
        held.measure = DisplacementOf(mol, atoms);
        auto restraint = std::make_unique<QZConstr::QZHarmonicPotential>(strength, width);
        std::set<const QZChem::QZAtomBase*> members;
        for (const unsigned int index : atoms) members.insert(mol.GetAtom(index));
        restraint->Set(QZChem::IsMemberPtr<QZChem::QZAtomBase>(std::move(members)),
                       QZMolPotential::QZCategoryPositional);
        held.function = std::move(restraint);
        SetUpAndKeep(std::move(held), mol, all);
      });
}

void Restraints::AddTorsion(const std::string& argument) {
  static const char* kOption = "--restrain-torsion";
  std::vector<std::string> words = Words(argument);
  const AtomTuple atoms(kOption, 4, words);
  const double degrees = TakeNumber(kOption, "angle", words);
  const double k = TakeNonNegative(kOption, "force constant", words);
  ExpectEnd(kOption, words);
  makers_.push_back(
      [=](const QZMolBase& named, const QZMolBase& mol, std::vector<HeldRestraint>& all) {
        for (const Group& g : Resolve(kOption, atoms, named)) {
          auto held = MakeHeld<HeldRestraint>(
              kOption, g, "target " + Number(degrees) + "°", "°", InternalOf(g));
          auto restraint =
              std::make_unique<QZConstr::QZTorsionAngleRestraint>(k, degrees * kDegree);
          restraint->SetTorsion(g[0], g[1], g[2], g[3]);
          held.function = std::move(restraint);
          SetUpAndKeep(std::move(held), mol, all);
        }
      });
}

void Restraints::AddDistance(const std::string& argument) {
  static const char* kOption = "--restrain-distance";
  std::vector<std::string> words = Words(argument);
  const AtomTuple atoms(kOption, 2, words);
  const double distance = TakeNonNegative(kOption, "distance", words);
  const double k = TakeNonNegative(kOption, "force constant", words);
  ExpectEnd(kOption, words);
  makers_.push_back(
      [=](const QZMolBase& named, const QZMolBase& mol, std::vector<HeldRestraint>& all) {
        for (const Group& g : Resolve(kOption, atoms, named)) {
          auto held = MakeHeld<HeldRestraint>(
              kOption, g, "target " + Number(distance) + " Å", "Å", InternalOf(g));
          held.function = std::make_unique<QZConstr::QZDistanceQuadPenalty>(
              *mol.GetAtom(g[0]), *mol.GetAtom(g[1]), distance, k);
          SetUpAndKeep(std::move(held), mol, all);
        }
      });
}

void Restraints::AddDistanceBand(const std::string& argument) {
  static const char* kOption = "--distance-band";
  std::vector<std::string> words = Words(argument);
  const AtomTuple atoms(kOption, 2, words);
  const double low = TakeNonNegative(kOption, "lower limit", words);
  const double high = TakeNonNegative(kOption, "upper limit", words);
  const double k = TakeNonNegative(kOption, "force constant", words);
  ExpectEnd(kOption, words);
  if (low > high) throw UsageError(std::string(kOption) + ": the lower limit is above the upper");
  makers_.push_back([=](const QZMolBase& named,
                        const QZMolBase& mol,
                        std::vector<HeldRestraint>& all) {
    for (const Group& g : Resolve(kOption, atoms, named)) {
      auto held = MakeHeld<HeldRestraint>(
          kOption, g, "within " + Number(low) + " to " + Number(high) + " Å", "Å", InternalOf(g));
      held.function = std::make_unique<QZConstr::QZDistLimitPenalty>(
          *mol.GetAtom(g[0]), *mol.GetAtom(g[1]), low, high, k);
      SetUpAndKeep(std::move(held), mol, all);
    }
  });
}

namespace {

// What differs between the three kinds of constraint.
struct ConstraintKind {
  const char* option;
  unsigned int numAtoms;
  const char* target;
  const char* unit;
  double toLibrary;
  double lowest;  // of the target
  double highest;
};

std::function<void(const QZMolBase&, const QZMolBase&, std::vector<HeldConstraint>&)>
ParseConstraint(const ConstraintKind& kind, const std::string& argument) {
  std::vector<std::string> words = Words(argument);
  const AtomTuple atoms(kind.option, kind.numAtoms, words);
  std::optional<double> value;
  if (!words.empty()) value = TakeNumber(kind.option, kind.target, words);
  ExpectEnd(kind.option, words);
  if (value.has_value() && !(*value >= kind.lowest && *value <= kind.highest)) {
    throw UsageError(std::string(kind.option) + ": a " + kind.target + " of " + Number(*value) +
                     " " + kind.unit + " is not possible");
  }
  return [=](const QZMolBase& named, const QZMolBase& mol, std::vector<HeldConstraint>& all) {
    for (const Group& g : Resolve(kind.option, atoms, named)) {
      const std::string target =
          value.has_value() ? "target " + Number(*value) + " " + kind.unit : "held as it is";
      auto held = MakeHeld<HeldConstraint>(kind.option, g, target, kind.unit, InternalOf(g));
      auto function = HoldInternal(g);
      if (value.has_value()) function->SetTarget(*value * kind.toLibrary);
      held.function = std::move(function);
      SetUpAndKeep(std::move(held), mol, all);
    }
  };
}

}  // namespace

void Restraints::AddDistanceConstraint(const std::string& argument) {
  constraintMakers_.push_back(ParseConstraint(
      {"--constrain-distance", 2, "distance", "Å", 1.0, kShortest, kLongest}, argument));
}

void Restraints::AddAngleConstraint(const std::string& argument) {
  constraintMakers_.push_back(
      ParseConstraint({"--constrain-angle", 3, "angle", "°", kDegree, 0.0, 180.0}, argument));
}

void Restraints::AddTorsionConstraint(const std::string& argument) {
  constraintMakers_.push_back(
      ParseConstraint({"--constrain-torsion", 4, "angle", "°", kDegree, -360.0, 360.0}, argument));
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
