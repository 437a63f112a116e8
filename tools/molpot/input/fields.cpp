// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Restraints of whole molecules: walls, expressions, held torsions and tethers.
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "input/internals.h"
#include "input/restraints.h"
#include "input/words.h"
#include "qzchem/qzchem.h"

namespace Molpot {

using QZChem::QZMolBase;

namespace {

constexpr double kTetherStrength = 50.0;  // kcal/mol/Å²

void SetUpAndKeep(HeldRestraint held, const QZMolBase& mol, std::vector<HeldRestraint>& all) {
  if (!held.function->Setup(mol)) {
    throw RecordError(held.option + ": cannot be set up for " + held.what);
  }
  all.push_back(std::move(held));
}

// The energy itself, where it is what a restraint reaches.
std::function<double(const QZMolBase&)> EnergyOf(QZMolPotential::QZMolFunc1& function) {
  return [&function](const QZMolBase& mol) {
    std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
    mol.GetCoords(coords.data());
    return function(coords.data());
  };
}

double TakePositive(const char* option, const char* what, std::vector<std::string>& words) {
  const double value = TakeNumber(option, what, words);
  if (!(value > 0.0)) throw UsageError(std::string(option) + ": the " + what + " must be positive");
  return value;
}

using Groups = std::vector<std::vector<unsigned int>>;

// Every way in which the pattern lies on the molecule, atoms in the pattern's order.
Groups AllMatches(const QZChem::QZSubSearch& search, const QZMolBase& mol) {
  Groups groups;
  for (const auto& match : QZSystem::QZRange(search.Match(mol, /*unique=*/false))) {
    auto& group = groups.emplace_back();
    for (const auto& pair : QZSystem::QZRange(match.GetPairs())) {
      group.push_back(pair.target->GetIndex());
    }
  }
  return groups;
}

std::vector<double> Positions(const QZMolBase& mol, const std::vector<unsigned int>& atoms) {
  std::vector<double> positions(3 * atoms.size());
  for (std::size_t k = 0; k < atoms.size(); ++k) {
    mol.GetCoords(mol.GetAtom(atoms[k]), &positions[3 * k]);
  }
  return positions;
}

}  // namespace

void Restraints::AddWall(const std::string& argument) {
  static const char* kOption = "--wall";
  std::vector<std::string> words = Words(argument);
  const std::string kind = words.empty() ? "" : words.front();
  if (kind != "sphere" && kind != "box") {
    throw UsageError(std::string(kOption) + ": a sphere or a box is needed");
  }
  words.erase(words.begin());
  const auto point = [&words] {
    std::array<double, 3> p{};
    for (double& value : p) value = TakeNumber(kOption, "coordinate", words);
    return p;
  };
  const std::array<double, 3> first = point();
  const std::array<double, 3> second = kind == "box" ? point() : first;
  const double radius = kind == "sphere" ? TakePositive(kOption, "radius", words) : 0.0;
  const double k = TakePositive(kOption, "force constant", words);
  ExpectEnd(kOption, words);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (first[axis] > second[axis]) {
      throw UsageError(std::string(kOption) + ": the box's first corner must be the lower one");
    }
  }
  makers_.push_back(
      [=](const QZMolBase& /*named*/, const QZMolBase& mol, std::vector<HeldRestraint>& all) {
        HeldRestraint held;
        held.option = kOption;
        held.what = argument;
        held.unit = "kcal/mol outside";
        if (kind == "box") {
          held.function = std::make_unique<QZConstr::QZBoxWall>(first, second, k);
        } else {
          held.function = std::make_unique<QZConstr::QZSphereWall>(first, radius, k);
        }
        held.measure = EnergyOf(*held.function);
        SetUpAndKeep(std::move(held), mol, all);
      });
}

void Restraints::AddExpression(const std::string& argument) {
  static const char* kOption = "--expression";
  const QZMolPotential::QZExpressionFunc parsed(argument, {}, /*atomsFrom=*/1);
  if (!parsed.GetError().empty()) {
    throw UsageError(std::string(kOption) + ": \"" + argument + "\": " + parsed.GetError());
  }
  makers_.push_back(
      [=](const QZMolBase& /*named*/, const QZMolBase& mol, std::vector<HeldRestraint>& all) {
        HeldRestraint held;
        held.option = kOption;
        held.what = argument;
        held.unit = "kcal/mol";
        held.function.reset(parsed.CreateCopy());
        held.measure = EnergyOf(*held.function);
        SetUpAndKeep(std::move(held), mol, all);
      });
}

