// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> allocations{0};

}  // namespace

// Linked only into programs that ask for the count.
void* operator new(std::size_t size) {
  ++allocations;
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

namespace TestSupport {

long Allocations() {
  return allocations;
}

}  // namespace TestSupport
