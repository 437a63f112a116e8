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
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

// Sanitizers bring a `malloc` of their own: here `new` alone is counted.
void* operator new(std::size_t size) {
  ++allocations;
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++allocations;
  return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

#else

// What the GNU C library's allocator is called behind the names that programs may replace. `new`
// comes here too.
extern "C" {
void* __libc_malloc(std::size_t size);                           // NOLINT
void* __libc_calloc(std::size_t count, std::size_t size);        // NOLINT
void* __libc_realloc(void* p, std::size_t size);                 // NOLINT
void* __libc_memalign(std::size_t alignment, std::size_t size);  // NOLINT

void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  ++allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* p, std::size_t size) {
  ++allocations;
  return __libc_realloc(p, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  ++allocations;
  return __libc_memalign(alignment, size);
}
}

#endif

namespace TestSupport {

long Allocations() {
  return allocations;
}

}  // namespace TestSupport
