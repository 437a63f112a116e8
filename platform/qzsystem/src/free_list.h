// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "qzsystem/mempool.h"

namespace QZSystem {

/// Blocks of one size that were given back and wait to be handed out again. Not synchronised.
template <std::size_t kSize>
class FreeList {
 public:
  union Block {
    Block* next;
    alignas(std::max_align_t) std::byte bytes[kSize];
  };

  /// Null when memory is short.
  void* Pop() {
    if (free_ == nullptr) return std::malloc(sizeof(Block));
    Block* block = free_;
    free_ = block->next;
    return block;
  }
  void Push(void* storage) {
    auto* block = static_cast<Block*>(storage);
    block->next = free_;
    free_ = block;
  }
  void Release() {
    while (free_ != nullptr) std::free(std::exchange(free_, free_->next));
  }

 private:
  Block* free_ = nullptr;
};

class SpinLock {
 public:
  void lock() {
    while (flag_.test_and_set(std::memory_order_acquire)) {
    }
  }
  void unlock() { flag_.clear(std::memory_order_release); }

 private:
  std::atomic_flag flag_;
};

/// A free list shared by all threads under a lock.
template <std::size_t kSize, class Lock>
class LockedFreeList {
 public:
  void* Pop() {
    const std::lock_guard guard(lock_);
    return list_.Pop();
  }
  void Push(void* storage) {
    const std::lock_guard guard(lock_);
    list_.Push(storage);
  }
  void Release() {
    const std::lock_guard guard(lock_);
    list_.Release();
  }

 private:
  Lock lock_;
  FreeList<kSize> list_;
};

/// A free list for each thread; `Release` empties that of the caller, the end of a thread its own.
/// A block may be given back by another thread than took it.
template <std::size_t kSize>
class ThreadFreeList {
 public:
  void* Pop() {
    return ended_ ? std::malloc(sizeof(typename FreeList<kSize>::Block)) : own_.list.Pop();
  }
  void Push(void* storage) {
    if (ended_) {
      std::free(storage);
    } else {
      own_.list.Push(storage);
    }
  }
  void Release() {
    if (!ended_) own_.list.Release();
  }

 private:
  struct Own {
    FreeList<kSize> list;
    ~Own() {
      list.Release();
      ended_ = true;
    }
  };
  // Iterators may die after the thread's own objects.
  static inline thread_local bool ended_ = false;
  static inline thread_local Own own_;
};

/// The free list of the library's pools: the kind that `mode` names (QZMemPoolMode). Emptied by
/// `QZReleaseCaches`.
template <std::size_t kSize>
class PooledStorage final : public QZVirtualCache {
 public:
  explicit PooledStorage(unsigned int mode) : mode_(mode) {}
  void* Pop() {
    return choose([](auto& list) { return list.Pop(); });
  }
  void Push(void* storage) {
    choose([storage](auto& list) { return list.Push(storage); });
  }
  void Release() override {
    choose([](auto& list) { return list.Release(); });
  }

 private:
  auto choose(auto visit) {
    if (mode_ == QZMemPoolThreadLocal) return visit(perThread_);
    if (mode_ == QZMemPoolSpinLock) return visit(spinLocked_);
    return visit(locked_);
  }

  unsigned int mode_;
  ThreadFreeList<kSize> perThread_;
  LockedFreeList<kSize, std::mutex> locked_;
  LockedFreeList<kSize, SpinLock> spinLocked_;
};

}  // namespace QZSystem
