// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzsystem/data.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <string>

#include "qzsystem/error.h"

namespace QZSystem {
namespace {

struct TagTable {
  std::mutex mutex;
  std::map<std::string, unsigned int, std::less<>> tags;
};

TagTable& Tags() {
  static auto* table = new TagTable;
  return *table;
}

}  // namespace

unsigned int QZGetTag(const char* name) {
  TagTable& table = Tags();
  const std::lock_guard lock(table.mutex);
  const auto next = static_cast<unsigned int>(table.tags.size() + 1);
  return table.tags.emplace(name != nullptr ? name : "", next).first->second;
}

QZBaseData::~QZBaseData() = default;

QZBaseImpl::QZBaseImpl() = default;
QZBaseImpl::QZBaseImpl(QZBaseImpl&&) noexcept = default;
QZBaseImpl& QZBaseImpl::operator=(QZBaseImpl&&) noexcept = default;
QZBaseImpl::~QZBaseImpl() = default;

QZBaseImpl::QZBaseImpl(const QZBaseImpl& other) {
  data_.reserve(other.data_.size());
  for (const auto& datum : other.data_) data_.push_back(datum->Clone());
}

QZBaseImpl& QZBaseImpl::operator=(const QZBaseImpl& other) {
  if (this != &other) *this = QZBaseImpl(other);
  return *this;
}

QZBaseData* QZBaseImpl::FindData(unsigned int tag) const {
  for (const auto& datum : data_) {
    if (datum->GetTag() == tag) return datum.get();
  }
  return nullptr;
}

void QZBaseImpl::Store(std::unique_ptr<QZBaseData> data) {
  Delete(data->GetTag());
  data_.push_back(std::move(data));
}

bool QZBaseImpl::Delete(unsigned int tag) {
  return std::erase_if(data_, [tag](const auto& datum) { return datum->GetTag() == tag; }) > 0;
}

void QZBaseImpl::Clear() {
  data_.clear();
}

bool QZBaseImpl::CheckTypeWarning() {
  static std::atomic_flag reported = ATOMIC_FLAG_INIT;
  return !reported.test_and_set();
}

bool QZBase::DeleteData(const char* name) {
  return DeleteData(QZGetTag(name));
}

void QZBase::reportType(unsigned int tag) {
  if (QZBaseImpl::CheckTypeWarning()) {
    QZThrow.Warning("Data with tag %u was stored with another type", tag);
  }
}

}  // namespace QZSystem
