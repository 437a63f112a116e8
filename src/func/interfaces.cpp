// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>

#include "molpotential/adaptor.h"
#include "molpotential/invariance.h"

namespace QZMolPotential {

QZMolFunc::~QZMolFunc() = default;
QZMolSetup::~QZMolSetup() = default;
QZFrameQuery::~QZFrameQuery() = default;

bool QZIsFrameInvariant(const QZMolFunc& func) {
  const auto* query = dynamic_cast<const QZFrameQuery*>(&func);
  return query != nullptr && query->IsFrameInvariant();
}

bool QZMolFunc::SetupConf(const double* /*coords*/) {
  return true;
}

QZSystem::QZIterBase<QZInteraction>* QZMolFunc::GetInteractions(const QZChem::QZMolBase& /*mol*/,
                                                                const double* /*coords*/,
                                                                unsigned int /*selector*/) const {
  return QZSystem::QZMakeEmptyIter<QZInteraction>();
}

void QZMolFunc::Clear() {}

bool QZMolFunc::Set(const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>&,
                    unsigned int) {
  return false;
}

bool QZMolFunc::Set(const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>&,
                    unsigned int) {
  return false;
}

bool QZMolFunc::Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>&, unsigned int) {
  return false;
}

bool QZMolFunc::Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>&, unsigned int) {
  return false;
}

void QZMolFunc::ClearPredicates() {}
void QZMolFunc::SetVerbose(bool /*on*/) {}

void QZMolAdaptor::GetVar(double* out, const double* funcVars) {
  const double* vars = GetVar(funcVars);
  if (vars != nullptr) std::copy_n(vars, NumVar(), out);
}

QZMolFunc1* QZMolAdaptor::CreateCopy() const {
  return nullptr;
}
QZMolFunc2* QZMolAdaptor2::CreateCopy() const {
  return nullptr;
}

}  // namespace QZMolPotential
