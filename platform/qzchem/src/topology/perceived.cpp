// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "topology/perceived.h"

#include <atomic>

#include "topology/mol_impl.h"
#include "topology/topology.h"

namespace QZChem {
namespace {

std::atomic<unsigned long> perceptions{0};
std::atomic<unsigned long> conversions{0};

}  // namespace

void PerceivedByTag::Put(unsigned int tag, QZPerceived value) {
  const auto entry = std::make_shared<Entry>();
  std::call_once(entry->once, [&] { entry->value = std::move(value); });
  const std::lock_guard lock(mutex_);
  entries_[tag] = entry;
}

QZPerceived PerceivedByTag::Get(unsigned int tag, const std::function<QZPerceived()>& make) {
  std::shared_ptr<Entry> entry;
  {
    const std::lock_guard lock(mutex_);
    auto& place = entries_[tag];
    if (place == nullptr) place = std::make_shared<Entry>();
    entry = place;
  }
  // Outside the lock, so that `make` may ask for other tags.
  std::call_once(entry->once, [&] {
    entry->value = make();
    ++perceptions;
  });
  return entry->value;
}

QZPerceived QZGetPerceived(const QZMolBase& mol,
                           unsigned int tag,
                           const std::function<QZPerceived()>& make) {
  return QZMolAccess::Impl(mol).Topology()->derived->Get(tag, make);
}

unsigned long QZCountPerceptions() {
  return perceptions;
}

unsigned long QZCountConversions() {
  return conversions;
}

void QZNoteConversion() {
  ++conversions;
}

}  // namespace QZChem
