// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/toradaptor.h"

#include "coordinates/tree/screw_layouts.h"

namespace QZMolPotential {

QZTorAdaptor::QZTorAdaptor(QZMolFunc2& f, bool own)
    : QZMappedFunc(f, &f, own), rotors_(std::make_unique<QZTorsionPred2>()) {}
QZTorAdaptor::QZTorAdaptor(QZMolFunc1& f, bool own)
    : QZMappedFunc(f, nullptr, own), rotors_(std::make_unique<QZTorsionPred2>()) {}
QZTorAdaptor::~QZTorAdaptor() = default;
QZTorQuatAdaptor::~QZTorQuatAdaptor() = default;

void QZTorAdaptor::SetRotors(const BondPredicate& rotors) {
  rotors_.reset(rotors.CreateCopy());
}

std::unique_ptr<CoordinateMap> QZTorAdaptor::makeMap(const MapRequest& request,
                                                     std::string& /*reason*/) const {
  return MakeTorsionMap(request, *rotors_);
}

std::string QZTorAdaptor::describe() const {
  return "torsions";
}

std::unique_ptr<CoordinateMap> QZTorQuatAdaptor::makeMap(const MapRequest& request,
                                                         std::string& /*reason*/) const {
  return MakeTorsionRigidMap(request, *rotors_);
}

std::string QZTorQuatAdaptor::describe() const {
  return "torsions and placement";
}

}  // namespace QZMolPotential
