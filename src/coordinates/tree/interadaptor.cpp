// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/interadaptor.h"

#include <utility>

#include "coordinates/tree/screw_layouts.h"

namespace QZMolPotential {

QZInterAdaptor::QZInterAdaptor(QZMolFunc2& f, bool own)
    : QZMappedFunc(f, &f, own), rotors_(std::make_unique<QZTorsionPred2>()) {}
QZInterAdaptor::QZInterAdaptor(QZMolFunc1& f, bool own)
    : QZMappedFunc(f, nullptr, own), rotors_(std::make_unique<QZTorsionPred2>()) {}
QZInterAdaptor::~QZInterAdaptor() = default;

void QZInterAdaptor::SetFlexibility(unsigned int component, QZFlexibility flexibility) {
  if (component >= flexibility_.size()) {
    flexibility_.resize(std::size_t{component} + 1, QZFlexibility::Rigid);
  }
  flexibility_[component] = flexibility;
}

void QZInterAdaptor::SetRotors(const BondPredicate& rotors) {
  rotors_.reset(rotors.CreateCopy());
}

std::unique_ptr<CoordinateMap> QZInterAdaptor::makeMap(const MapRequest& request,
                                                       std::string& reason) const {
  using Unit = ScrewLayout::Unit;
  ScrewLayout layout = ComponentLayout(request);
  if (flexibility_.size() > layout.units.size()) {
    reason = "there are only " + std::to_string(layout.units.size()) + " molecules";
    return nullptr;
  }
  std::vector<bool> turning(layout.units.size(), false);
  for (std::size_t u = 0; u < layout.units.size(); ++u) {
    const QZFlexibility flexibility =
        u < flexibility_.size() ? flexibility_[u] : QZFlexibility::Rigid;
    if (flexibility == QZFlexibility::Full) layout.units[u] = Unit::Free;
    if (flexibility == QZFlexibility::Held) layout.units[u] = Unit::Still;
    turning[u] = flexibility == QZFlexibility::Torsion && layout.units[u] == Unit::Body;
  }
  const std::vector<unsigned char> none(request.fixed.size(), 0);
  AddTorsions(request, *rotors_, turning, none, layout);
  for (std::size_t i = 0; i < layout.unitOf.size(); ++i) {
    const unsigned int unit = layout.unitOf[i];
    const bool isFree = unit != ScrewLayout::kNone && layout.units[unit] == Unit::Free;
    if (isFree && request.fixed[i] != 0) layout.unitOf[i] = ScrewLayout::kNone;
  }
  return std::make_unique<ScrewMap>(std::move(layout));
}

std::string QZInterAdaptor::describe() const {
  return "placement of molecules";
}

}  // namespace QZMolPotential
