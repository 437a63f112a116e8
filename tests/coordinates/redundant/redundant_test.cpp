// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/redundant.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <span>

#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZChem::QZGraphMol;
using TestSupport::Coords;
using TestSupport::LargestDifference;
using Values = std::vector<double>;

struct Adapted {
  explicit Adapted(const QZGraphMol& mol)
      : adaptor(probe, /*own=*/false, /*restrictInteractions=*/false), x(Coords(mol)) {
    EXPECT_TRUE(adaptor.Setup(mol));
  }
  Values Vars(const Values& coords) {
    const double* v = adaptor.GetVar(coords.data());
    return {v, v + adaptor.NumVar()};
  }
  TestSupport::ProbeFunc probe;
  QZMolPotential::QZRedundantInterAdaptor adaptor;
  Values x;
};

TEST(Redundant, OwnVariablesConvergeAtOnceAndSmallStepsReachTheirTarget) {
  std::mt19937 rng(5);
  QZGraphMol holed = TestSupport::Butane();
  holed.DeleteAtom(holed.GetAtom(5));
  for (const QZGraphMol& mol :
       {holed, TestSupport::WaterDimer(), TestSupport::DataMolecule("glucose")}) {
    Adapted a(mol);
    Values found(a.x.size());
    // The buffer that GetVar returns may be handed back as it is.
    EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), a.adaptor.GetVar(a.x.data())));
    EXPECT_EQ(found, a.x);
    Values target = a.Vars(TestSupport::Jittered(a.x, 0.05, rng));
    a.Vars(a.x);
    const Values wanted = target;
    target[0] = -target[0];  // lengths count by their absolute value
    EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), target.data())) << "seed 5";
    EXPECT_TRUE(std::ranges::equal(found, std::span(a.adaptor.GetCurrentCoords(), found.size())));
    EXPECT_LE(LargestDifference(a.Vars(found), wanted), 1e-8) << "seed 5";
    for (std::size_t k = 15; k < 18 && a.x.size() == 42; ++k) EXPECT_EQ(found[k], a.x[k]);
  }
}

TEST(Redundant, ImpossibleTargetsAreReported) {
  Adapted a(TestSupport::DataMolecule("benzene"));
  Values target = a.Vars(a.x);
  target[0] = 10.0;  // one bond of the ring
  Values found(a.x.size());
  EXPECT_FALSE(a.adaptor.AdaptVar(found.data(), target.data()));
  target[0] = std::nan("");
  a.Vars(a.x);
  EXPECT_FALSE(a.adaptor.AdaptVar(found.data(), target.data()));
  EXPECT_EQ(found, a.x);
}

TEST(Redundant, CoordinatesWithoutDerivativesAreWarnedOf) {
  for (const double place : {std::nan(""), HUGE_VAL, 0.0}) {
    QZGraphMol mol;
    mol.AddBond(mol.AddAtom(1), mol.AddAtom(1, place, 0.0, 0.0));
    Adapted a(mol);
    TestSupport::MessageCapture messages;
    Values gradient(1, 0.0);
    const Values force{1.0, 2.0, 3.0, -1.0, -2.0, -3.0};
    EXPECT_FALSE(a.adaptor.AdaptGrad(gradient.data(), force.data())) << place;
    EXPECT_EQ(messages.Warnings().size(), 1U) << place;
    const double wanted = 0.8;
    Values found(6);
    EXPECT_FALSE(a.adaptor.AdaptVar(found.data(), &wanted)) << place;
    EXPECT_FALSE(a.adaptor.AdaptVar(found.data(), &place) && place != 0.0);
    EXPECT_GE(messages.Warnings().size(), 1U);
  }
}

TEST(Redundant, SetupFailsCleanlyAndRepeatsAfreshWithTheSameFrozenAtoms) {
  Adapted a(TestSupport::Butane());
  EXPECT_FALSE(a.adaptor.Setup(QZGraphMol()));
  const auto pair = TestSupport::AtomsWhere([](unsigned int i) { return i < 2; });
  EXPECT_TRUE(a.adaptor.Set(pair, 0x400040));
  EXPECT_TRUE(a.probe.Calls().empty());
  a.adaptor.ClearPredicates();
  EXPECT_TRUE(a.adaptor.Setup(TestSupport::Water()));
  EXPECT_EQ(a.adaptor.NumVar(), 2U);  // without the bond 0-1
}

TEST(Redundant, LongStraightTransChainsStayOnTheSparseRoute) {
  std::mt19937 rng(23);
  QZGraphMol mol = TestSupport::CarbonChain(1500);
  mol.SetCoords(TestSupport::Jittered(Coords(mol), 0.03, rng).data());
  TestSupport::MessageCapture messages;
  Adapted a(mol);
  const Values target = a.Vars(TestSupport::Jittered(a.x, 0.003, rng));
  a.Vars(a.x);
  Values found(a.x.size());
  EXPECT_TRUE(a.adaptor.AdaptVar(found.data(), target.data())) << "seed 23";
  EXPECT_LE(LargestDifference(a.Vars(found), target), 1e-8) << "seed 23";
  EXPECT_TRUE(messages.Warnings().empty());
}

}  // namespace
