// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/held.h"

#include <algorithm>
#include <cmath>

#include "input/internals.h"
#include "output/format.h"

namespace Molpot {

double Held::Beyond(double value) const {
  if (!isTorsion) return std::max({low - value, value - high, 0.0});
  const double off = std::abs(std::remainder(value - 0.5 * (low + high), 360.0));
  return std::max(off - 0.5 * (high - low), 0.0);
}

std::string Number(double value) {
  return Format("%g", value);
}

std::string AtomNames(const AtomGroup& group) {
  std::string text = group.size() == 1 ? "atom" : "atoms";
  for (const unsigned int index : group) text += " " + std::to_string(index + 1);
  return text;
}

std::string AtomRanges(const AtomGroup& atoms) {
  std::string text = "atoms ";
  for (std::size_t k = 0; k < atoms.size();) {
    std::size_t last = k;
    while (last + 1 < atoms.size() && atoms[last + 1] == atoms[last] + 1) ++last;
    if (k > 0) text += ",";
    text += std::to_string(atoms[k] + 1);
    if (last > k) text += "-" + std::to_string(atoms[last] + 1);
    k = last + 1;
  }
  return text;
}

template <class H>
H HoldGroup(const Origin& origin, const AtomGroup& group, const std::string& target) {
  H held;
  held.origin = origin;
  held.who = AtomNames(group);
  held.what = held.who + ", " + target;
  held.unit = group.size() == 2 ? "Å" : "°";
  held.isTorsion = group.size() == 4;
  held.measure = [group](const QZChem::QZMolBase& mol) { return MeasureInternal(mol, group); };
  return held;
}

template HeldRestraint HoldGroup(const Origin&, const AtomGroup&, const std::string&);
template HeldConstraint HoldGroup(const Origin&, const AtomGroup&, const std::string&);

HeldRestraint HoldPlaces(const Origin& origin,
                         const std::string& what,
                         const AtomGroup& atoms,
                         std::vector<double> points,
                         double width) {
  HeldRestraint held;
  held.origin = origin;
  held.what = what;
  held.unit = "Å away at most";
  held.high = width;
  held.measure = [atoms, points = std::move(points)](const QZChem::QZMolBase& mol) {
    const std::vector<double> now = Positions(mol, atoms);
    double largest = 0.0;
    for (std::size_t i = 0; i < now.size(); i += 3) {
      largest = std::max(
          largest,
          std::hypot(now[i] - points[i], now[i + 1] - points[i + 1], now[i + 2] - points[i + 2]));
    }
    return largest;
  };
  return held;
}

std::vector<double> Positions(const QZChem::QZMolBase& mol, const AtomGroup& atoms) {
  std::vector<double> positions(3 * atoms.size());
  for (std::size_t k = 0; k < atoms.size(); ++k) {
    mol.GetCoords(mol.GetAtom(atoms[k]), &positions[3 * k]);
  }
  return positions;
}

}  // namespace Molpot
