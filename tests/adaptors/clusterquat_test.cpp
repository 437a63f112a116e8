// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>

#include "adaptors/adaptor_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZClusterQuatAdaptor;
using QZMolPotential::QZQuatAdaptor;

std::vector<double> RandomPlacements(std::size_t parts, std::mt19937& rng) {
  std::vector<double> vars;
  for (std::size_t k = 0; k < parts; ++k) {
    const auto one = RandomPlacement(rng);
    vars.insert(vars.end(), one.begin(), one.end());
  }
  return vars;
}

TEST(ClusterQuat, GradientIsExactOverTwoKindsOfFunction) {
  std::mt19937 rng(41);
  const auto mol = WaterDimer();
  const auto x = Coords(mol);
  for (bool field : {true, false}) {
    QZMolPotential::QZMolFunc1* func = new ProbeFunc;
    if (field) {
      delete func;
      func = new FieldFunc;
    }
    QZClusterQuatAdaptor cluster(*func, true, false);
    ASSERT_TRUE(cluster.Setup(mol));
    ASSERT_EQ(cluster.NumVar(), 14U);
    auto vars = StartVars(cluster, x);
    EXPECT_EQ(vars, std::vector<double>({1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}));
    std::vector<double> back(x.size());
    EXPECT_TRUE(cluster.AdaptVar(back.data(), vars.data()));
    ExpectNear(back, x, 1e-15);
    for (int round = 0; round < 4; ++round) {
      vars = RandomPlacements(2, rng);
      EXPECT_EQ(CheckOverwriting(cluster, vars), "") << "seed 41, round " << round;
    }
  }
}

TEST(ClusterQuat, OneComponentIsAQuaternionAdaptorAboutTheOrigin) {
  std::mt19937 rng(42);
  const auto mol = Butane();
  const auto x = Coords(mol);
  FieldFunc field;
  QZClusterQuatAdaptor cluster(field, false, false);
  QZQuatAdaptor quat(field, false, false);
  quat.SetTranslateRefToGC(false);
  ASSERT_TRUE(cluster.Setup(mol) && quat.Setup(mol));
  cluster.GetVar(x.data());
  quat.GetVar(x.data());
  const auto vars = RandomPlacement(rng);
  std::vector<double> g1(7);
  std::vector<double> g2(7);
  EXPECT_EQ(cluster(vars.data(), g1.data()), quat(vars.data(), g2.data()));
  EXPECT_EQ(g1, g2);
}

TEST(ClusterQuat, BindsEachComponentThenTheWholeAndStartsAfresh) {
  FieldFunc field;
  QZClusterQuatAdaptor cluster(field, false, true);
  auto mol = WaterDimer();
  mol.AddAtom(10, 0.0, 5.0, 0.0);
  ASSERT_TRUE(cluster.Setup(mol));
  EXPECT_EQ(field.bound, std::vector<unsigned int>({3, 3, 1, 7}));
  EXPECT_EQ(field.masks, std::vector<unsigned int>({8, 48, 192, 5, 8, 48, 192, 5, 8, 48, 192, 5}));
  EXPECT_EQ(cluster.NumVar(), 21U);
  ASSERT_TRUE(cluster.Setup(mol));
  EXPECT_EQ(cluster.NumVar(), 21U);
  const auto water = Water();
  ASSERT_TRUE(cluster.Setup(water));
  ASSERT_EQ(cluster.NumVar(), 7U);
  const auto x = Coords(water);
  EXPECT_EQ(cluster(cluster.GetVar(x.data())), field(x.data()));
}

TEST(ClusterQuat, InterleavedComponentsAreCutIntoBlocks) {
  QZChem::QZGraphMol mol;  // two H2, atoms 0 and 2, 1 and 3
  for (int i = 0; i < 4; ++i) mol.AddAtom(1, i, 0.0, 0.0);
  mol.AddBond(mol.GetAtom(0), mol.GetAtom(2));
  mol.AddBond(mol.GetAtom(1), mol.GetAtom(3));
  ProbeFunc probe;
  QZClusterQuatAdaptor cluster(probe, false, false);
  ASSERT_TRUE(cluster.Setup(mol));
  auto vars = StartVars(cluster, Coords(mol));
  vars[4] = 10.0;  // shifts the first block: atoms 0 and 1
  std::vector<double> x(12);
  cluster.AdaptVar(x.data(), vars.data());
  ExpectNear({x[0], x[3], x[6], x[9]}, {10.0, 11.0, 2.0, 3.0}, 1e-14);
}

TEST(ClusterQuat, SetupRefusesHolesInvalidMoleculesAndFailingFunctions) {
  MessageCapture messages;
  ProbeFunc probe;
  QZClusterQuatAdaptor cluster(probe, false, true);
  EXPECT_FALSE(cluster.Setup(QZChem::QZGraphMol()));
  auto mol = WaterDimer();
  mol.DeleteAtom(mol.GetAtom(2));
  EXPECT_TRUE(messages.All().empty());
  EXPECT_FALSE(cluster.Setup(mol));
  EXPECT_EQ(messages.Warnings(),
            std::vector<std::string>({"Molecule appears to have deleted atoms -- "
                                      "QZMolBase::Sweep() must be called before using "
                                      "quaternion adaptor"}));
  EXPECT_TRUE(probe.Calls().empty());
  double nothing[1] = {3.0};
  EXPECT_EQ(cluster.NumVar(), 0U);
  EXPECT_EQ(cluster.GetVar(nothing), nullptr);
  EXPECT_EQ(cluster(nothing, nothing), 0.0);
  EXPECT_EQ(nothing[0], 3.0);
  mol.Sweep();
  EXPECT_TRUE(cluster.Setup(mol));
  probe.FailSetup(true);
  EXPECT_FALSE(cluster.Setup(mol));
  EXPECT_EQ(cluster.NumVar(), 0U);
}

TEST(ClusterQuat, CopiesShareTheFunctionAndDieInAnyOrder) {
  std::mt19937 rng(43);
  const auto mol = WaterDimer();
  const auto x = Coords(mol);
  const auto y = Jittered(x, 1.0, rng);
  const auto vars = RandomPlacements(2, rng);
  for (bool originalDiesFirst : {true, false}) {
    auto first = std::make_unique<QZClusterQuatAdaptor>(*new ProbeFunc, true, false);
    ASSERT_TRUE(first->Setup(mol));
    first->GetVar(x.data());
    const double atX = (*first)(vars.data());
    auto second = std::make_unique<QZClusterQuatAdaptor>(*first);
    QZClusterQuatAdaptor third(*new ProbeFunc, true, false);
    third = *second;
    EXPECT_EQ(ProbeFunc::Living(), 1);
    EXPECT_EQ((*second)(vars.data()), atX);
    second->GetVar(y.data());  // another reference geometry for the copy alone
    const double atY = (*second)(vars.data());
    EXPECT_NE(atY, atX);
    EXPECT_EQ((*first)(vars.data()), atX);
    EXPECT_EQ(CheckDerivatives(*first, vars), "");
    EXPECT_EQ(CheckDerivatives(*second, vars), "");
    (originalDiesFirst ? first : second).reset();
    auto& left = originalDiesFirst ? *second : *first;
    EXPECT_EQ(left(vars.data()), originalDiesFirst ? atY : atX);
    left.SetMolFunc(*new ProbeFunc, true);
    EXPECT_EQ(ProbeFunc::Living(), 2);  // the copy still needs the former one
    EXPECT_EQ(third(vars.data()), atX);
  }
  EXPECT_EQ(ProbeFunc::Living(), 0);
}

}  // namespace
