// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzsystem/mempool.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace QZSystem {
namespace {

struct CacheRegistry {
  std::recursive_mutex mutex;  // a cache may die while another is released
  std::vector<QZVirtualCache*> caches;
};

CacheRegistry& Registry() {
  static auto* registry = new CacheRegistry;
  return *registry;
}

}  // namespace

unsigned int QZGetMemPoolMode() {
  return QZMemPoolThreadLocal;
}

QZVirtualCache::QZVirtualCache() {
  CacheRegistry& registry = Registry();
  const std::lock_guard lock(registry.mutex);
  registry.caches.push_back(this);
}

QZVirtualCache::~QZVirtualCache() {
  CacheRegistry& registry = Registry();
  const std::lock_guard lock(registry.mutex);
  std::erase(registry.caches, this);
}

void QZVirtualCache::Release() {}

void QZReleaseCaches() {
  CacheRegistry& registry = Registry();
  const std::lock_guard lock(registry.mutex);
  const std::vector<QZVirtualCache*> caches = registry.caches;
  for (QZVirtualCache* cache : caches) {
    if (std::ranges::find(registry.caches, cache) != registry.caches.end()) cache->Release();
  }
}

}  // namespace QZSystem
