// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "molpotential/forwarding.h"

namespace QZMolPotential {

/// The components of a composite function. Each is held by a `QZWrappedFunc`, which deletes the
/// component when it is owned. Copies: deep, by `CreateCopy` of the components; the copy owns the
/// new components. A component whose `CreateCopy` is null is shared by the lists and, when it is
/// owned, deleted with the last list that holds it.
template <class F>
class QZFuncList {
 public:
  using Entry = std::pair<F*, bool>;

  QZFuncList() = default;
  QZFuncList(const QZFuncList& other) { appendCopies(other); }
  QZFuncList(QZFuncList&&) noexcept = default;
  /// Copies a list of functions of a derived interface (with Hessians) to one of a base interface.
  template <class G>
  explicit QZFuncList(const QZFuncList<G>& other) {
    appendCopies(other);
  }
  QZFuncList& operator=(QZFuncList other) noexcept {
    entries_.swap(other.entries_);
    holders_.swap(other.holders_);
    return *this;
  }
  ~QZFuncList() = default;

  /// Appends a function. Fails: false for a function that is in the list already; its `own` flag
  /// stays as it was.
  bool Add(F& func, bool own) {
    if (find(func) != entries_.end()) return false;
    append(func, std::make_shared<QZWrappedFunc>(func, own));
    return true;
  }

  /// Removes a function, and deletes it when it is owned and no other list shares it. Fails: false
  /// for a function that is not in the list.
  bool Remove(const F& func) {
    const auto entry = find(func);
    if (entry == entries_.end()) return false;
    const auto holder = holders_.begin() + (entry - entries_.begin());
    // The function is destroyed last, so that its destructor finds the list in order.
    const std::shared_ptr<QZWrappedFunc> last = std::move(*holder);
    holders_.erase(holder);
    entries_.erase(entry);
    return true;
  }

  /// Function and own flag, in order of addition.
  const std::vector<Entry>& Entries() const { return entries_; }

 private:
  template <class G>
  friend class QZFuncList;

  auto find(const F& func) {
    return std::ranges::find_if(entries_, [&](const Entry& e) { return e.first == &func; });
  }

  void append(F& func, std::shared_ptr<QZWrappedFunc> holder) {
    entries_.emplace_back(&func, holder->Owns());
    holders_.push_back(std::move(holder));
  }

  template <class G>
  void appendCopies(const QZFuncList<G>& other) {
    for (std::size_t i = 0; i < other.entries_.size(); ++i) {
      G* func = other.entries_[i].first;
      if (auto* copy = func->CreateCopy(); copy != nullptr) {
        append(*copy, std::make_shared<QZWrappedFunc>(*copy, /*own=*/true));
      } else {
        append(*func, other.holders_[i]);
      }
    }
  }

  std::vector<Entry> entries_;
  std::vector<std::shared_ptr<QZWrappedFunc>> holders_;  // beside the entries
};

}  // namespace QZMolPotential
