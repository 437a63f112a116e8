// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzsystem/iterator.h"

#include <cstdlib>
#include <mutex>

#include "qzsystem/error.h"

namespace QZSystem {
namespace {

union Block {
  Block* next;
  alignas(std::max_align_t) std::byte bytes[kEmptyIterSize];
};

struct Pool {
  std::mutex mutex;
  Block* free = nullptr;
};

// Never destroyed: iterators may outlive static destruction.
Pool& GetPool() {
  static auto* pool = new Pool;
  return *pool;
}

}  // namespace

void* PopEmptyIter() {
  Pool& pool = GetPool();
  {
    const std::lock_guard lock(pool.mutex);
    if (Block* block = pool.free; block != nullptr) {
      pool.free = block->next;
      return block;
    }
  }
  return new (std::nothrow) Block;
}

void PushEmptyIter(void* storage) {
  if (storage == nullptr) return;
  auto* block = static_cast<Block*>(storage);
  Pool& pool = GetPool();
  const std::lock_guard lock(pool.mutex);
  block->next = pool.free;
  pool.free = block;
}

void QZReportDeadIterator() {
  QZThrow.Fatal("Iterator dereferenced past its end");
  std::abort();
}

}  // namespace QZSystem
