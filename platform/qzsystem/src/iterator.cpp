// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzsystem/iterator.h"

#include <cstdlib>

#include "free_list.h"
#include "qzsystem/error.h"

namespace QZSystem {
namespace {

// Never destroyed: iterators may outlive static destruction.
PooledStorage<kEmptyIterSize>& GetPool() {
  static auto* pool = new PooledStorage<kEmptyIterSize>(QZGetMemPoolMode());
  return *pool;
}

}  // namespace

void* PopEmptyIter() {
  return GetPool().Pop();
}

void PushEmptyIter(void* storage) {
  if (storage != nullptr) GetPool().Push(storage);
}

void QZReportDeadIterator() {
  QZThrow.Fatal("Iterator dereferenced past its end");
  std::abort();
}

}  // namespace QZSystem
