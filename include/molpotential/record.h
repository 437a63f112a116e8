// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <utility>

namespace QZMolPotential {

/// The private data of an object: a heap object whose type may be incomplete in the header of its
/// owner. Copies: deep. Never empty. The owner's constructors, destructor and copy operations must
/// be defined where the type is complete.
template <class T>
class QZRecord {
 public:
  explicit QZRecord(T record) : record_(std::make_unique<T>(std::move(record))) {}
  QZRecord(const QZRecord& other) : record_(std::make_unique<T>(*other)) {}
  QZRecord& operator=(const QZRecord& other) {
    if (this != &other) record_ = std::make_unique<T>(*other);
    return *this;
  }
  ~QZRecord() = default;

  T& operator*() { return *record_; }
  const T& operator*() const { return *record_; }
  T* operator->() { return record_.get(); }
  const T* operator->() const { return record_.get(); }

 private:
  std::unique_ptr<T> record_;
};

}  // namespace QZMolPotential
