// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/interactparams.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <stdexcept>

#include "qzchem/atom.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

using QZChem::QZAtomBase;
using QZChem::QZBondBase;
using QZSystem::QZThrow;
using AtomPredicate = QZSystem::QZUnaryPredicate<QZAtomBase>;

constexpr const char* kOutOfRange = "array index passed to QZInteractParams out of range";

bool InRange(unsigned int i, unsigned int bound) {
  if (i < bound) return true;
  QZThrow.Warning("%s", kOutOfRange);
  return false;
}

unsigned int IndexOf(const QZAtomBase* atom) {
  return atom != nullptr ? atom->GetIndex() : std::numeric_limits<unsigned int>::max();
}

bool AcceptsAny(const AtomPredicate& pred, std::initializer_list<const QZAtomBase*> atoms) {
  return std::ranges::any_of(atoms, [&](const QZAtomBase* atom) { return pred(*atom); });
}

template <class T>
bool SamePair(const T* a, const T* b, const T* c, const T* d) {
  return (a == c && b == d) || (a == d && b == c);
}

bool AreBonded(const QZAtomBase* a, const QZAtomBase* b) {
  for (const auto& neighbour : QZSystem::QZRange(a->GetNeighbours())) {
    if (&neighbour == b) return true;
  }
  return false;
}

}  // namespace

QZInteractParams::~QZInteractParams() = default;

double& QZInteractParams::operator[](unsigned int i) {
  if (i >= kNumParams) {
    QZThrow.Error("%s", kOutOfRange);
    throw std::out_of_range("invalid vector<T> subscript");
  }
  return params_[i];
}

double QZInteractParams::Get(unsigned int i) const {
  return InRange(i, kNumParams) ? params_[i] : 0.0;
}

bool QZInteractParams::Set(unsigned int i, double value) {
  if (!InRange(i, kNumParams)) return false;
  params_[i] = value;
  return true;
}

std::vector<double> QZInteractParams::GetList(unsigned int i) const {
  return InRange(i, kNumLists) ? lists_[i] : std::vector<double>();
}

bool QZInteractParams::SetList(unsigned int i, const std::vector<double>& list) {
  if (!InRange(i, kNumLists)) return false;
  lists_[i] = list;
  return true;
}

void QZInteractParams::Clear() {
  params_.fill(0.0);
}

unsigned int QZStretchParams::GetAtomIndex1() const {
  return bond_->GetBegin()->GetIndex();
}
unsigned int QZStretchParams::GetAtomIndex2() const {
  return bond_->GetEnd()->GetIndex();
}

bool QZStretchParams::IsValid(const AtomPredicate& pred) const {
  return AcceptsAny(pred, {bond_->GetBegin(), bond_->GetEnd()});
}

bool QZStretchParams::IsValid(const QZSystem::QZUnaryPredicate<QZBondBase>& pred) const {
  return pred(*bond_);
}

QZBendParams::QZBendParams(const QZBondBase* bond1, const QZBondBase* bond2)
    : bond1_(bond1), bond2_(bond2) {
  if (bond1 != nullptr && bond2 != nullptr) {
    // bond2's begin is tried first as the apex, and for each the begin of bond1.
    for (const QZAtomBase* shared : {bond2->GetBegin(), bond2->GetEnd()}) {
      atom1_ = bond1->GetNeighbour(shared);
      if (atom1_ == nullptr) continue;
      atom2_ = shared;
      atom3_ = bond2->GetNeighbour(shared);
      return;
    }
  }
  QZThrow.Warning("Invalid Angle in QZBendParams");
  valid_ = false;
}

unsigned int QZBendParams::GetAtomIndex1() const {
  return IndexOf(atom1_);
}
unsigned int QZBendParams::GetAtomIndex2() const {
  return IndexOf(atom2_);
}
unsigned int QZBendParams::GetAtomIndex3() const {
  return IndexOf(atom3_);
}

