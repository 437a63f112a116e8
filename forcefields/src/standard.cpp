// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "forcefields/standard.h"

#include <strings.h>

#include <algorithm>
#include <utility>

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
    if (Add(static_cast<QZMolFunc2&>(*function), /*own=*/true)) {
      static_cast<void>(function.release());
    }
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
  joinPairs();
}

QZStandardFF& QZStandardFF::operator=(const QZStandardFF& other) {
  if (this == &other) return *this;
  QZGenericFF2::operator=(other);
  kind_ = other.kind_;
  joinPairs();
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

// Bends and stretch-bends of one molecule, all of them, by one evaluator.
struct QZStandardFF::Angles {
  QZForceFieldTerm* bend = nullptr;
  QZForceFieldTerm* stretchBend = nullptr;
  std::shared_ptr<const Perception> perception;
  std::unique_ptr<TermEvaluator> both;
  std::unique_ptr<TermEvaluator> none;

  // While it lives, the bend term computes both and the other nothing. Null: nothing changes.
  class Joint {
   public:
    explicit Joint(Angles* angles) : angles_(angles) { swap(); }
    Joint(const Joint&) = delete;
    Joint& operator=(const Joint&) = delete;
    ~Joint() { swap(); }

   private:
    void swap() {
      if (angles_ == nullptr) return;
      angles_->bend->impl_->restricted.swap(angles_->both);
      angles_->stretchBend->impl_->restricted.swap(angles_->none);
    }
    Angles* angles_;
  };
};

void QZStandardFF::joinAngles() {
  angles_.reset();
  auto joined = std::make_unique<Angles>();
  for (QZForceFieldTerm* term : terms()) {
    if (term->GetTerm() == Kind::Bend) joined->bend = term;
    if (term->GetTerm() == Kind::StretchBend) joined->stretchBend = term;
  }
  if (joined->bend == nullptr || joined->stretchBend == nullptr) return;
  joined->perception = joined->bend->impl_->perception;
  if (joined->perception == nullptr || joined->perception->mmff == nullptr) return;
  const MmffParameters& mmff = *joined->perception->mmff;
  if (mmff.angle.Size() == 0) return;
  joined->both = std::make_unique<BondedEvaluator<MmffAngle>>(
      std::shared_ptr<const BondedArrays<MmffAngle>>(joined->perception, &mmff.angle));
  joined->none = std::make_unique<BondedEvaluator<MmffAngle>>(
      std::make_shared<const BondedArrays<MmffAngle>>());
  angles_ = std::move(joined);
}

// Null when they are selected, frozen or bound to something else, or one was removed.
QZStandardFF::Angles* QZStandardFF::jointAngles() const {
  if (angles_ == nullptr) return nullptr;
  int found = 0;
  for (const auto& comp : GetComps()) {
    found += comp.first == angles_->bend || comp.first == angles_->stretchBend ? 1 : 0;
  }
  if (found != 2) return nullptr;
  const TermEvaluator* bend = angles_->bend->impl_->Active();
  const TermEvaluator* cross = angles_->stretchBend->impl_->Active();
  const MmffParameters& mmff = *angles_->perception->mmff;
  const bool same = bend != nullptr && cross != nullptr && bend->Source() == &mmff.bend &&
                    cross->Source() == &mmff.stretchBend;
  return same ? angles_.get() : nullptr;
}

// Van der Waals and electrostatics of the same pairs take one pass over them, where both terms use
// one evaluator.
void QZStandardFF::joinPairs() {
  joinAngles();
  vanDerWaals_ = nullptr;
  electrostatics_ = nullptr;
  QZForceFieldTerm* first = nullptr;
  for (QZForceFieldTerm* term : terms()) {
    PairTerm* pairs = term->impl_->ActivePairs();
    if (pairs == nullptr) continue;
    if (term->GetTerm() == Kind::VanDerWaals) {
      first = term;
    } else if (first != nullptr) {
      first->impl_->ActivePairs()->ShareWith(*pairs);
      vanDerWaals_ = first;
      electrostatics_ = term;
    }
  }
}

// Null when the two terms do not use the same pairs, which may change with frozen atoms, or when
// one of them was removed.
std::pair<PairTerm*, PairTerm*> QZStandardFF::joint() const {
  const auto isHere = [this](const QZForceFieldTerm* f) {
    return std::ranges::any_of(GetComps(), [f](const auto& comp) { return comp.first == f; });
  };
  if (!isHere(vanDerWaals_) || !isHere(electrostatics_)) return {};
  PairTerm* first = vanDerWaals_->impl_->ActivePairs();
  PairTerm* second = electrostatics_->impl_->ActivePairs();
  if (first == nullptr || second == nullptr || !first->SharesWith(*second)) return {};
  return {first, second};
}

double QZStandardFF::operator()(const double* x) {
  const PairTerm::Joint pairs(joint());
  const Angles::Joint angles(jointAngles());
  return QZGenericFF2::operator()(x);
}

double QZStandardFF::operator()(const double* x, double* grad) {
  const PairTerm::Joint pairs(joint());
  const Angles::Joint angles(jointAngles());
  return QZGenericFF2::operator()(x, grad);
}

bool QZStandardFF::operator()(const double* x, double* hessian, double* grad) {
  const PairTerm::Joint pairs(joint());
  const Angles::Joint angles(jointAngles());
  return QZGenericFF2::operator()(x, hessian, grad);
}

bool QZStandardFF::AppendHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) {
  const std::vector<QZForceFieldTerm*> own = terms();
  if (NumVar() == 0 || own.size() != GetComps().size()) return false;
  for (QZForceFieldTerm* term : own) term->AppendHessian(x, entries);
  return true;
}

