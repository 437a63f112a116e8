// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZSystem {

/// How the library's object caches are shared between threads.
enum QZMemPoolMode : unsigned int {
  QZMemPoolThreadLocal = 0,
  QZMemPoolMutex = 1,
  QZMemPoolSpinLock = 2,
};

/// The mode in force, fixed for the life of the process: QZMemPoolThreadLocal, the only mode whose
/// pool is quicker than the heap (bench/README.md, object caches).
QZ_API unsigned int QZGetMemPoolMode();

/// Base of per-type object caches. A cache registers itself while it lives, so that all of them
/// can be emptied together.
class QZ_API QZVirtualCache {
 public:
  QZVirtualCache();
  QZVirtualCache(const QZVirtualCache&) = delete;
  QZVirtualCache& operator=(const QZVirtualCache&) = delete;
  virtual ~QZVirtualCache();
  /// Releases the cached objects; the default has none.
  virtual void Release();
};

/// Calls `Release` on every living cache. A cache that keeps one list for each thread empties the
/// list of the calling thread only; the list of any other thread is freed when that thread ends.
QZ_API void QZReleaseCaches();

}  // namespace QZSystem
