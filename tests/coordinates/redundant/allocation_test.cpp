// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "coordinates/redundant/map_func.h"
#include "support/contract.h"
#include "support/molecules.h"

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

// Calls `f` with and without gradient at variables that move.
template <class Function>
void expectNoAllocation(Function& f, std::vector<double> vars) {
  std::vector<double> grad(vars.size(), 0.0);
  f(vars.data(), grad.data());
  const long before = allocations;
  EXPECT_GT(before, 0);  // the counter works
  for (int k = 0; k < 3; ++k) {
    for (double& v : vars) v += 1e-3;
    f(vars.data());
    f(vars.data(), grad.data());
  }
  EXPECT_EQ(allocations, before);
}

TEST(RedundantAllocation, EvaluationAllocatesNothing) {
  for (const auto& mol : {TestSupport::WaterDimer(),
                          TestSupport::DataMolecule("benzene"),
                          TestSupport::DataMolecule("cyanoalkyne")}) {
    SCOPED_TRACE(mol.GetTitle());
    const auto x = TestSupport::Coords(mol);
    TestSupport::ProbeFunc probe;
    QZMolPotential::QZRedundantInterAdaptor adaptor(
        probe, /*own=*/false, /*restrictInteractions=*/false);
    ASSERT_TRUE(adaptor.Setup(mol));
    const double* start = adaptor.GetVar(x.data());
    expectNoAllocation(adaptor, {start, start + adaptor.NumVar()});

    for (const auto maker : {&QZMolPotential::MakeRedundantMap, &QZMolPotential::MakeInternalMap}) {
      const auto map = TestSupport::MakeMap(maker, mol, /*overallMotion=*/true);
      std::vector<double> vars(map->NumVar());
      ASSERT_TRUE(map->Start(x.data(), vars.data()));
      TestSupport::MapFunc placed(*map, probe);
      expectNoAllocation(placed, vars);
    }
  }
}

}  // namespace
