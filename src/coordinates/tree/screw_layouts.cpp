// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/tree/screw_layouts.h"

#include <algorithm>
#include <utility>

#include "qzchem/mol.h"
#include "qzchem/topology.h"

namespace QZMolPotential {

using Unit = ScrewLayout::Unit;

ScrewLayout ComponentLayout(const MapRequest& request) {
  std::vector<unsigned int> parts(request.fixed.size());
  const unsigned int count = QZChem::QZDetermineComponents(*request.mol, parts.data());
  ScrewLayout layout;
  layout.units.assign(count, Unit::Body);
  layout.unitOf.resize(parts.size());
  for (std::size_t i = 0; i < parts.size(); ++i) {
    layout.unitOf[i] = parts[i] == 0 ? ScrewLayout::kNone : parts[i] - 1;
    if (parts[i] != 0 && request.fixed[i] != 0) layout.units[parts[i] - 1] = Unit::Still;
  }
  layout.forest = TorsionForest(parts.size());
  return layout;
}

ScrewLayout BlockLayout(const std::vector<unsigned int>& atomCounts) {
  ScrewLayout layout;
  layout.centred = false;
  layout.units.assign(atomCounts.size(), Unit::Body);
  for (unsigned int k = 0; k < atomCounts.size(); ++k) {
    layout.unitOf.insert(layout.unitOf.end(), atomCounts[k], k);
  }
  layout.forest = TorsionForest(layout.unitOf.size());
  return layout;
}

void AddTorsions(const MapRequest& request,
                 const BondPredicate& rotors,
                 const std::vector<bool>& turning,
                 const std::vector<unsigned char>& held,
                 ScrewLayout& layout) {
  std::vector<double> coords(3 * request.fixed.size());
  request.mol->GetCoords(coords.data());
  layout.forest.Build(*request.mol, coords.data(), [&](const QZChem::QZBondBase& bond) {
    const QZChem::QZAtomBase& begin = *bond.GetBegin();
    return turning[layout.unitOf[begin.GetIndex()]] && !bond.IsInRing() && begin.GetDegree() > 1 &&
           bond.GetEnd()->GetDegree() > 1 && rotors(bond);
  });
  layout.forest.Hold(held);
  layout.forest.RestLargestPieces(held);
}

std::unique_ptr<CoordinateMap> MakeTorsionMap(const MapRequest& request,
                                              const BondPredicate& rotors) {
  ScrewLayout layout = ComponentLayout(request);
  std::ranges::fill(layout.units, Unit::Still);
  const std::vector<bool> all(layout.units.size(), true);
  std::vector<unsigned char> fixed = request.fixed;
  for (std::size_t i = 0; i < fixed.size(); ++i) {
    if (layout.unitOf[i] == ScrewLayout::kNone) fixed[i] = 0;
  }
  AddTorsions(request, rotors, all, fixed, layout);
  return std::make_unique<ScrewMap>(std::move(layout));
}

std::unique_ptr<CoordinateMap> MakeTorsionRigidMap(const MapRequest& request,
                                                   const BondPredicate& rotors) {
  ScrewLayout layout = ComponentLayout(request);
  std::vector<bool> turning;
  for (const Unit unit : layout.units) turning.push_back(unit == Unit::Body);
  const std::vector<unsigned char> none(request.fixed.size(), 0);
  AddTorsions(request, rotors, turning, none, layout);
  return std::make_unique<ScrewMap>(std::move(layout));
}

}  // namespace QZMolPotential
