// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/predicates.h"

namespace QZChem {

QZInSamePart::QZInSamePart(const unsigned int* parts, unsigned int count, bool negate)
    : parts_(std::make_shared<const std::vector<unsigned int>>(parts, parts + count)),
      negate_(negate) {}

bool QZInSamePart::operator()(const QZAtomBase& a, const QZAtomBase& b) const {
  const auto partOf = [this](const QZAtomBase& atom) {
    return atom.GetIndex() < parts_->size() ? (*parts_)[atom.GetIndex()] : 0U;
  };
  const unsigned int part = partOf(a);
  return (part != 0 && part == partOf(b)) != negate_;
}

QZInSamePart* QZInSamePart::CreateCopy() const {
  return new QZInSamePart(*this);
}

bool QZIsRotor::operator()(const QZBondBase& bond) const {
  const auto hasOther = [this](const QZAtomBase& atom, const QZAtomBase& partner) {
    if (!heavyOnly_) return atom.GetDegree() > 1;
    const unsigned int ownHeavy = partner.GetAtomicNumber() != 1 ? 1 : 0;
    return atom.GetHeavyDegree() > ownHeavy;
  };
  const QZAtomBase& begin = *bond.GetBegin();
  const QZAtomBase& end = *bond.GetEnd();
  return bond.GetOrder() == 1 && hasOther(begin, end) && hasOther(end, begin) && !bond.IsInRing();
}

}  // namespace QZChem
