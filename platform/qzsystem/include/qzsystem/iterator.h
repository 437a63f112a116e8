// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "qzplatform/export.h"

namespace QZSystem {

/// Storage for one empty iterator: `kEmptyIterSize` bytes from the pool of `QZGetMemPoolMode`; null
/// when memory is short. Deleting the iterator that is built in the storage returns the storage to
/// the pool.
QZ_API void* PopEmptyIter();
/// Returns storage taken with `PopEmptyIter`; null is accepted.
QZ_API void PushEmptyIter(void* storage);
/// Size and alignment of the pool's blocks.
inline constexpr std::size_t kEmptyIterSize = 16;

/// Ends the program with a message: an iterator was dereferenced past its end.
[[noreturn]] QZ_API void QZReportDeadIterator();

/// Forward iterator over `T`, itself the empty iterator. Owned by whoever received it: `delete`
/// is right for every iterator, pooled empty ones included.
template <class T>
class QZIterBase {
 public:
  QZIterBase() = default;
  QZIterBase(const QZIterBase&) = default;
  QZIterBase& operator=(const QZIterBase&) = default;
  virtual ~QZIterBase() = default;

  /// False at the end.
  virtual bool IsValid() const { return false; }
  /// The current element; only while `IsValid()`.
  virtual T& operator*() const { QZReportDeadIterator(); }
  T* operator->() const { return &**this; }
  virtual QZIterBase& operator++() { return *this; }
  /// An iterator at the same element with a position of its own, owned by the caller.
  virtual QZIterBase* CreateCopy() const { return new QZIterBase(*this); }

  // Every small iterator lives in the pool, so that its size alone tells where its storage must be
  // returned to.
  static void* operator new(std::size_t size) {
    if (size > kEmptyIterSize) return ::operator new(size);
    void* storage = PopEmptyIter();
    if (storage == nullptr) throw std::bad_alloc();
    return storage;
  }
  static void* operator new(std::size_t, void* storage) noexcept { return storage; }
  static void operator delete(void* storage, std::size_t size) noexcept {
    if (size > kEmptyIterSize) {
      ::operator delete(storage);
    } else {
      PushEmptyIter(storage);
    }
  }
  static void operator delete(void*, void*) noexcept {}
};

/// A pooled empty iterator, owned by the caller.
template <class T>
QZIterBase<T>* QZMakeEmptyIter() {
  static_assert(sizeof(QZIterBase<T>) <= kEmptyIterSize);
  void* storage = PopEmptyIter();
  return storage != nullptr ? new (storage) QZIterBase<T> : nullptr;
}

/// Iterator over a vector of values that it owns; copies share the values.
template <class T>
class QZVectorIter final : public QZIterBase<T> {
 public:
  explicit QZVectorIter(std::vector<T> values)
      : values_(std::make_shared<std::vector<T>>(std::move(values))) {}
  bool IsValid() const override { return position_ < values_->size(); }
  T& operator*() const override {
    if (!IsValid()) QZReportDeadIterator();
    return (*values_)[position_];
  }
  QZVectorIter& operator++() override {
    if (IsValid()) ++position_;
    return *this;
  }
  QZVectorIter* CreateCopy() const override { return new QZVectorIter(*this); }

 private:
  std::shared_ptr<std::vector<T>> values_;
  std::size_t position_ = 0;
};

/// Iterator over objects that it points to and does not own.
template <class T>
class QZPointerIter final : public QZIterBase<T> {
 public:
  explicit QZPointerIter(std::vector<T*> pointers)
      : pointers_(std::make_shared<const std::vector<T*>>(std::move(pointers))) {}
  bool IsValid() const override { return position_ < pointers_->size(); }
  T& operator*() const override {
    if (!IsValid()) QZReportDeadIterator();
    return *(*pointers_)[position_];
  }
  QZPointerIter& operator++() override {
    if (IsValid()) ++position_;
    return *this;
  }
  QZPointerIter* CreateCopy() const override { return new QZPointerIter(*this); }

 private:
  std::shared_ptr<const std::vector<T*>> pointers_;
  std::size_t position_ = 0;
};

/// The elements of several iterators, one after the other. Owns the iterators appended to it.
template <class T>
class QZCompositeIter final : public QZIterBase<T> {
 public:
  QZCompositeIter() = default;
  QZCompositeIter(const QZCompositeIter& other) : QZIterBase<T>(other), position_(other.position_) {
    for (const auto& member : other.members_) members_.emplace_back(member->CreateCopy());
  }
  QZCompositeIter& operator=(const QZCompositeIter&) = delete;

  /// Takes ownership of `member`; null and exhausted iterators are dropped at once.
  void Append(QZIterBase<T>* member) {
    std::unique_ptr<QZIterBase<T>> owned(member);
    if (owned != nullptr && owned->IsValid()) members_.push_back(std::move(owned));
  }
  bool IsValid() const override { return position_ < members_.size(); }
  T& operator*() const override {
    if (!IsValid()) QZReportDeadIterator();
    return **members_[position_];
  }
  QZCompositeIter& operator++() override {
    if (!IsValid()) return *this;
    ++*members_[position_];
    if (!members_[position_]->IsValid()) ++position_;
    return *this;
  }
  QZCompositeIter* CreateCopy() const override { return new QZCompositeIter(*this); }

 private:
  std::vector<std::unique_ptr<QZIterBase<T>>> members_;
  std::size_t position_ = 0;
};

/// C++ range over an owned iterator: `for (auto& atom : QZRange(mol.GetAtoms()))`. Takes
/// ownership; null counts as empty. Single pass.
template <class T>
class QZRange {
 public:
  struct Sentinel {};
  class Cursor {
   public:
    explicit Cursor(QZIterBase<T>* it) : it_(it) {}
    T& operator*() const { return **it_; }
    Cursor& operator++() {
      ++*it_;
      return *this;
    }
    bool operator==(Sentinel) const { return it_ == nullptr || !it_->IsValid(); }

   private:
    QZIterBase<T>* it_;
  };

  explicit QZRange(QZIterBase<T>* it) : it_(it) {}
  Cursor begin() const { return Cursor(it_.get()); }
  Sentinel end() const { return {}; }

 private:
  std::unique_ptr<QZIterBase<T>> it_;
};

}  // namespace QZSystem
