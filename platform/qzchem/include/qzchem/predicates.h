// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "qzchem/atom.h"
#include "qzsystem/predicate.h"

namespace QZChem {

/// True for the objects whose addresses are in a set; copies share the set.
template <class T>
class IsMemberPtr final : public QZSystem::QZUnaryPredicate<T> {
 public:
  explicit IsMemberPtr(std::set<const T*> members)
      : members_(std::make_shared<const std::set<const T*>>(std::move(members))) {}
  bool operator()(const T& x) const override { return members_->contains(&x); }
  IsMemberPtr* CreateCopy() const override { return new IsMemberPtr(*this); }

 private:
  std::shared_ptr<const std::set<const T*>> members_;
};

/// True for a pair of objects when a unary predicate holds for at least one of them. Owns a copy of
/// the predicate, which copies of this object share.
template <class T>
class QZUnaryToBinaryOr final : public QZSystem::QZBinaryPredicate<T, T> {
 public:
  explicit QZUnaryToBinaryOr(const QZSystem::QZUnaryPredicate<T>& pred)
      : pred_(pred.CreateCopy()) {}
  bool operator()(const T& a, const T& b) const override { return (*pred_)(a) || (*pred_)(b); }
  QZUnaryToBinaryOr* CreateCopy() const override { return new QZUnaryToBinaryOr(*this); }
  /// The unary predicate. With it a large set of pairs can be decided object by object instead of
  /// pair by pair.
  const QZSystem::QZUnaryPredicate<T>& GetPredicate() const { return *pred_; }

 private:
  std::shared_ptr<const QZSystem::QZUnaryPredicate<T>> pred_;  // immutable, so copies share it
};

/// True for an atom (or bond) whose part number, looked up by its index, is the selected part. Part
/// 0 is never selected. Copies share the table of part numbers and have a selection of their own.
template <class T>
class QZPartPredT final : public QZSystem::QZUnaryPredicate<T> {
 public:
  /// `parts`: `count` part numbers by index, copied.
  QZPartPredT(const unsigned int* parts, unsigned int count)
      : parts_(std::make_shared<const std::vector<unsigned int>>(parts, parts + count)) {}
  void SelectPart(unsigned int part) { selected_ = part; }
  bool operator()(const T& x) const override {
    return selected_ != 0 && x.GetIndex() < parts_->size() && (*parts_)[x.GetIndex()] == selected_;
  }
  QZPartPredT* CreateCopy() const override { return new QZPartPredT(*this); }

 private:
  std::shared_ptr<const std::vector<unsigned int>> parts_;
  unsigned int selected_ = 0;
};

/// True for two atoms of the same part, or of different parts when `negate` is set.
class QZ_API QZInSamePart final : public QZSystem::QZBinaryPredicate<QZAtomBase, QZAtomBase> {
 public:
  /// `parts`: `count` part numbers by atom index, copied.
  QZInSamePart(const unsigned int* parts, unsigned int count, bool negate);
  bool operator()(const QZAtomBase& a, const QZAtomBase& b) const override;
  QZInSamePart* CreateCopy() const override;

 private:
  std::shared_ptr<const std::vector<unsigned int>> parts_;
  bool negate_;
};

/// True for a rotatable bond: single, not in a ring, both ends with another neighbour. With
/// `heavyOnly` the other neighbour must not be hydrogen, so that methyls and hydroxyls do not
/// count.
class QZ_API QZIsRotor final : public QZSystem::QZUnaryPredicate<QZBondBase> {
 public:
  explicit QZIsRotor(bool heavyOnly = true) : heavyOnly_(heavyOnly) {}
  bool operator()(const QZBondBase& bond) const override;
  QZIsRotor* CreateCopy() const override { return new QZIsRotor(*this); }

 private:
  bool heavyOnly_;
};

}  // namespace QZChem