bool QZStandardFF::AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) {
  const PairTerm::Joint pairs(joint());
  return QZGenericFF2::AppendModelHessian(x, entries);
}

bool QZStandardFF::Freeze(const unsigned char* fixed) {
  const bool frozen = NumVar() != 0 && QZGenericFF2::Freeze(fixed);
  bool isNew = false;
  for (const auto& comp : GetComps()) {
    auto* const term = dynamic_cast<QZForceFieldTerm*>(comp.first);
    if (term != nullptr) isNew = std::exchange(term->impl_->isNew, false) || isNew;
  }
  if (isNew) joinPairs();
  return frozen;
}

void QZStandardFF::SetDielectric(double constant, bool distanceDependent) {
  for (QZForceFieldTerm* term : terms()) {
    if (term->impl_->IsPairs()) term->SetDielectric(constant, distanceDependent);
  }
}

void QZStandardFF::SetCutoff(double distance, double width) {
  for (QZForceFieldTerm* term : terms()) {
    if (term->impl_->IsPairs()) term->SetCutoff(distance, width);
  }
}

std::vector<double> QZStandardFF::GetPartialCharges() const {
  for (QZForceFieldTerm* term : terms()) {
    const auto& perception = term->impl_->perception;
    if (perception != nullptr && perception->mmff != nullptr) return perception->mmff->charges;
  }
  return {};
}

bool QZStandardFF::Setup(const QZChem::QZMolBase& mol) {
  const auto perception = Perception::Find(mol, kind_);
  if (perception == nullptr) {
    Clear();
    return false;
  }
  bool complete = true;
  for (const auto& comp : GetComps()) {
    auto* term = dynamic_cast<QZForceFieldTerm*>(comp.first);
    if (term == nullptr || term->GetForceField() != kind_) {
      complete = comp.first->Setup(mol) && complete;
    } else {
      term->impl_->Bind(mol, perception);
    }
  }
  SetNumVar(perception->NumVar());
  joinPairs();
  return complete;
}

std::size_t QZEstimateForceFieldMemory(const QZChem::QZMolBase& mol) {
  // Terms and what typing holds: generous for drug molecules and peptides.
  constexpr std::size_t kPerAtom = 16384;
  return mol.NumAtoms() * kPerAtom;
}

}  // namespace QZMolPotential
