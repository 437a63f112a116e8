// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "adaptors/adaptor_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZSubsetAdaptor;

auto EveryThirdFixed() {
  return AtomsWhere([](unsigned int i) { return i % 3 == 0; });
}

// Butane with a hole at atom 7.
QZChem::QZGraphMol WithHole() {
  auto mol = Butane();
  mol.DeleteAtom(mol.GetAtom(7));
  return mol;
}

TEST(Subset, DerivativesAreThoseOfTheEnergyGradientsAddedAndHessiansAssigned) {
  std::mt19937 rng(11);
  const auto mol = WithHole();
  for (int round = 0; round < 3; ++round) {
    const auto mask = rng() | 1U;
    QZSubsetAdaptor subset(*new ProbeFunc, /*own=*/true, /*restrictInteractions=*/round == 1);
    subset.Set(AtomsWhere([mask](unsigned int i) { return (mask >> i & 1U) != 0; }), kFixed);
    ASSERT_TRUE(subset.Setup(mol));
    const auto vars = StartVars(subset, Jittered(Coords(mol), 0.2, rng));
    EXPECT_EQ(CheckDerivatives(subset, vars), "") << "seed 11, mask " << mask;
    EXPECT_EQ(CheckHessian(subset, vars), "") << "seed 11, mask " << mask;

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
  double x[42] = {};
  EXPECT_FALSE(subset.AdaptGrad(x, x));
  EXPECT_FALSE(subset.AdaptHessian(x, x));
  for (const bool all : {false, true}) {
    subset.Set(AtomsWhere([all](unsigned int) { return all; }), kFixed);
    EXPECT_EQ(subset.Setup(mol), all);
  }
  EXPECT_EQ(subset.NumVar(), 0U);
  EXPECT_TRUE(subset.Set(EveryThirdFixed(), kFixed | 8U));
  EXPECT_TRUE(subset.Set(AtomsWhere([](unsigned int) { return false; }), 0x10000));
  ASSERT_TRUE(subset.Setup(mol));
  EXPECT_EQ(subset.NumVar(), 27U);  // of 14 atoms 0, 3, 6, 9, 12 are fixed
  EXPECT_EQ(probe.Calls(), std::vector<ProbeFunc::Call>({{"atom", 0x10000}}));
  subset.ClearPredicates();
  EXPECT_FALSE(subset.Setup(mol));
}

TEST(Subset, HessianFollowsTheFunctionThatIsSet) {
  const auto mol = Butane();
  auto* probe = new ProbeFunc;
  QZSubsetAdaptor subset(static_cast<QZMolPotential::QZMolFunc1&>(*probe), true, false);
  subset.Set(EveryThirdFixed(), kFixed);
  ASSERT_TRUE(subset.Setup(mol));
  const auto vars = StartVars(subset, Coords(mol));
  std::vector<double> h(vars.size() * (vars.size() + 1) / 2, 0.0);
  EXPECT_FALSE(subset(vars.data(), h.data(), nullptr));
  EXPECT_TRUE(subset.SetMolFunc2(*probe, true));  // the same object, now as level 2
  EXPECT_EQ(CheckHessian(subset, vars), "");
  EXPECT_TRUE(subset.SetMolFunc(*probe, true));
  EXPECT_FALSE(subset(vars.data(), h.data(), nullptr));
  EXPECT_EQ(ProbeFunc::Living(), 1);
}

// Touching a Hessian of all of them would be beyond any memory.
TEST(Subset, HundredThousandAtomsAtLevelOne) {
  const auto mol = LinearChain(100000, 1.5);
  FieldFunc field(2.0, 0.0);
  QZSubsetAdaptor subset(field, false, true);
  subset.Set(AtomsWhere([](unsigned int i) { return i >= 2; }), kFixed);
  ASSERT_TRUE(subset.Setup(mol));
  auto vars = StartVars(subset, Coords(mol));
  vars[4] += 1.0;
  std::vector<double> grad(6, 0.0);
  EXPECT_EQ(subset(vars.data(), grad.data()), 2.0);
  EXPECT_EQ(grad, std::vector<double>({0, 0, 0, 0, 4, 0}));
}

}  // namespace
