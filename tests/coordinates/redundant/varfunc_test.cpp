// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <numbers>
#include <random>

#include "forcefields/forcefields.h"
#include "molpotential/redundantvarfunc.h"
#include "molpotential/zmatrix.h"
#include "qzopt/optimizers.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZMolPotential::QZInternalKind;
using QZMolPotential::QZRedundantInterAdaptor;
using QZMolPotential::QZRedundantVarFunc;
using TestSupport::Coords;
using TestSupport::Jittered;
using Values = std::vector<double>;

template <class Energy = TestSupport::ProbeFunc>
struct Bound {
  template <class... Args>
  explicit Bound(const std::string& name, Args... args)
      : mol(TestSupport::DataMolecule(name)), energy(args...) {
    EXPECT_TRUE(adaptor.Setup(mol));
  }
  QZChem::QZGraphMol mol;
  Energy energy;
  QZRedundantInterAdaptor adaptor{energy, /*own=*/false, /*restrictInteractions=*/false};
  Values x = Coords(mol);
};

// Redundant values cannot change one by one: along a Cartesian displacement dE = g · dq.
TEST(RedundantVarFunc, GradientIsTheDerivativeAndValuesBeyondTheEndsStandForTheFoldedOnes) {
  std::mt19937 rng(32);
  for (const char* name : {"glucose", "aspirin", "imatinib"}) {
    SCOPED_TRACE(std::string(name) + ", seed 32");
    Bound m(name);
    QZRedundantVarFunc function(m.adaptor);
    const Values x = Jittered(m.x, 0.05, rng);
    const Values direction = Jittered(Values(x.size(), 0.0), 1e-5, rng);
    const auto at = [&](double sign, double* gradient) {
      Values moved = x;
      for (std::size_t i = 0; i < x.size(); ++i) moved[i] += sign * direction[i];
      Values vars = function.Start(moved.data());
      const double energy = function(vars.data(), gradient);
      return std::pair{energy, vars};
    };
    Values gradient(m.adaptor.NumVar(), 0.0);
    const auto [energyUp, up] = at(1.0, gradient.data());
    const auto [energyDown, down] = at(-1.0, gradient.data());
    std::ranges::fill(gradient, 0.0);
    const auto [energy, vars] = at(0.0, gradient.data());
    double change = 0.0;
    for (std::size_t i = 0; i < up.size(); ++i) change += gradient[i] * (up[i] - down[i]);
    EXPECT_NEAR(energyUp - energyDown, change, 1e-4 * std::abs(change) + 1e-10);

    Values beyond = vars;
    Values found(vars.size(), 1.0);  // added to
    const auto kinds = m.adaptor.GetKinds();
    for (std::size_t i = 0; i < vars.size(); ++i) {
      const bool bond = kinds[i] == QZInternalKind::Bond;
      const double sign = !bond && rng() % 2 == 0 ? -1.0 : 1.0;
      const double turns = bond ? 0.0 : static_cast<double>(i % 3) - 1.0;
      beyond[i] = sign * vars[i] + 2.0 * std::numbers::pi * turns;
      gradient[i] = sign * gradient[i] + 1.0;
    }
    function.Start(x.data());
    EXPECT_NEAR(function(beyond.data(), found.data()), energy, 1e-9);
    EXPECT_LE(TestSupport::LargestDifference(found, gradient), 1e-7);
  }
}

TEST(RedundantVarFunc, PlanarMoleculesReachTheCartesianMinimum) {
  for (const char* name : {"benzene", "biphenyl", "ibuprofen"}) {
    Bound<QZMolPotential::QZStandardFF> m(name, QZMolPotential::QZForceFieldKind::MMFF94);
    QZRedundantVarFunc function(m.adaptor);
    Values x = function.Start(m.x.data());
    QZOpt::QZMinimizer minimizer;
    const auto cartesian = minimizer.Minimize(m.energy, m.x.data());
    minimizer.SetScales(function.GetScales());
    const auto internal = minimizer.Minimize(function, x.data());
    EXPECT_TRUE(internal.converged) << name << ": " << internal.message;
    EXPECT_NEAR(internal.energy, cartesian.energy, 1e-4) << name;
    // The coordinates of the result are those that its energy was computed at.
    const Values found = function.GetCoords(x.data());
    EXPECT_NEAR(m.energy(found.data()), internal.energy, 1e-9) << name;
  }
}

// Blowing a molecule up by a tenth stretches its bonds by a tenth and keeps every angle.
TEST(InternalKinds, TellLengthsFromAngles) {
  for (const char* name : {"caffeine", "penicillin_g"}) {
    Bound m(name);
    m.adaptor.Set(TestSupport::AtomsWhere([](unsigned int i) { return i < 9; }), 0x400000);
    ASSERT_TRUE(m.adaptor.Setup(m.mol));
    QZMolPotential::QZZmatAdaptor zmatrix;
    ASSERT_TRUE(zmatrix.Setup(m.mol));
    std::vector<int> fixed(m.mol.NumAtoms(), 0);
    std::fill_n(fixed.begin() + 4, 5, -1);
    int* entries = fixed.data();
    zmatrix.FixAtoms(entries);

    Values large = m.x;
    for (double& value : large) value *= 1.1;
    const auto expectKinds = [&](const std::vector<QZInternalKind>& kinds, const auto& valuesAt) {
      const Values before = valuesAt(m.x);
      const Values after = valuesAt(large);
      ASSERT_EQ(kinds.size(), before.size());
      for (std::size_t i = 0; i < kinds.size(); ++i) {
        const double factor = kinds[i] == QZInternalKind::Bond ? 1.1 : 1.0;
        EXPECT_NEAR(after[i], factor * before[i], 1e-6) << name << " " << i;
      }
    };
    expectKinds(m.adaptor.GetKinds(), [&](const Values& x) {
      const double* vars = m.adaptor.GetVar(x.data());
      return Values(vars, vars + m.adaptor.NumVar());
    });
    expectKinds(zmatrix.GetKinds(), [&](const Values& x) {
      Values vars(zmatrix.NumOptVar());
      zmatrix.FuncVarToOptVar(x.data(), vars.data());
      return vars;
    });
  }
}

}  // namespace
