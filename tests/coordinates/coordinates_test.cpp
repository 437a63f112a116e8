// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/coordinates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "coordinates/exact.h"
#include "support/capture.h"

namespace {

using QZMolPotential::QZCoordinateFunc;
using QZMolPotential::QZCoordinates;
using namespace TestSupport;
using Values = std::vector<double>;

constexpr QZCoordinates kComputed[] = {QZCoordinates::Cartesian,
                                       QZCoordinates::DegFree,
                                       QZCoordinates::RigidBody,
                                       QZCoordinates::Cluster,
                                       QZCoordinates::ZMatrix,
                                       QZCoordinates::Torsion,
                                       QZCoordinates::TorsionRigid};

TEST(CoordinateFunc, BothDerivativesAreThoseOfTheEnergyInEveryKind) {
  std::mt19937 rng(11);
  for (const QZCoordinates kind : kComputed) {
    for (const char* name : {"aspirin", "glucose", "cyanoalkyne", "water_cluster"}) {
      for (const double strength : {0.0, 0.05}) {
        SCOPED_TRACE(std::string(QZGetCoordinatesName(kind)) + " " + name + ", seed 11, field " +
                     std::to_string(strength));
        const auto mol = DataMolecule(name);
        FieldedProbe probe(strength);
        QZCoordinateFunc f(probe, /*own=*/false, kind);
        ExpectExact(f, mol, rng);
      }
    }
  }
}

TEST(CoordinateFunc, FixedAtomsStayBitForBit) {
  std::mt19937 rng(12);
  for (const QZCoordinates kind : kComputed) {
    if (kind == QZCoordinates::DegFree) continue;
    for (const char* name : {"aspirin", "water_cluster"}) {
      const auto mol = DataMolecule(name);
      for (const std::vector<unsigned int>& held :
           {std::vector<unsigned int>{4}, {2, 5}, {0, 3, 7}, {5, 6, 7, 8, 9, 10, 11}}) {
        SCOPED_TRACE(std::string(QZGetCoordinatesName(kind)) + " " + name + ", seed 12, fixed " +
                     std::to_string(held.size()));
        FieldedProbe probe(0.05);
        QZCoordinateFunc f(probe, /*own=*/false, kind);
        f.SetFixed(
            AtomsWhere([&](unsigned int i) { return std::ranges::find(held, i) != held.end(); }));
        ExpectExact(f, mol, rng, held);
        if (kind == QZCoordinates::Cartesian || kind == QZCoordinates::ZMatrix) {
          EXPECT_EQ(f.NumVar(), 3 * (mol.NumAtoms() - held.size()));
        }
        if (kind == QZCoordinates::Cluster) {
          EXPECT_EQ(f.NumVar() % 7, 0u);
          EXPECT_EQ(f.NumVar() == 0, std::string(name) == "aspirin");
        }
      }
    }
  }
}

TEST(CoordinateFunc, AllFixedLeavesNothingToVaryAndNoneIsAsIfNeverCalled) {
  const auto mol = DataMolecule("butane");
  const Values x = Coords(mol);
  for (const QZCoordinates kind : kComputed) {
    SCOPED_TRACE(QZGetCoordinatesName(kind));
    FieldedProbe probe;
    QZCoordinateFunc f(probe, /*own=*/false, kind);
    ASSERT_TRUE(f.Setup(mol));
    const unsigned int all = f.NumVar();
    f.SetFixed(AtomsWhere([](unsigned int) { return false; }));
    ASSERT_TRUE(f.Setup(mol));
    EXPECT_EQ(f.NumVar(), all);
    f.SetFixed(AtomsWhere([](unsigned int) { return true; }));
    ASSERT_TRUE(f.Setup(mol));
    EXPECT_EQ(f.NumVar(), 0u);
    double unused = 0.0;
    EXPECT_EQ(f(&unused), probe(x.data()));
    EXPECT_EQ(CoordsOf(f, {}, x.size()), x);
  }
}

TEST(CoordinateFunc, OverallMotionIsAVariableUnlessTheFunctionDoesNotSeeIt) {
  for (const QZCoordinates kind : {QZCoordinates::DegFree, QZCoordinates::ZMatrix}) {
    for (const unsigned int n : {1u, 2u, 3u, 5u}) {
      SCOPED_TRACE(std::string(QZGetCoordinatesName(kind)) + std::to_string(n));
      const auto mol = CarbonChain(n);
      const unsigned int internal = n > 2 ? 3 * n - 6 : n - 1;
      for (const double strength : {0.0, 0.1}) {
        FieldedProbe probe(strength);
        QZCoordinateFunc f(probe, /*own=*/false, kind);
        ASSERT_TRUE(f.Setup(mol));
        EXPECT_EQ(f.NumVar(), strength > 0.0 ? 3 * n : internal);
        f.SetOverallMotion(strength == 0.0);
        ASSERT_TRUE(f.Setup(mol));
        EXPECT_EQ(f.NumVar(), strength > 0.0 ? internal : 3 * n);
        EXPECT_EQ(CheckDerivatives(f, VarsOf(f, Coords(mol))), "");
      }
    }
  }
}

TEST(CoordinateFunc, SaysWhatAKindCannotDo) {
  MessageCapture messages;
  const auto mol = DataMolecule("water_cluster");
  FieldedProbe probe;
  QZCoordinateFunc degfree(probe, /*own=*/false, QZCoordinates::DegFree);
  degfree.SetFixed(AtomsWhere([](unsigned int i) { return i == 0; }));
  EXPECT_FALSE(degfree.Setup(mol));
  ASSERT_EQ(messages.Warnings().size(), 1u);
  EXPECT_NE(messages.Warnings()[0].find("degfree"), std::string::npos);

  messages.Clear();
  QZCoordinateFunc f(probe, /*own=*/false, QZCoordinates::ZMatrix);
  double v = 0.0;
  EXPECT_TRUE(std::isnan(f(&v))) << "before Setup";
  ASSERT_TRUE(f.Setup(mol));
  const Values together(3 * mol.AtomIndexBound(), 1.0);
  EXPECT_FALSE(f.SetupConf(together.data()));
  Values notFinite = Coords(mol);
  notFinite[7] = std::nan("");
  EXPECT_FALSE(f.SetupConf(notFinite.data()));
  EXPECT_EQ(messages.Warnings().size(), 2u);
}

TEST(CoordinateFunc, NamesAreThoseOfTheProgram) {
  QZCoordinates kind{};
  for (const QZCoordinates known : kComputed) {
    ASSERT_TRUE(QZMolPotential::QZFindCoordinates(QZGetCoordinatesName(known), kind));
    EXPECT_EQ(kind, known);
  }
  EXPECT_TRUE(QZMolPotential::QZFindCoordinates("subset", kind) &&
              kind == QZCoordinates::Cartesian);
  EXPECT_TRUE(QZMolPotential::QZFindCoordinates("quaternion", kind) &&
              kind == QZCoordinates::RigidBody);
  EXPECT_FALSE(QZMolPotential::QZFindCoordinates("polar", kind));
}

// Straight angles are bends of their own: derivatives are those of the differences on the line
// itself, and nothing is undefined there.
TEST(CoordinateFunc, StraightChainsHaveRegularZmatrixCoordinates) {
  std::mt19937 rng(13);
  for (const unsigned int n : {3u, 4u, 7u}) {
    for (const double strength : {0.0, 0.05}) {
      const auto mol = LinearChain(n, 1.3);
      FieldedProbe probe(strength);
      QZCoordinateFunc f(probe, /*own=*/false, QZCoordinates::ZMatrix);
      ASSERT_TRUE(f.Setup(mol));
      const Values x = Coords(mol);
      const Values start = VarsOf(f, x);
      EXPECT_LE(LargestDifference(CoordsOf(f, start, x.size()), x), 1e-12);
      EXPECT_EQ(CheckDerivatives(f, start), "") << n;
      EXPECT_EQ(CheckDerivatives(f, Jittered(start, 0.2, rng)), "") << n;
    }
  }
}

TEST(CoordinateFunc, LookingAtARunDoesNotChangeIt) {
  std::mt19937 rng(14);
  const auto mol = DataMolecule("glucose");
  const Values x = Coords(mol);
  FieldedProbe probe;
  FieldedProbe other;
  QZCoordinateFunc watched(probe, /*own=*/false, QZCoordinates::Redundant);
  QZCoordinateFunc alone(other, /*own=*/false, QZCoordinates::Redundant);
  ASSERT_TRUE(watched.Setup(mol) && alone.Setup(mol));
  const Values start = VarsOf(watched, x);
  ASSERT_EQ(VarsOf(alone, x), start);
  for (int step = 0; step < 5; ++step) {
    const Values vars = Jittered(start, 0.1, rng);
    Values grad(start.size(), 0.0);
    Values grad2(start.size(), 0.0);
    const double energy = watched(vars.data(), grad.data());
    EXPECT_EQ(energy, alone(vars.data(), grad2.data()));
    EXPECT_EQ(grad, grad2);
    EXPECT_EQ(probe(CoordsOf(watched, vars, x.size()).data()), energy);
    CoordsOf(watched, Jittered(start, 0.3, rng), x.size());
  }
  EXPECT_EQ(CoordsOf(watched, start, x.size()), x) << "the start is remembered";
}

TEST(CoordinateFunc, RestartsWithSensibleVariablesAndFallsBackToCartesianOnes) {
  std::mt19937 rng(15);
  const auto mol = DataMolecule("cyanoalkyne");
  FieldedProbe probe;
  QZCoordinateFunc f(probe, /*own=*/false, QZCoordinates::ZMatrix);
  f.SetFixed(AtomsWhere([](unsigned int i) { return i == 1; }));
  ASSERT_TRUE(f.Setup(mol));
  const Values x = Coords(mol);
  Values vars = VarsOf(f, x);
  EXPECT_FALSE(f.Restart(vars.data())) << "nothing has changed";
  vars = Jittered(vars, 0.4, rng);
  const double energy = f(vars.data());
  f.Restart(vars.data());
  EXPECT_NEAR(f(vars.data()), energy, 1e-9);

  Values cart;
  auto* fallBack = f.FallBack(vars.data(), cart);
  ASSERT_NE(fallBack, nullptr);
  ASSERT_EQ(fallBack->NumVar(), cart.size());
  EXPECT_EQ(cart.size(), x.size() - 3);
  EXPECT_NEAR((*fallBack)(cart.data()), energy, 1e-9);
  cart = Jittered(cart, 0.05, rng);
  const double reached = (*fallBack)(cart.data());
  f.ReturnFrom(cart.data(), vars.data());
  EXPECT_NEAR(f(vars.data()), reached, 1e-9);
  EXPECT_STREQ(f.FallBackName(), "Cartesian coordinates");
  QZCoordinateFunc torsions(probe, /*own=*/false, QZCoordinates::Torsion);
  ASSERT_TRUE(torsions.Setup(mol));
  EXPECT_EQ(torsions.FallBack(VarsOf(torsions, x).data(), cart), nullptr);
}

// JᵀMJ with J by differences of the coordinates.
TEST(CoordinateFunc, ModelHessianIsTheFunctionsTurnedIntoTheVariables) {
  const auto mol = DataMolecule("butane");
  const Values x = Coords(mol);
  for (const QZCoordinates kind : kComputed) {
    SCOPED_TRACE(QZGetCoordinatesName(kind));
    FieldedProbe probe(0.1);
    QZCoordinateFunc f(probe, /*own=*/false, kind);
    if (kind == QZCoordinates::Cartesian) {
      f.SetFixed(AtomsWhere([](unsigned int i) { return i % 3 == 1; }));
    }
    ASSERT_TRUE(f.Setup(mol));
    const Values vars = VarsOf(f, x);
    const std::size_t n = vars.size();
    std::vector<Values> slopes;
    for (std::size_t v = 0; v < n; ++v) {
      Values up = vars;
      Values down = vars;
      up[v] += 1e-5;
      down[v] -= 1e-5;
      Values slope = CoordsOf(f, up, x.size());
      const Values below = CoordsOf(f, down, x.size());
      for (std::size_t i = 0; i < slope.size(); ++i) slope[i] = (slope[i] - below[i]) / 2e-5;
      slopes.push_back(slope);
    }
    Values left(n * n, 0.0);
    std::vector<QZOpt::QZMatrixEntry> entries;
    ASSERT_TRUE(f.AppendModelHessian(vars.data(), entries));
    for (const auto& entry : entries) {
      ASSERT_LE(entry.column, entry.row);
      left[entry.row * n + entry.column] += entry.value;
    }
    std::vector<QZOpt::QZMatrixEntry> model;
    probe.AppendModelHessian(x.data(), model);
    double worst = 0.0;
    for (std::size_t v = 0; v < n; ++v) {
      for (std::size_t w = 0; w <= v; ++w) {
        for (const auto& [row, column, value] : model) {
          left[v * n + w] -= value * slopes[v][row] * slopes[w][column];
          if (row != column) left[v * n + w] -= value * slopes[v][column] * slopes[w][row];
        }
        worst = std::max(worst, std::abs(left[v * n + w]));
      }
    }
    EXPECT_LE(worst, 1e-6);
  }
}

TEST(CoordinateFunc, HolesStayWhereTheyAre) {
  auto mol = Butane();
  mol.DeleteAtom(mol.GetAtom(6));
  std::mt19937 rng(16);
  for (const QZCoordinates kind : kComputed) {
    SCOPED_TRACE(std::string(QZGetCoordinatesName(kind)) + ", seed 16");
    FieldedProbe probe;
    QZCoordinateFunc f(probe, /*own=*/false, kind);
    ExpectExact(f, mol, rng, {6});
  }
}

}  // namespace
