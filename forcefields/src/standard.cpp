// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "forcefields/standard.h"

#include <ForceField/MMFF/Contribs.h>
#include <strings.h>

#include "qzchem/mol.h"
#include "term.h"

namespace QZMolPotential {
namespace {

using Kind = QZForceFieldTermKind;

constexpr QZForceFieldKind kKinds[] = {
    QZForceFieldKind::MMFF94, QZForceFieldKind::MMFF94s, QZForceFieldKind::UFF};

std::vector<Kind> TermsOf(QZForceFieldKind kind) {
  if (kind == QZForceFieldKind::UFF) {
    return {Kind::Stretch, Kind::Bend, Kind::OutOfPlane, Kind::Torsion, Kind::VanDerWaals};
  }
  return {Kind::Stretch,
          Kind::Bend,
          Kind::StretchBend,
          Kind::OutOfPlane,
          Kind::Torsion,
          Kind::VanDerWaals,
          Kind::Electrostatics};
}

}  // namespace

const char* QZGetForceFieldName(QZForceFieldKind kind) {
  switch (kind) {
    case QZForceFieldKind::MMFF94:
      return "MMFF94";
    case QZForceFieldKind::MMFF94s:
      return "MMFF94s";
    case QZForceFieldKind::UFF:
      return "UFF";
  }
  return "";
}

bool QZFindForceField(const char* name, QZForceFieldKind& kind) {
  if (name == nullptr) return false;
  for (QZForceFieldKind candidate : kKinds) {
    if (strcasecmp(name, QZGetForceFieldName(candidate)) == 0) {
      kind = candidate;
      return true;
    }
  }
  return false;
}

QZStandardFF::QZStandardFF(QZForceFieldKind kind) : kind_(kind) {
  SetTitle(QZGetForceFieldName(kind));
  for (Kind term : TermsOf(kind)) {
    auto function = std::make_unique<QZForceFieldTerm>(kind, term);
    if (Add(static_cast<QZMolFunc2&>(*function), /*own=*/true)) function.release();
  }
}

QZStandardFF::QZStandardFF(const QZStandardFF& other)
    : QZMolFunc(other),
      QZOpt::QZFunc0(other),
      QZMolFunc0(other),
      QZOpt::QZFunc1(other),
      QZMolFunc1(other),
      QZOpt::QZFunc2(other),
      QZMolFunc2(other),
      QZGenericFF2(other),
      kind_(other.kind_) {
  shareEngine();
}

QZStandardFF& QZStandardFF::operator=(const QZStandardFF& other) {
  if (this == &other) return *this;
  QZGenericFF2::operator=(other);
  kind_ = other.kind_;
  shareEngine();
  return *this;
}

QZStandardFF::~QZStandardFF() = default;

std::vector<QZForceFieldTerm*> QZStandardFF::terms() const {
  std::vector<QZForceFieldTerm*> found;
  for (QZMolFunc2* function : QZGenericFFImpl2::GetComponentPotentials()) {
    auto* term = dynamic_cast<QZForceFieldTerm*>(function);
    if (term != nullptr && term->GetForceField() == kind_) found.push_back(term);
  }
  return found;
}

// The components of a copy come with an engine each; one serves them all.
void QZStandardFF::shareEngine() {
  std::shared_ptr<Engine> engine;
  for (QZForceFieldTerm* term : terms()) {
    if (term->impl_->engine == nullptr) continue;
    if (engine == nullptr) {
      engine = term->impl_->engine;
    } else {
      term->impl_->UseEngine(engine);
    }
  }
}

bool QZStandardFF::Setup(const QZChem::QZMolBase& mol) {
  const auto perception = Perception::Make(mol, kind_);
  if (perception == nullptr) {
    Clear();
    return false;
  }
  const auto engine = perception->MakeEngine();
  for (QZForceFieldTerm* term : terms()) {
    term->impl_->sharedPerception = perception;
    term->impl_->sharedEngine = engine;
  }
  const bool complete = QZGenericFF2::Setup(mol);
  SetNumVar(3 * mol.AtomIndexBound());
  return complete;
}

std::size_t QZEstimateForceFieldMemory(const QZChem::QZMolBase& mol) {
  // Bonded contributions and what typing holds: generous for drug molecules and peptides.
  constexpr std::size_t kPerAtom = 4096;
  constexpr std::size_t kPerPair = sizeof(ForceFields::MMFF::VdWContrib) +
                                   sizeof(ForceFields::MMFF::EleContrib) + sizeof(double);
  const std::size_t n = mol.NumAtoms();
  return n * kPerAtom + n * (n + 1) / 2 * kPerPair;
}

}  // namespace QZMolPotential
