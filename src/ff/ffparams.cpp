// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/ffparams.h"

namespace QZMolPotential {

using QZChem::QZAtomBase;

QZFFParams::~QZFFParams() = default;

QZEmptyFFParams* QZEmptyFFParams::CreateCopy() const {
  return new QZEmptyFFParams(*this);
}

bool QZEmptyFFParams::PrepMol(QZChem::QZMolBase&, bool, bool) const {
  return false;
}

bool QZEmptyFFParams::GetBondParams(QZInteractParams&, const QZChem::QZBondBase*) const {
  return false;
}

bool QZEmptyFFParams::GetAngleParams(QZInteractParams&,
                                     const QZAtomBase*,
                                     const QZAtomBase*,
                                     const QZAtomBase*) const {
  return false;
}

bool QZEmptyFFParams::GetTorsionParams(QZInteractParams&,
                                       const QZAtomBase*,
                                       const QZAtomBase*,
                                       const QZAtomBase*,
                                       const QZAtomBase*) const {
  return false;
}

bool QZEmptyFFParams::GetOutOfPlaneParams(QZInteractParams&,
                                          const QZAtomBase*,
                                          const QZAtomBase*,
                                          const QZAtomBase*,
                                          const QZAtomBase*) const {
  return false;
}

bool QZEmptyFFParams::GetStretchBendParams(QZInteractParams&,
                                           const QZAtomBase*,
                                           const QZAtomBase*,
                                           const QZAtomBase*) const {
  return false;
}

bool QZEmptyFFParams::GetVdwParams(QZInteractParams&, const QZAtomBase*, const QZAtomBase*) const {
  return false;
}

bool QZEmptyFFParams::GetElectrostaticParams(QZInteractParams&,
                                             const QZAtomBase*,
                                             const QZAtomBase*) const {
  return false;
}

unsigned int QZEmptyFFParams::GetAtomType(const QZAtomBase*) const {
  return 0;
}

const char* QZEmptyFFParams::GetAtomTypeName(const QZAtomBase*) const {
  return "";
}

double QZEmptyFFParams::GetPartialCharge(const QZAtomBase*) const {
  return 0.0;
}

bool QZEmptyFFParams::HasParams(const QZChem::QZMolBase&) const {
  return false;
}

const char* QZEmptyFFParams::GetName() const {
  return "";
}
const char* QZEmptyFFParams::GetVersion() const {
  return "";
}

}  // namespace QZMolPotential
