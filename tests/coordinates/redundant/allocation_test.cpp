// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include "coordinates/redundant/map_func.h"
#include "support/allocations.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

// Calls `f` with and without gradient at variables that move.
template <class Function>
void expectNoAllocation(Function& f, std::vector<double> vars) {
  std::vector<double> grad(vars.size(), 0.0);
  f(vars.data(), grad.data());
  const long before = TestSupport::Allocations();
  EXPECT_GT(before, 0);  // the counter works
  for (int k = 0; k < 3; ++k) {
    for (double& v : vars) v += 1e-3;
    f(vars.data());
    f(vars.data(), grad.data());
  }
  EXPECT_EQ(TestSupport::Allocations(), before);
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
