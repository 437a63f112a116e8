// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "forcefields/forcefields.h"
#include "molpotential/coordinates.h"
#include "molpotential/redundant.h"
#include "molpotential/zmatrix.h"
#include "qzopt/optimizers.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZMolPotential::QZCoordinateFunc;
using QZMolPotential::QZCoordinates;
using QZMolPotential::QZInternalKind;
using QZMolPotential::QZRedundantInterAdaptor;
using TestSupport::Coords;
using TestSupport::Jittered;
using Values = std::vector<double>;

constexpr QZCoordinates kKinds[] = {QZCoordinates::Redundant, QZCoordinates::Internal};

TEST(RedundantFunc, ValuesBeyondTheEndsStandForTheFoldedOnes) {
  std::mt19937 rng(32);
  const double bondScale = QZMolPotential::QZInternalScales({QZInternalKind::Bond})[0];
  const double turnScale = QZMolPotential::QZInternalScales({QZInternalKind::Dihedral})[0];
  for (const char* name : {"glucose", "aspirin", "imatinib"}) {
    SCOPED_TRACE(std::string(name) + ", seed 32");
    const auto mol = TestSupport::DataMolecule(name);
    TestSupport::ProbeFunc probe;
    QZCoordinateFunc f(probe, /*own=*/false, QZCoordinates::Redundant);
    ASSERT_TRUE(f.Setup(mol));
    const Values x = Jittered(Coords(mol), 0.05, rng);
    ASSERT_TRUE(f.SetupConf(x.data()));
    const Values vars(f.GetVar(x.data()), f.GetVar(x.data()) + f.NumVar());
    Values gradient(vars.size(), 0.0);
    const double energy = f(vars.data(), gradient.data());
    const Values scales = f.GetScales();
    Values beyond = vars;
    Values found(vars.size(), 1.0);  // added to
    for (std::size_t i = 0; i < vars.size(); ++i) {
      const double turns = scales[i] == bondScale ? 0.0 : static_cast<double>(i % 3) - 1.0;
      const double sign = scales[i] != turnScale && rng() % 2 == 0 ? -1.0 : 1.0;
      beyond[i] = sign * vars[i] + 2.0 * std::numbers::pi * turns;
      gradient[i] = sign * gradient[i] + 1.0;
    }
    EXPECT_NEAR(f(beyond.data(), found.data()), energy, 1e-9);
    EXPECT_LE(TestSupport::LargestDifference(found, gradient), 1e-7);
  }
}

TEST(RedundantFunc, PlanarMoleculesReachTheCartesianMinimum) {
  for (const char* name : {"benzene", "biphenyl", "ibuprofen"}) {
    const auto mol = TestSupport::DataMolecule(name);
    QZMolPotential::QZStandardFF energy(QZMolPotential::QZForceFieldKind::MMFF94);
    ASSERT_TRUE(energy.Setup(mol));
    Values best = Coords(mol);
    QZOpt::QZMinimizer minimizer;
    const auto cartesian = minimizer.Minimize(energy, best.data());
    for (const QZCoordinates kind : kKinds) {
      SCOPED_TRACE(std::string(name) + " " + QZGetCoordinatesName(kind));
      QZCoordinateFunc f(energy, /*own=*/false, kind);
      ASSERT_TRUE(f.Setup(mol));
      const Values x = Coords(mol);
      Values vars(f.GetVar(x.data()), f.GetVar(x.data()) + f.NumVar());
      minimizer.SetScales(f.GetScales());
      const auto internal = minimizer.Minimize(f, vars.data());
      minimizer.SetScales({});
      EXPECT_TRUE(internal.converged) << internal.message;
      EXPECT_NEAR(internal.energy, cartesian.energy, 1e-4);
      // The coordinates of the result are those that its energy was computed at.
      Values found(x.size());
      EXPECT_TRUE(f.AdaptVar(found.data(), vars.data()));
      EXPECT_NEAR(energy(found.data()), internal.energy, 1e-9);
      double sum = 0.0;
      for (const auto& part : QZSystem::QZRange(f.GetFComponents(vars.data())))
        sum += part.GetValue();
      EXPECT_NEAR(sum, internal.energy, 1e-9);
    }
  }
}