void Restraints::HoldTorsions(double k) {
  makers_.push_back([=](const QZMolBase& named,
                        const QZMolBase& mol,
                        std::vector<HeldRestraint>& all) {
    const QZChem::QZIsRotor isRotor;
    for (const auto& bond : QZSystem::QZRange(named.GetBonds())) {
      if (!isRotor(bond)) continue;
      const auto neighbour = [](const QZChem::QZAtomBase& atom, const QZChem::QZAtomBase& other) {
        for (const auto& next : QZSystem::QZRange(atom.GetNeighbours())) {
          if (next.GetIndex() != other.GetIndex()) return next.GetIndex();
        }
        return atom.GetIndex();
      };
      const auto& b = *bond.GetBegin();
      const auto& c = *bond.GetEnd();
      const std::vector<unsigned int> atoms = {
          neighbour(b, c), b.GetIndex(), c.GetIndex(), neighbour(c, b)};
      const double degrees = MeasureInternal(mol, atoms);
      auto function =
          std::make_unique<QZConstr::QZTorsionAngleRestraint>(k, degrees * std::numbers::pi / 180);
      function->SetTorsion(atoms[0], atoms[1], atoms[2], atoms[3]);
      HeldRestraint held;
      held.option = "--hold-torsions";
      held.what = "atoms";
      for (const unsigned int index : atoms) held.what += " " + std::to_string(index + 1);
      held.unit = "°";
      held.function = std::move(function);
      held.measure = [atoms](const QZMolBase& now) { return MeasureInternal(now, atoms); };
      SetUpAndKeep(std::move(held), mol, all);
    }
  });
}

void Restraints::AddTether(const std::string& argument) {
  static const char* kOption = "--tether";
  std::vector<std::string> words = Words(argument);
  if (words.size() < 2) {
    throw UsageError(std::string(kOption) + ": \"REFERENCE SMARTS [width [strength]]\" is needed");
  }
  QZChem::qzmolistream stream(words[0].c_str());
  QZChem::QZGraphMol reference;
  if (!stream || !QZChem::QZReadMolecule(stream, reference)) {
    throw UsageError(std::string(kOption) + ": " + words[0] + ": cannot be read");
  }
  const auto search = std::make_shared<QZChem::QZSubSearch>();
  if (!search->Init(words[1].c_str(), false)) {
    throw UsageError(std::string(kOption) + ": the SMARTS \"" + words[1] +
                     "\" does not parse: " + search->GetError());
  }
  const Groups references = AllMatches(*search, reference);
  if (references.empty()) {
    throw UsageError(std::string(kOption) + ": \"" + words[1] + "\" matches nothing in " +
                     words[0]);
  }
  const std::vector<double> points = Positions(reference, references.front());
  words.erase(words.begin(), words.begin() + 2);
  const double width = words.empty() ? 0.0 : TakeNumber(kOption, "width", words);
  const double k = words.empty() ? kTetherStrength : TakePositive(kOption, "strength", words);
  ExpectEnd(kOption, words);
  if (width < 0.0) throw UsageError(std::string(kOption) + ": the width must not be negative");
  makers_.push_back(
      [=](const QZMolBase& named, const QZMolBase& mol, std::vector<HeldRestraint>& all) {
        // Of symmetric matches the one that superposes best.
        double best = std::numeric_limits<double>::infinity();
        std::vector<unsigned int> atoms;
        for (const auto& group : AllMatches(*search, named)) {
          const double rmsd = QZChem::QZRMSD(points.data(),
                                             Positions(named, group).data(),
                                             static_cast<unsigned int>(group.size()),
                                             /*superpose=*/true,
                                             nullptr,
                                             nullptr);
          if (rmsd < best) {
            best = rmsd;
            atoms = group;
          }
        }
        if (atoms.empty()) throw RecordError(std::string(kOption) + ": the SMARTS matches nothing");
        auto function = std::make_unique<QZConstr::QZTetherRestraint>(k, width);
        for (std::size_t n = 0; n < atoms.size(); ++n) {
          function->AddTarget(atoms[n], points[3 * n], points[3 * n + 1], points[3 * n + 2]);
        }
        HeldRestraint held;
        held.option = kOption;
        held.what = argument + ", atoms";
        for (const unsigned int index : atoms) held.what += " " + std::to_string(index + 1);
        held.unit = "Å RMS away";
        held.function = std::move(function);
        held.measure = [points, atoms](const QZMolBase& now) {
          return QZChem::QZRMSD(points.data(),
                                Positions(now, atoms).data(),
                                static_cast<unsigned int>(atoms.size()),
                                /*superpose=*/false,
                                nullptr,
                                nullptr);
        };
        SetUpAndKeep(std::move(held), mol, all);
      });
}

}  // namespace Molpot
