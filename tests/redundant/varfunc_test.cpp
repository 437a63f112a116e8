// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <numbers>
#include <numeric>
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
using TestSupport::DataMolecule;
using TestSupport::Jittered;
using Values = std::vector<double>;

template <class Energy>
struct Bound {
  template <class... Args>
  explicit Bound(const std::string& name, Args... args)
      : mol(DataMolecule(name)), energy(args...), x(Coords(mol)) {
    EXPECT_TRUE(adaptor.Setup(mol));
    function = std::make_unique<QZRedundantVarFunc>(adaptor);
  }
  QZChem::QZGraphMol mol;
  Energy energy;
  QZRedundantInterAdaptor adaptor{energy, /*own=*/false, /*restrictInteractions=*/false};
  std::unique_ptr<QZRedundantVarFunc> function;
  Values x;
};
using Probed = Bound<TestSupport::ProbeFunc>;

TEST(RedundantVarFunc, ValuesBeyondTheEndsStandForTheFoldedOnes) {
  std::mt19937 rng(31);
  for (const char* name : {"glucose", "aspirin"}) {
    Probed m(name);
    const Values x = Jittered(m.x, 0.05, rng);
    const Values vars = m.function->Start(x.data());
    Values gradient(vars.size(), 0.0);
    const double energy = (*m.function)(vars.data(), gradient.data());

    Values beyond = vars;
    const auto kinds = m.adaptor.GetKinds();
    for (std::size_t i = 0; i < vars.size(); ++i) {
      if (kinds[i] == QZInternalKind::Bond) continue;
      const bool turned = rng() % 2 == 0;
      const double turns = static_cast<double>(i % 3) - 1.0;
      beyond[i] = (turned ? -vars[i] : vars[i]) + 2.0 * std::numbers::pi * turns;
      if (turned) gradient[i] = -gradient[i];
    }
    m.function->Start(x.data());
    Values found(vars.size(), 0.0);
    EXPECT_NEAR((*m.function)(beyond.data(), found.data()), energy, 1e-9) << name << ", seed 31";
    EXPECT_LE(TestSupport::LargestDifference(found, gradient), 1e-7) << name << ", seed 31";
  }
}

// Redundant values cannot change one by one: along a Cartesian displacement dE = g · dq.
TEST(RedundantVarFunc, GradientIsTheDerivativeAlongDisplacements) {
  std::mt19937 rng(32);
  for (const char* name : {"glucose", "aspirin", "imatinib"}) {
    Probed m(name);
    const Values x = Jittered(m.x, 0.1, rng);
    const Values direction = Jittered(Values(x.size(), 0.0), 1.0, rng);
    const auto at = [&](double h) {
      Values moved = x;
      for (std::size_t i = 0; i < x.size(); ++i) moved[i] += h * direction[i];
      return m.function->Start(moved.data());
    };
    constexpr double kStep = 1e-5;
    const Values up = at(kStep);
    const double energyUp = (*m.function)(up.data());
    const Values down = at(-kStep);
    const double energyDown = (*m.function)(down.data());
    const Values vars = at(0.0);
    Values gradient(vars.size(), 1.0);  // added to
    (*m.function)(vars.data(), gradient.data());
    double change = 0.0;
    for (std::size_t i = 0; i < vars.size(); ++i) change += (gradient[i] - 1.0) * (up[i] - down[i]);
    EXPECT_NEAR(energyUp - energyDown, change, 1e-4 * std::abs(change) + 1e-10)
        << name << ", seed 32";
  }
}

TEST(RedundantVarFunc, PlanarMoleculesReachTheCartesianMinimumInFewerEvaluations) {
  for (const char* name : {"benzene", "biphenyl", "ibuprofen"}) {
    Bound<QZMolPotential::QZStandardFF> m(name, QZMolPotential::QZForceFieldKind::MMFF94);
    Values x = m.function->Start(m.x.data());
    QZOpt::QZMinimizer minimizer;
    const auto cartesian = minimizer.Minimize(m.energy, m.x.data());
    minimizer.SetScales(m.function->GetScales());
    const auto internal = minimizer.Minimize(*m.function, x.data());
    EXPECT_TRUE(internal.converged) << name << ": " << internal.message;
    EXPECT_NEAR(internal.energy, cartesian.energy, 1e-4) << name;
    EXPECT_LT(internal.evaluations, cartesian.evaluations) << name;
    // The coordinates of the result are those that its energy was computed at.
    const Values found = m.function->GetCoords(x.data());
    EXPECT_NEAR(m.energy(found.data()), internal.energy, 1e-9) << name;
  }
}

// Blowing a molecule up by a tenth stretches its bonds by a tenth and keeps every angle.
TEST(InternalKinds, TellLengthsFromAngles) {
  for (const char* name : {"caffeine", "penicillin_g"}) {
    Probed m(name);
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
    const auto expectKinds =
        [&](const std::vector<QZInternalKind>& kinds, const Values& before, const Values& after) {
          ASSERT_EQ(kinds.size(), before.size());
          for (std::size_t i = 0; i < kinds.size(); ++i) {
            const double factor = kinds[i] == QZInternalKind::Bond ? 1.1 : 1.0;
            EXPECT_NEAR(after[i], factor * before[i], 1e-6) << name << " " << i;
          }
        };
    const auto redundant = [&](const Values& x) {
      const double* vars = m.adaptor.GetVar(x.data());
      return Values(vars, vars + m.adaptor.NumVar());
    };
    const auto converted = [&](const Values& x) {
      Values vars(zmatrix.NumOptVar());
      zmatrix.FuncVarToOptVar(x.data(), vars.data());
      return vars;
    };
    expectKinds(m.adaptor.GetKinds(), redundant(m.x), redundant(large));
    expectKinds(zmatrix.GetKinds(), converted(m.x), converted(large));
  }
}

}  // namespace