bool QZBendParams::IsAngle(const QZAtomBase* a, const QZAtomBase* b, const QZAtomBase* c) const {
  return valid_ && b == atom2_ && SamePair(a, c, atom1_, atom3_);
}

bool QZBendParams::IsValid(const AtomPredicate& pred) const {
  return valid_ && AcceptsAny(pred, {atom1_, atom2_, atom3_});
}

bool QZBendParams::IsValid(const QZSystem::QZBinaryPredicate<QZBondBase, QZBondBase>& pred) const {
  return valid_ && pred(*bond1_, *bond2_);
}

QZTorsionParams::QZTorsionParams(const QZBondBase* bond,
                                 const QZAtomBase* end1,
                                 const QZAtomBase* end4)
    : bond_(bond), atom1_(end1), atom4_(end4) {
  const bool complete = bond != nullptr && end1 != nullptr && end4 != nullptr;
  if (complete && end1 != end4 && bond->GetNeighbour(end1) == nullptr &&
      bond->GetNeighbour(end4) == nullptr) {
    for (const QZAtomBase* second : {bond->GetBegin(), bond->GetEnd()}) {
      const QZAtomBase* third = bond->GetNeighbour(second);
      if (!AreBonded(end1, second) || !AreBonded(end4, third)) continue;
      atom2_ = second;
      atom3_ = third;
      return;
    }
  }
  QZThrow.Warning("Invalid Dihedral in QZTorsionParams");
  valid_ = false;
}

unsigned int QZTorsionParams::GetAtomIndex1() const {
  return IndexOf(atom1_);
}
unsigned int QZTorsionParams::GetAtomIndex2() const {
  return IndexOf(atom2_);
}
unsigned int QZTorsionParams::GetAtomIndex3() const {
  return IndexOf(atom3_);
}
unsigned int QZTorsionParams::GetAtomIndex4() const {
  return IndexOf(atom4_);
}

bool QZTorsionParams::IsTorsion(const QZAtomBase* a,
                                const QZAtomBase* b,
                                const QZAtomBase* c,
                                const QZAtomBase* d) const {
  return valid_ && SamePair(a, d, atom1_, atom4_) && SamePair(b, c, atom2_, atom3_);
}

bool QZTorsionParams::IsValid(const AtomPredicate& pred) const {
  return valid_ && AcceptsAny(pred, {atom1_, atom2_, atom3_, atom4_});
}

bool QZTorsionParams::IsValid(const QZSystem::QZUnaryPredicate<QZBondBase>& pred) const {
  return valid_ && pred(*bond_);
}

unsigned int QZOutOfPlaneParams::GetAtomIndex1() const {
  return IndexOf(atom1_);
}
unsigned int QZOutOfPlaneParams::GetAtomIndex2() const {
  return IndexOf(atom2_);
}
unsigned int QZOutOfPlaneParams::GetAtomIndex3() const {
  return IndexOf(atom3_);
}
unsigned int QZOutOfPlaneParams::GetAtomIndex4() const {
  return IndexOf(atom4_);
}

bool QZOutOfPlaneParams::IsValid(const AtomPredicate& pred) const {
  return AcceptsAny(pred, {atom1_, atom2_, atom3_, atom4_});
}

unsigned int QZVdwParams::GetAtomIndex1() const {
  return IndexOf(atom1_);
}
unsigned int QZVdwParams::GetAtomIndex2() const {
  return IndexOf(atom2_);
}

bool QZVdwParams::IsPair(const QZAtomBase* a, const QZAtomBase* b) const {
  return SamePair(a, b, atom1_, atom2_);
}

bool QZVdwParams::IsValid(const AtomPredicate& pred) const {
  return AcceptsAny(pred, {atom1_, atom2_});
}

bool QZVdwParams::IsValid(const QZSystem::QZBinaryPredicate<QZAtomBase, QZAtomBase>& pred) const {
  return pred(*atom1_, *atom2_);
}

}  // namespace QZMolPotential
