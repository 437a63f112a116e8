// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <random>

#include "coordinates/redundant/map_func.h"
#include "forcefields/standard.h"
#include "qzopt/optimizers.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZChem::QZGraphMol;
using QZMolPotential::CoordinateMap;
using TestSupport::Coords;
using Values = std::vector<double>;
using TestSupport::MakeMap;
using TestSupport::MapMaker;
constexpr MapMaker kMakers[] = {&QZMolPotential::MakeRedundantMap,
                                &QZMolPotential::MakeInternalMap};

struct Case {
  std::string name;
  QZGraphMol mol;
  bool overall;
  std::vector<unsigned int> fixed;
};

std::vector<Case> cases() {
  const auto smiles = [](const char* s) { return TestSupport::FromSmiles(s, /*embed=*/true); };
  return {{"water dimer", TestSupport::WaterDimer(), false, {}},
          {"water, moving", TestSupport::Water(), true, {}},
          {"formaldehyde", smiles("C=O"), false, {}},
          {"carbon dioxide", smiles("O=C=O"), true, {}},
          {"2-butyne", smiles("CC#CC"), false, {}},
          {"allene", smiles("C=C=C"), false, {}},
          {"propynal", smiles("O=CC#C"), false, {}},
          {"sodium acetate", smiles("CC(=O)[O-].[Na+]"), true, {}},
          {"butane, one atom fixed", TestSupport::Butane(), false, {1}},
          {"butane, two atoms fixed", TestSupport::Butane(), false, {1, 2}},
          {"acetonitrile, N fixed", smiles("CC#N"), false, {2}},
          {"aspirin, ring fixed", TestSupport::DataMolecule("aspirin"), false, {4, 5, 6, 7, 8, 9}}};
}

// ProbeFunc depends on distances only; a place of its own makes rotation and translation count.
class PlacedProbe final : public QZMolPotential::QZMolFunc2 {
 public:
  using QZMolFunc2::operator();
  unsigned int NumVar() const override { return probe_.NumVar(); }
  bool Setup(const QZChem::QZMolBase& mol) override { return probe_.Setup(mol); }
  double operator()(const double* x) override { return probe_(x) + field(x, nullptr, nullptr); }
  double operator()(const double* x, double* grad) override {
    return probe_(x, grad) + field(x, grad, nullptr);
  }
  bool operator()(const double* x, double* hess, double* grad) override {
    field(x, grad, hess);
    return probe_(x, hess, grad);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }
  PlacedProbe* CreateCopy() const override { return new PlacedProbe(*this); }

 private:
  // Σ c_i x_i + 0.05 Σ x_i² with c_i of either sign.
  double field(const double* x, double* grad, double* hess) const {
    double sum = 0.0;
    for (std::size_t i = 0; i < NumVar(); ++i) {
      const double c = 0.3 * std::sin(1.7 * static_cast<double>(i));
      sum += c * x[i] + 0.05 * x[i] * x[i];
      if (grad != nullptr) grad[i] += c + 0.1 * x[i];
      if (hess != nullptr) hess[i * (i + 3) / 2] += 0.1;
    }
    return sum;
  }
  TestSupport::ProbeFunc probe_;
};

void expectDerivatives(MapMaker maker, const Case& c) {
  SCOPED_TRACE(c.name);
  std::mt19937 rng(11);
  const auto map = MakeMap(maker, c.mol, c.overall, c.fixed);
  PlacedProbe probe;
  ASSERT_TRUE(probe.Setup(c.mol));
  Values x = TestSupport::Jittered(Coords(c.mol), 0.02, rng);
  Values v(map->NumVar());
  ASSERT_TRUE(map->Start(x.data(), v.data())) << map->Reason();
  Values back(x.size());
  ASSERT_TRUE(map->Place(v.data(), back.data())) << map->Reason();
  EXPECT_LE(TestSupport::LargestDifference(x, back), 1e-9);
  for (const unsigned int atom : c.fixed) {
    for (unsigned int k = 0; k < 3; ++k) EXPECT_EQ(back[3 * atom + k], x[3 * atom + k]);
  }
  TestSupport::MapFunc f(*map, probe);
  EXPECT_EQ(TestSupport::CheckDerivatives(f, v, 1e-4), "");
  // Turned far: beyond half a turn and beyond several.
  const auto kinds = map->Kinds();
  for (const double turn : {2.2, 9.0}) {
    Values far = v;
    for (std::size_t i = 0; i < v.size(); ++i) {
      if (kinds[i] == QZMolPotential::VariableKind::Rotation) far[i] += i % 2 == 0 ? turn : -0.8;
    }
    EXPECT_EQ(TestSupport::CheckDerivatives(f, far, 1e-4), "") << turn;
  }
}

TEST(InternalMaps, DerivativesAreThoseOfTheFunction) {
  for (const Case& c : cases()) {
    for (const MapMaker maker : kMakers) expectDerivatives(maker, c);
  }
}

// Scales as `QZCoordinateFunc` gives them to the kinds that are met here.
Values scalesOf(const CoordinateMap& map) {
  using QZMolPotential::QZInternalKind;
  using QZMolPotential::VariableKind;
  std::vector<QZInternalKind> kinds;
  for (const VariableKind kind : map.Kinds()) {
    kinds.push_back(kind == VariableKind::Length     ? QZInternalKind::Bond
                    : kind == VariableKind::Dihedral ? QZInternalKind::Dihedral
                                                     : QZInternalKind::Angle);
  }
  return QZMolPotential::QZInternalScales(kinds);
}