// Variables that no geometry has, or far from any known: there is a geometry all the same, and it
// is told how it was found.
TEST(BackTransformation, AlwaysEndsWithAGeometryAndTellsHow) {
  std::mt19937 rng(77);
  const auto mol = TestSupport::DataMolecule("caffeine");
  const Values x = Coords(mol);
  for (const QZCoordinates kind : kKinds) {
    SCOPED_TRACE(std::string(QZGetCoordinatesName(kind)) + ", seed 77");
    TestSupport::ProbeFunc probe;
    QZCoordinateFunc f(probe, /*own=*/false, kind);
    ASSERT_TRUE(f.Setup(mol) && f.SetupConf(x.data()));
    const Values start(f.GetVar(x.data()), f.GetVar(x.data()) + f.NumVar());
    unsigned int asked = 0;
    unsigned int short_ = 0;
    for (const double size : {0.01, 0.3, 1.0, 5.0, 1e3, 1e8}) {
      for (int k = 0; k < 5; ++k) {
        const Values vars = Jittered(start, size, rng);
        Values coords(x.size());
        const auto before = f.GetBackTransformations();
        EXPECT_TRUE(std::isfinite(f(vars.data())));
        ASSERT_TRUE(f.AdaptVar(coords.data(), vars.data()));
        EXPECT_TRUE(std::ranges::all_of(coords, [](double c) { return std::isfinite(c); }));
        ++asked;
        const auto now = f.GetBackTransformations();
        const unsigned int missed = now.cartesian + now.held - before.cartesian - before.held;
        short_ += missed;
        EXPECT_TRUE(size > 0.1 || missed == 0);
      }
    }
    const auto [newton, geodesic, cartesian, held] = f.GetBackTransformations();
    EXPECT_EQ(newton + geodesic + cartesian + held, asked);
    EXPECT_GE(newton, 5U);
    EXPECT_GT(short_, 0U);
    // The start is still where it was, and a new one counts afresh.
    EXPECT_LE(TestSupport::LargestDifference(
                  Values(f.GetVar(x.data()), f.GetVar(x.data()) + f.NumVar()), start),
              0.0);
    ASSERT_TRUE(f.SetupConf(x.data()));
    EXPECT_EQ(f.GetBackTransformations().newton, 0U);
    Values nothing(f.NumVar(), std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(f(nothing.data())));
  }
}

// Blowing a molecule up by a tenth stretches its bonds by a tenth and keeps every angle.
TEST(InternalKinds, TellLengthsFromAngles) {
  for (const char* name : {"caffeine", "penicillin_g"}) {
    const auto mol = TestSupport::DataMolecule(name);
    const Values x = Coords(mol);
    TestSupport::ProbeFunc probe;
    QZRedundantInterAdaptor adaptor(probe, /*own=*/false, /*restrictInteractions=*/false);
    adaptor.Set(TestSupport::AtomsWhere([](unsigned int i) { return i < 9; }), 0x400000);
    ASSERT_TRUE(adaptor.Setup(mol));
    QZMolPotential::QZZmatAdaptor zmatrix;
    ASSERT_TRUE(zmatrix.Setup(mol));
    std::vector<int> fixed(mol.NumAtoms(), 0);
    std::fill_n(fixed.begin() + 4, 5, -1);
    int* entries = fixed.data();
    zmatrix.FixAtoms(entries);

    Values large = x;
    for (double& value : large) value *= 1.1;
    const auto expectKinds = [&](const std::vector<QZInternalKind>& kinds, const auto& valuesAt) {
      const Values before = valuesAt(x);
      const Values after = valuesAt(large);
      ASSERT_EQ(kinds.size(), before.size());
      for (std::size_t i = 0; i < kinds.size(); ++i) {
        const double factor = kinds[i] == QZInternalKind::Bond ? 1.1 : 1.0;
        EXPECT_NEAR(after[i], factor * before[i], 1e-6) << name << " " << i;
      }
    };
    expectKinds(adaptor.GetKinds(), [&](const Values& y) {
      const double* vars = adaptor.GetVar(y.data());
      return Values(vars, vars + adaptor.NumVar());
    });
    expectKinds(zmatrix.GetKinds(), [&](const Values& y) {
      Values vars(zmatrix.NumOptVar());
      zmatrix.FuncVarToOptVar(y.data(), vars.data());
      return vars;
    });
  }
}

}  // namespace
