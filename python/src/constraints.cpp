// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constraints.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

using Group = std::vector<unsigned int>;

// The atoms in one row, `count` of them.
Group Row(const std::string& kind,
          const py::object& atoms,
          std::size_t count,
          const QZChem::QZGraphMol& mol) {
  Group group = Resolve(ToAtoms(atoms), mol, kind.c_str());
  if (group.size() == count) return group;
  throw InputError("a " + kind + " has " + std::to_string(count) + " atoms, not " +
                   std::to_string(group.size()));
}

std::pair<Group, Group> TwoGroups(const std::string& kind,
                                  const py::object& atoms,
                                  const QZChem::QZGraphMol& mol) {
  if (py::isinstance<py::str>(atoms) || !py::isinstance<py::sequence>(atoms) ||
      py::len(atoms) != 2) {
    throw InputError("a " + kind + " has two groups of atoms");
  }
  const py::object first = atoms[py::int_(0)];
  const py::object second = atoms[py::int_(1)];
  return {Resolve(ToAtoms(first), mol, kind.c_str()), Resolve(ToAtoms(second), mol, kind.c_str())};
}

std::unique_ptr<QZ::QZGeometryConstr> Make(const std::string& kind,
                                           const py::object& atoms,
                                           const py::object& reference,
                                           const QZChem::QZGraphMol& mol) {
  if (kind == "distance") {
    const Group a = Row(kind, atoms, 2, mol);
    return std::make_unique<QZ::QZCentroidDistanceConstr>(Group{a[0]}, Group{a[1]});
  }
  if (kind == "angle") {
    const Group a = Row(kind, atoms, 3, mol);
    return std::make_unique<QZ::QZValenceAngleConstr>(a[0], a[1], a[2]);
  }
  if (kind == "torsion") {
    const Group a = Row(kind, atoms, 4, mol);
    return std::make_unique<QZ::QZDihedralAngleConstr>(a[0], a[1], a[2], a[3]);
  }
  if (kind == "distance-difference") {
    const Group a = Row(kind, atoms, 4, mol);
    return std::make_unique<QZ::QZDistanceDifferenceConstr>(a[0], a[1], a[2], a[3]);
  }
  if (kind == "plane-height") {
    const Group a = Row(kind, atoms, 4, mol);
    return std::make_unique<QZ::QZPlaneHeightConstr>(a[0], a[1], a[2], a[3]);
  }
  if (kind == "centroid-distance") {
    const auto [a, b] = TwoGroups(kind, atoms, mol);
    return std::make_unique<QZ::QZCentroidDistanceConstr>(a, b);
  }
  if (kind == "rmsd") {
    const Group group = Resolve(ToAtoms(atoms), mol, "rmsd");
    if (reference.is_none()) throw InputError("an rmsd needs a reference, (atoms, 3)");
    const auto points = reference.cast<Array>();
    const double* values = Variables(points, 3 * group.size());
    return std::make_unique<QZ::QZRMSDConstr>(group,
                                              std::vector<double>(values, values + points.size()));
  }
  throw InputError("there is no constraint \"" + kind +
                   "\" (distance, angle, torsion, distance-difference, centroid-distance, "
                   "plane-height, rmsd)");
}

bool IsPossible(const std::string& kind, double value) {
  if (kind == "distance") return value > 0.0;
  if (kind == "angle") return value >= 0.0 && value <= 180.0;
  return (kind != "centroid-distance" && kind != "rmsd") || value >= 0.0;
}

}  // namespace

double UnitOf(const std::string& kind) {
  return kind == "angle" || kind == "torsion" ? std::numbers::pi / 180.0 : 1.0;
}

std::unique_ptr<QZ::QZGeometryConstr> MakeConstraint(const std::string& kind,
                                                     const py::object& atoms,
                                                     const py::object& reference,
                                                     const QZChem::QZGraphMol& mol) {
  auto made = Make(kind, atoms, reference, mol);
  Messages messages;
  if (!made->Setup(mol)) throw InputError(messages.Take());
  return made;
}

ConstraintSet::ConstraintSet(const py::list& constraints, const QZChem::QZGraphMol& mol) {
  for (const py::handle& item : constraints) {
    const auto kind = item.attr("kind").cast<std::string>();
    const auto value = item.attr("value").cast<std::optional<double>>();
    const auto low = item.attr("low").cast<std::optional<double>>();
    const auto high = item.attr("high").cast<std::optional<double>>();
    for (const auto& number : {value, low, high}) {
      if (std::isnan(number.value_or(0.0))) throw InputError("a constraint is not a number");
    }
    if (value.has_value() && !IsPossible(kind, *value)) {
      throw InputError("a " + kind + " cannot be " +
                       py::str(py::float_(*value)).cast<std::string>());
    }
    BoundedConstraint entry;
    entry.cartesian = MakeConstraint(kind, item.attr("atoms"), item.attr("reference"), mol);
    const double unit = UnitOf(kind);
    if (low.has_value() || high.has_value()) {
      if (value.has_value()) throw InputError("a constraint has a value or bounds, not both");
      if (low.value_or(-kInfinity) > high.value_or(kInfinity)) {
        throw InputError("a constraint's low is above its high");
      }
      // A torsion's bounds lie about their middle, so that a range may pass 180 degrees.
      const bool bothWays = low.has_value() && high.has_value();
      if (kind == "torsion" && !bothWays) throw InputError("a torsion's bounds are low and high");
      const double middle = kind == "torsion" ? 0.5 * (*low + *high) * unit : 0.0;
      entry.cartesian->SetTarget(middle);
      entry.lower = low.has_value() ? *low * unit - middle : -kInfinity;
      entry.upper = high.has_value() ? *high * unit - middle : kInfinity;
    } else if (value.has_value()) {
      entry.cartesian->SetTarget(*value * unit);
    }
    all_.push_back(std::move(entry));
  }
}

void ConstraintSet::AddTo(QZOpt::QZConstrainedMinimizer& minimizer, QZ::QZCoordinateFunc& system) {
  for (BoundedConstraint& entry : all_) {
    entry.inVariables = std::make_unique<QZ::QZCoordinateConstr>(*entry.cartesian, system);
    minimizer.AddBounds(*entry.inVariables, entry.lower, entry.upper);
  }
}

void ConstraintSet::AddTo(QZOpt::QZRelaxedScan& scan) const {
  for (const BoundedConstraint& entry : all_)
    scan.AddBounds(*entry.cartesian, entry.lower, entry.upper);
}

}  // namespace MolPotentialPython
