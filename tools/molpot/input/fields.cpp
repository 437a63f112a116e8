// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Restraints of whole molecules: walls, expressions, held torsions.
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <set>

#include "constr/constr.h"
#include "input/errors.h"
#include "input/internals.h"
#include "input/restraints.h"

namespace Molpot {

using QZChem::QZMolBase;

namespace {

// The inside of a sphere, or of a box along the axes.
struct Region {
  std::array<double, 3> low;   // a sphere's centre
  std::array<double, 3> high;  // the same again
  double radius;               // 0: a box

  // How far a point is outside, in Å.
  double Beyond(const double* p) const {
    double out[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
      out[axis] = radius > 0.0 ? p[axis] - low[axis]
                               : std::max({low[axis] - p[axis], p[axis] - high[axis], 0.0});
    }
    return std::max(std::hypot(out[0], out[1], out[2]) - radius, 0.0);
  }
};

std::array<double, 3> Point(Parts& parts, const char* name) {
  const std::vector<double> point = parts.Point(name);
  return {point[0], point[1], point[2]};
}

Region TakeRegion(Parts& parts) {
  const std::string shape = parts.Text("shape");
  if (shape == "sphere") {
    const std::array<double, 3> centre = Point(parts, "centre");
    return {centre, centre, parts.Positive("radius")};
  }
  if (shape != "box") parts.Refuse("a sphere or a box is needed");
  const Region box{Point(parts, "low"), Point(parts, "high"), 0.0};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (box.low[axis] > box.high[axis]) {
      parts.Refuse("the box's first corner must be the lower one");
    }
  }
  return box;
}

// Any other neighbour of `atom`.
unsigned int NeighbourOf(const QZChem::QZAtomBase& atom, const QZChem::QZAtomBase& other) {
  for (const auto& next : QZSystem::QZRange(atom.GetNeighbours())) {
    if (next.GetIndex() != other.GetIndex()) return next.GetIndex();
  }
  return atom.GetIndex();
}

}  // namespace

void Restraints::addWall(Parts& parts) {
  const Region region = TakeRegion(parts);
  const double k = parts.Positive("k");
  const double onset = parts.NonNegative("onset", 0.0);
  const std::optional<AtomSelection> selection = parts.OptionalSelection();
  makers_.push_back([=, origin = parts.From()](const QZMolBase& named,
                                               const QZMolBase& mol,
                                               std::vector<HeldRestraint>& all) {
    AtomGroup atoms;
    if (selection.has_value()) {
      atoms = selection->Atoms(named);
    } else {
      for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) atoms.push_back(atom.GetIndex());
    }
    HeldRestraint held;
    held.origin = origin;
    held.what =
        std::string(region.radius > 0.0 ? "sphere" : "box") + " around " + AtomRanges(atoms);
    held.unit = "Å outside at most";
    held.high = 0.0;
    held.measure = [region, atoms](const QZMolBase& now) {
      const std::vector<double> places = Positions(now, atoms);
      double largest = 0.0;
      for (std::size_t i = 0; i < places.size(); i += 3) {
        largest = std::max(largest, region.Beyond(&places[i]));
      }
      return largest;
    };
    std::unique_ptr<QZConstr::QZWallRestraint> wall;
    if (region.radius > 0.0) {
      wall = std::make_unique<QZConstr::QZSphereWall>(region.low, region.radius, k);
    } else {
      wall = std::make_unique<QZConstr::QZBoxWall>(region.low, region.high, k);
    }
    wall->SetOnset(onset);
    std::set<const QZChem::QZAtomBase*> members;
    for (const unsigned int index : atoms) members.insert(mol.GetAtom(index));
    wall->Set(QZChem::IsMemberPtr<QZChem::QZAtomBase>(std::move(members)),
              QZMolPotential::QZCategoryPositional);
    held.function = std::move(wall);
    SetUpAndKeep(std::move(held), mol, all);
  });
}

void Restraints::addExpression(Parts& parts) {
  const Parts::Formula formula = parts.Expression("energy");
  const QZMolPotential::QZExpressionFunc parsed(formula.text, formula.constants, /*atomsFrom=*/1);
  std::string text = formula.text;
  for (const auto& [name, value] : formula.constants) text += "; " + name + " = " + Number(value);
  if (!parsed.GetError().empty()) parts.Refuse(parsed.GetError());
  makers_.push_back([=, origin = parts.From()](const QZMolBase& /*named*/,
                                               const QZMolBase& mol,
                                               std::vector<HeldRestraint>& all) {
    HeldRestraint held;
    held.origin = origin;
    held.what = text;
    held.unit = "kcal/mol";
    held.function.reset(parsed.CreateCopy());
    held.measure = [&function = *held.function](const QZMolBase& now) {
      std::vector<double> coords(std::size_t{3} * now.AtomIndexBound());
      now.GetCoords(coords.data());
      return function(coords.data());
    };
    SetUpAndKeep(std::move(held), mol, all);
  });
}

void Restraints::addHeldTorsions(Parts& parts) {
  const double k = parts.Positive("k");
  makers_.push_back([=, origin = parts.From()](const QZMolBase& named,
                                               const QZMolBase& mol,
                                               std::vector<HeldRestraint>& all) {
    const QZChem::QZIsRotor isRotor;
    for (const auto& bond : QZSystem::QZRange(named.GetBonds())) {
      if (!isRotor(bond)) continue;
      const auto& b = *bond.GetBegin();
      const auto& c = *bond.GetEnd();
      const AtomGroup atoms = {NeighbourOf(b, c), b.GetIndex(), c.GetIndex(), NeighbourOf(c, b)};
      const double degrees = MeasureInternal(mol, atoms);
      auto function =
          std::make_unique<QZConstr::QZTorsionAngleRestraint>(k, degrees * std::numbers::pi / 180);
      function->SetTorsion(atoms[0], atoms[1], atoms[2], atoms[3]);
      auto held = HoldGroup<HeldRestraint>(origin, atoms, "as it is, " + Number(degrees) + "°");
      held.low = held.high = degrees;
      held.function = std::move(function);
      SetUpAndKeep(std::move(held), mol, all);
    }
  });
}

}  // namespace Molpot
