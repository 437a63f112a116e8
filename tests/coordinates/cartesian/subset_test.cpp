// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/cartesian/adaptor_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZSubsetAdaptor;

auto EveryThirdFixed() {
  return AtomsWhere([](unsigned int i) { return i % 3 == 0; });
}

TEST(Subset, DerivativesAreThoseOfTheEnergyGradientsAddedAndHessiansAssigned) {
  std::mt19937 rng(11);
  auto mol = Butane();
  mol.DeleteAtom(mol.GetAtom(7));
  for (int round = 0; round < 3; ++round) {
    const auto mask = rng() | 1U;
    QZSubsetAdaptor subset(*new ProbeFunc, /*own=*/true, /*restrictInteractions=*/round == 1);
    subset.Set(AtomsWhere([mask](unsigned int i) { return (mask >> i & 1U) != 0; }), kFixed);
    ASSERT_TRUE(subset.Setup(mol));
    const auto vars = StartVars(subset, Jittered(Coords(mol), 0.2, rng));
    EXPECT_EQ(CheckDerivatives(subset, vars), "") << "seed 11, mask " << mask;

    std::vector<double> hessian(vars.size() * (vars.size() + 1) / 2, 0.0);
    std::vector<double> grad(vars.size(), 0.0);
    ASSERT_TRUE(subset(vars.data(), hessian.data(), grad.data()));
    std::vector<double> dirtyHessian(hessian.size(), 99.0);
    std::vector<double> dirtyGrad(grad.size(), 2.0);
    ASSERT_TRUE(subset(vars.data(), dirtyHessian.data(), nullptr));
    EXPECT_EQ(dirtyHessian, hessian);
    subset(vars.data(), dirtyGrad.data());
    for (double& value : grad) value += 2.0;
    EXPECT_LE(LargestDifference(dirtyGrad, grad), 1e-12);
  }
}

TEST(Subset, FixedAtomsStayWhereTheLastGetVarFoundThem) {
  std::mt19937 rng(5);
  const auto mol = Butane();
  FieldFunc field(2.0, 0.0);
  QZSubsetAdaptor subset(field, false, false);
  subset.Set(EveryThirdFixed(), kFixed);
  ASSERT_TRUE(subset.Setup(mol));
  for (int round = 0; round < 2; ++round) {
    const auto x = Jittered(Coords(mol), 0.5, rng);
    auto vars = StartVars(subset, x);
    std::vector<double> back(x.size(), -1.0);
    ASSERT_TRUE(subset.AdaptVar(back.data(), vars.data()));
    EXPECT_EQ(back, x);
    EXPECT_EQ(subset(vars.data()), field(x.data()));
    for (double& value : vars) value += 1.0;
    subset.AdaptVar(back.data(), vars.data());
    for (std::size_t i = 0; i < x.size(); ++i) EXPECT_EQ(back[i] - x[i] > 0.5, i / 3 % 3 != 0);
  }
}

TEST(Subset, WantsFixedAtomsAndKeepsTheirSelectionFromTheFunction) {
  const auto mol = Butane();
  ProbeFunc probe;
  QZSubsetAdaptor subset(probe, false, false);
  EXPECT_FALSE(subset.Setup(mol));  // no predicate
  subset.Set(AtomsWhere([](unsigned int) { return false; }), kFixed);
  EXPECT_FALSE(subset.Setup(mol));
  EXPECT_TRUE(subset.Set(EveryThirdFixed(), kFixed | 8U));
  EXPECT_TRUE(subset.Set(EveryThirdFixed(), 0x10000));
  ASSERT_TRUE(subset.Setup(mol));
  EXPECT_EQ(subset.NumVar(), 27U);  // of 14 atoms 0, 3, 6, 9, 12 are fixed
  EXPECT_EQ(probe.Calls(), std::vector<ProbeFunc::Call>({{"atom", 0x10000}}));
}

}  // namespace
