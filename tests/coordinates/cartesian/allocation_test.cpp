// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <atomic>
#include <cstdlib>
#include <new>

#include "coordinates/cartesian/adaptor_support.h"

static std::atomic<long> allocations{0};

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

namespace {

using namespace TestSupport;

TEST(Allocation, EvaluationAllocatesNothing) {
  const auto mol = WaterDimer();
  const auto x = Coords(mol);
  for (const auto& kind : AdaptorKinds()) {
    SCOPED_TRACE(kind.name);
    FieldFunc field(1.0, 0.0);
    const auto adaptor = kind.make(field, false);
    ASSERT_TRUE(adaptor->Setup(mol));
    std::vector<double> vars(adaptor->NumVar());
    std::vector<double> grad(vars.size());
    std::vector<double> back(x.size());
    const long before = allocations;
    adaptor->GetVar(vars.data(), x.data());
    (*adaptor)(vars.data());
    (*adaptor)(vars.data(), grad.data());
    adaptor->AdaptVar(back.data(), vars.data());
    EXPECT_EQ(allocations, before);
    EXPECT_GT(before, 0);  // the counter works
  }
}

}  // namespace
