// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constraints.h"

#include <limits>
#include <numbers>

namespace MolPotentialPython {

namespace QZ = QZMolPotential;

double UnitOf(const std::string& kind) {
  return kind == "distance" ? 1.0 : std::numbers::pi / 180.0;
}

std::unique_ptr<QZ::QZGeometryConstr> MakeConstraint(const std::string& kind,
                                                     const std::vector<unsigned int>& a) {
  const auto expect = [&](std::size_t count) {
    if (a.size() == count) return;
    throw InputError("a " + kind + " has " + std::to_string(count) + " atoms, not " +
                     std::to_string(a.size()));
  };
  if (kind == "distance") {
    expect(2);
    return std::make_unique<QZ::QZCentroidDistanceConstr>(std::vector{a[0]}, std::vector{a[1]});
  }
  if (kind == "angle") {
    expect(3);
    return std::make_unique<QZ::QZValenceAngleConstr>(a[0], a[1], a[2]);
  }
  if (kind == "torsion") {
    expect(4);
    return std::make_unique<QZ::QZDihedralAngleConstr>(a[0], a[1], a[2], a[3]);
  }
  throw InputError("there is no constraint \"" + kind + "\" (distance, angle, torsion)");
}

ConstraintSet::ConstraintSet(const py::list& constraints, Coordinates& system) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const QZChem::QZGraphMol& mol = system.Wrapped().GetMolecule()->mol;
  for (const py::handle& item : constraints) {
    const auto kind = item.attr("kind").cast<std::string>();
    const auto value = item.attr("value").cast<std::optional<double>>();
    const auto low = item.attr("low").cast<std::optional<double>>();
    const auto high = item.attr("high").cast<std::optional<double>>();
    Held held;
    held.cartesian = MakeConstraint(kind, item.attr("atoms").cast<std::vector<unsigned int>>());
    const double unit = UnitOf(kind);
    if (low.has_value() || high.has_value()) {
      if (value.has_value()) throw InputError("a constraint has a value or bounds, not both");
      // A torsion's bounds lie about their middle, so that a range may pass 180 degrees.
      const bool bothWays = low.has_value() && high.has_value();
      if (kind == "torsion" && !bothWays) throw InputError("a torsion's bounds are low and high");
      const double middle = kind == "torsion" ? 0.5 * (*low + *high) * unit : 0.0;
      held.cartesian->SetTarget(middle);
      held.lower = low.has_value() ? *low * unit - middle : -kInfinity;
      held.upper = high.has_value() ? *high * unit - middle : kInfinity;
    } else if (value.has_value()) {
      held.cartesian->SetTarget(*value * unit);
    }
    Messages messages;
    if (!held.cartesian->Setup(mol)) throw InputError(messages.Take());
    held.constraint = std::make_unique<QZ::QZCoordinateConstr>(*held.cartesian, system.Func());
    all_.push_back(std::move(held));
  }
}

void ConstraintSet::AddTo(QZOpt::QZConstrainedMinimizer& minimizer) const {
  for (const Held& held : all_) {
    if (held.lower == 0.0 && held.upper == 0.0) {
      minimizer.AddConstraint(*held.constraint);
    } else {
      minimizer.AddBounds(*held.constraint, held.lower, held.upper);
    }
  }
}

}  // namespace MolPotentialPython
