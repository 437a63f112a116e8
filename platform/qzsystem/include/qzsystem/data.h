// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <typeindex>
#include <typeinfo>
#include <utility>
#include <vector>

#include "qzplatform/export.h"

namespace QZSystem {

/// The tag for a name: the same number for the same name within a process, never 0.
QZ_API unsigned int QZGetTag(const char* name);

/// One tagged datum; `QZTypedData` holds the value.
class QZ_API QZBaseData {
 public:
  explicit QZBaseData(unsigned int tag) : tag_(tag) {}
  virtual ~QZBaseData();
  unsigned int GetTag() const { return tag_; }
  virtual std::unique_ptr<QZBaseData> Clone() const = 0;
  virtual std::type_index GetType() const = 0;

 protected:
  QZBaseData(const QZBaseData&) = default;
  QZBaseData& operator=(const QZBaseData&) = default;

 private:
  unsigned int tag_;
};

/// A tagged datum with its value.
template <class T>
class QZTypedData final : public QZBaseData {
 public:
  QZTypedData(unsigned int tag, T datum) : QZBaseData(tag), value(std::move(datum)) {}
  std::unique_ptr<QZBaseData> Clone() const override {
    return std::make_unique<QZTypedData>(*this);
  }
  std::type_index GetType() const override { return typeid(T); }
  T value;
};

/// The store behind `QZBase`: at most one datum a tag, copied deep.
class QZ_API QZBaseImpl {
 public:
  QZBaseImpl();
  QZBaseImpl(const QZBaseImpl& other);
  QZBaseImpl& operator=(const QZBaseImpl& other);
  QZBaseImpl(QZBaseImpl&&) noexcept;
  QZBaseImpl& operator=(QZBaseImpl&&) noexcept;
  ~QZBaseImpl();

  /// The datum of a tag, owned by the store; null when absent.
  QZBaseData* FindData(unsigned int tag) const;
  void Store(std::unique_ptr<QZBaseData> data);
  bool Delete(unsigned int tag);
  void Clear();
  /// True at the first call in a process, false afterwards: reading a datum as another type than it
  /// was stored as is reported once in a process only.
  static bool CheckTypeWarning();

 private:
  std::vector<std::unique_ptr<QZBaseData>> data_;
};

/// Base class of objects that carry tagged data: values of any copyable type, at most one for each
/// tag. Copies of the object copy the data. Cost: a search among the object's tags for each access.
class QZ_API QZBase {
 public:
  bool HasData(unsigned int tag) const { return impl_.FindData(tag) != nullptr; }

  /// Stores a copy of `value`, replacing what the tag held under any type.
  template <class T>
  void SetData(unsigned int tag, const T& value) {
    impl_.Store(std::make_unique<QZTypedData<T>>(tag, value));
  }

  /// The stored value, owned by this object and valid until the tag is set or deleted. Null when
  /// there is none, and null with one Warning in a process when it is of another type.
  template <class T>
  const T* GetData(unsigned int tag) const {
    const QZBaseData* data = impl_.FindData(tag);
    if (data == nullptr) return nullptr;
    if (data->GetType() != std::type_index(typeid(T))) {
      reportType(tag);
      return nullptr;
    }
    return &static_cast<const QZTypedData<T>*>(data)->value;
  }

  /// False when there was nothing to delete.
  bool DeleteData(unsigned int tag) { return impl_.Delete(tag); }
  bool DeleteData(const char* name);

 protected:
  QZBase() = default;
  QZBase(const QZBase&) = default;
  QZBase& operator=(const QZBase&) = default;
  QZBase(QZBase&&) noexcept = default;
  QZBase& operator=(QZBase&&) noexcept = default;
  ~QZBase() = default;

 private:
  static void reportType(unsigned int tag);

  QZBaseImpl impl_;
};

}  // namespace QZSystem
