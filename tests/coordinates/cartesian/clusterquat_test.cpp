// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/cartesian/adaptor_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZClusterQuatAdaptor;

TEST(ClusterQuat, BindsEachComponentThenTheWholeAndStartsAfresh) {
  ProbeFunc probe;
  QZClusterQuatAdaptor cluster(probe, false, true);
  auto mol = WaterDimer();
  mol.AddAtom(10, 0.0, 5.0, 0.0);
  const auto x = Coords(mol);
  for (int round = 1; round <= 2; ++round) {
    ASSERT_TRUE(cluster.Setup(mol));
    EXPECT_EQ(cluster.NumVar(), 21U);
    EXPECT_EQ(probe.SetupCount(), 4 * round);
    EXPECT_EQ(cluster(cluster.GetVar(x.data())), probe(x.data()));
  }
  ASSERT_TRUE(cluster.Setup(Water()));
  ASSERT_EQ(cluster.NumVar(), 7U);
  EXPECT_EQ(cluster(cluster.GetVar(x.data())), probe(x.data()));
}

TEST(ClusterQuat, CopiesShareFunctionAndReferenceGeometryAndDieInAnyOrder) {
  std::mt19937 rng(43);
  const auto mol = WaterDimer();
  const auto vars = RandomPlacements(2, rng);
  for (bool originalDiesFirst : {true, false}) {
    auto first = std::make_unique<QZClusterQuatAdaptor>(*new ProbeFunc, true, false);
    ASSERT_TRUE(first->Setup(mol));
    first->GetVar(Coords(mol).data());
    const double atX = (*first)(vars.data());
    auto second = std::make_unique<QZClusterQuatAdaptor>(*first);
    EXPECT_EQ(ProbeFunc::Living(), 1);
    // Another reference geometry through the copy.
    second->GetVar(Jittered(Coords(mol), 1.0, rng).data());
    const double atY = (*second)(vars.data());
    EXPECT_NE(atY, atX);
    EXPECT_EQ((*first)(vars.data()), atY);
    EXPECT_EQ(CheckOverwriting(*first, vars), "") << "value and gradient see the same reference";
    (originalDiesFirst ? first : second).reset();
    auto& left = originalDiesFirst ? *second : *first;
    EXPECT_EQ(left(vars.data()), atY);
  }
  EXPECT_EQ(ProbeFunc::Living(), 0);
}

}  // namespace