// Straight angles, planar groups and rings with many redundancies.
TEST(InternalMaps, CartesianMinimaAreReachedInFewEvaluations) {
  std::vector<QZGraphMol> molecules;
  for (const char* name : {"caffeine", "cyanoalkyne", "penicillin_g", "biphenyl"}) {
    molecules.push_back(TestSupport::DataMolecule(name));
  }
  for (const char* s : {"C=O", "C#N", "CC#N", "CC#CC", "C=C=C", "O=CC#C", "C#CC#CC#C"}) {
    molecules.push_back(TestSupport::FromSmiles(s, /*embed=*/true));
    molecules.back().SetTitle(s);
  }
  for (const QZGraphMol& mol : molecules) {
    SCOPED_TRACE(mol.GetTitle());
    QZMolPotential::QZStandardFF field(QZMolPotential::QZForceFieldKind::MMFF94);
    ASSERT_TRUE(field.Setup(mol));
    const Values start = Coords(mol);
    Values x = start;
    QZOpt::QZMinimizer minimizer;
    const auto cartesian = minimizer.Minimize(field, x.data());
    for (const MapMaker maker : kMakers) {
      const auto map = MakeMap(maker, mol, /*overallMotion=*/false);
      Values v(map->NumVar());
      ASSERT_TRUE(map->Start(start.data(), v.data())) << map->Reason();
      TestSupport::MapFunc f(*map, field);
      minimizer.SetScales(scalesOf(*map));
      const auto internal = minimizer.Minimize(f, v.data());
      minimizer.SetScales({});
      EXPECT_TRUE(internal.converged) << internal.message;
      EXPECT_NEAR(internal.energy, cartesian.energy, 1e-3);
      EXPECT_LT(internal.evaluations, 90U);
    }
  }
}

// The adaptor's variables as a minimiser's function would use them.
TEST(InternalAdaptor, GradientRoundTripFixedAtomsAndCopies) {
  for (const bool fix : {false, true}) {
    const QZGraphMol mol = TestSupport::FromSmiles("CC#CC(C)O", /*embed=*/true);
    const Values x = Coords(mol);
    TestSupport::ProbeFunc probe;
    ASSERT_TRUE(probe.Setup(mol));
    QZMolPotential::QZInternalAdaptor adaptor;
    EXPECT_FALSE(adaptor.FuncVarToOptVar(x.data(), nullptr));
    EXPECT_EQ(adaptor.NumOptVar(), 0U);
    ASSERT_TRUE(adaptor.Setup(mol));
    ASSERT_EQ(adaptor.NumFuncVar(), x.size());
    EXPECT_EQ(adaptor.NumOptVar(), x.size() - 6);
    std::vector<int> marks(mol.NumAtoms(), 0);
    std::fill_n(marks.begin(), 4, fix ? -1 : 0);
    int* entries = marks.data();
    adaptor.FixAtoms(entries);
    // The first four atoms are in line: a turn about them is left.
    EXPECT_EQ(adaptor.NumOptVar(), fix ? x.size() - 12 : x.size() - 6);

    std::mt19937 rng(29);
    Values v(adaptor.NumOptVar(), 1.0);
    ASSERT_TRUE(adaptor.FuncVarToOptVar(x.data(), v.data()));
    EXPECT_EQ(v, Values(v.size(), 0.0));
    v = TestSupport::Jittered(v, 0.05, rng);
    QZMolPotential::QZInternalAdaptor copy = adaptor;
    const auto energy = [&](const Values& at) {
      Values coords(x.size());
      EXPECT_TRUE(copy.OptVarToFuncVar(at.data(), coords.data()));
      return probe(coords.data());
    };
    Values coords(x.size());
    ASSERT_TRUE(adaptor.OptVarToFuncVar(v.data(), coords.data()));
    Values again(v.size());
    ASSERT_TRUE(adaptor.FuncVarToOptVar(coords.data(), again.data()));
    EXPECT_EQ(again, v);
    for (std::size_t k = 0; k < 12 && fix; ++k) EXPECT_EQ(coords[k], x[k]);
    Values cartesian(x.size(), 0.0);
    probe(coords.data(), cartesian.data());
    Values gradient(v.size());
    ASSERT_TRUE(adaptor.FuncGradToOptGrad(nullptr, cartesian.data(), gradient.data()));
    for (std::size_t k = 0; k < v.size(); ++k) {
      Values up = v;
      Values down = v;
      up[k] += 1e-4;
      down[k] -= 1e-4;
      const double slope = (energy(up) - energy(down)) / 2e-4;
      EXPECT_NEAR(gradient[k], slope, 1e-6 * (1.0 + std::abs(slope))) << k << ", seed 29";
    }
    // The copy went its own way.
    ASSERT_TRUE(adaptor.GetAdaptedVariables(again.data()));
    EXPECT_EQ(again, v);

    std::ranges::fill(marks, -1);
    adaptor.FixAtoms(entries);
    EXPECT_EQ(adaptor.NumOptVar(), 0U);
    Values still(x.size());
    EXPECT_TRUE(adaptor.OptVarToFuncVar(v.data(), still.data()));
    EXPECT_EQ(still, coords);
  }
}

}  // namespace
