// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/torsion.h"

#include <gtest/gtest.h>

#include <cmath>

#include "molpotential/optvarfunc.h"
#include "optvars/data_molecules.h"
#include "qzchem/geometry.h"
#include "qzchem/topology.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZMolPotential::QZOptVarFunc;
using QZMolPotential::QZTorsionAdaptor;
using QZSystem::QZErrorLevel;
using TestSupport::Coords;
using TestSupport::ProbeFunc;

struct Bound {
  explicit Bound(const char* name) : mol(TestOptVars::DataMolecule(name)), x(Coords(mol)) {
    adaptor.Setup(mol);
    vars.resize(adaptor.NumOptVar());
    adaptor.FuncVarToOptVar(x.data(), vars.data());
  }
  QZChem::QZGraphMol mol;
  std::vector<double> x;
  QZTorsionAdaptor adaptor;
  std::vector<double> vars;
};

TEST(Torsion, CountsRotorsAsAChemistWould) {
  // Single bonds outside rings whose ends both carry another heavy atom; counted by hand.
  EXPECT_EQ(Bound("butane").adaptor.NumOptVar(), 1u);
  EXPECT_EQ(Bound("biphenyl").adaptor.NumOptVar(), 1u);
  EXPECT_EQ(Bound("benzene").adaptor.NumOptVar(), 0u);
  EXPECT_EQ(Bound("aspirin").adaptor.NumOptVar(), 3u);
  EXPECT_EQ(Bound("ibuprofen").adaptor.NumOptVar(), 4u);
}

TEST(Torsion, TurnsWhatIsAskedAndKeepsEveryBondAndAngle) {
  std::mt19937 rng(17);
  for (const char* name : {"imatinib", "decapeptide"}) {
    Bound b(name);
    std::vector<double> back(b.x.size());
    b.adaptor.OptVarToFuncVar(b.vars.data(), back.data());
    for (std::size_t i = 0; i < b.x.size(); ++i) EXPECT_NEAR(back[i], b.x[i], 1e-12);
    const auto asked = TestSupport::Jittered(b.vars, 2.0, rng);
    auto turned = b.mol;
    std::vector<double> x(b.x.size());
    b.adaptor.OptVarToFuncVar(asked.data(), x.data());
    turned.SetCoords(x.data());
    std::vector<double> reached(asked.size());
    b.adaptor.FuncVarToOptVar(x.data(), reached.data());
    for (std::size_t k = 0; k < asked.size(); ++k) {
      EXPECT_LE(std::abs(std::remainder(reached[k] - asked[k], 2.0 * M_PI)), 1e-9) << name << k;
    }
    for (const auto& atom : QZSystem::QZRange(b.mol.GetAtoms())) {
      for (auto& u : QZSystem::QZRange(atom.GetNeighbours())) {
        for (auto& v : QZSystem::QZRange(atom.GetNeighbours())) {
          const auto at = [&turned](const QZChem::QZAtomBase& a) {
            return turned.GetAtom(a.GetIndex());
          };
          if (&u == &v) {
            EXPECT_NEAR(QZChem::QZGetDistance(turned, at(atom), at(u)),
                        QZChem::QZGetDistance(b.mol, &atom, &u),
                        1e-9);
          } else {
            EXPECT_NEAR(QZChem::QZGetAngle(turned, at(u), at(atom), at(v)),
                        QZChem::QZGetAngle(b.mol, &u, &atom, &v),
                        1e-7);
          }
        }
      }
    }
  }
}

TEST(Torsion, OneTorsionMovesTheSmallerSideAlone) {
  Bound b("decapeptide");
  std::vector<double> x(b.x.size());
  for (std::size_t k = 0; k < b.vars.size(); ++k) {
    auto asked = b.vars;
    asked[k] += 0.7;
    b.adaptor.OptVarToFuncVar(asked.data(), x.data());
    std::size_t moved = 0;
    for (std::size_t i = 0; i < x.size(); i += 3) {
      moved += std::hypot(x[i] - b.x[i], x[i + 1] - b.x[i + 1], x[i + 2] - b.x[i + 2]) > 1e-9;
    }
    EXPECT_GE(moved, 1u) << k;
    EXPECT_LT(moved, (b.mol.NumAtoms() + 1) / 2) << "the atom on the axis does not move; " << k;
    b.adaptor.FuncVarToOptVar(x.data(), asked.data());
    for (std::size_t j = 0; j < asked.size(); ++j) {
      const double turned = std::remainder(asked[j] - b.vars[j], 2.0 * M_PI);
      EXPECT_NEAR(turned, j == k ? 0.7 : 0.0, 1e-9) << k << " turns " << j;
    }
  }
}

TEST(Torsion, GradientIsThatOfTheEnergyAlongEachTorsion) {
  std::mt19937 rng(23);
  for (const char* name : {"butane", "aspirin", "imatinib", "decapeptide"}) {
    Bound b(name);
    ProbeFunc energy;
    energy.Setup(b.mol);
    QZOptVarFunc function(energy, b.adaptor);
    EXPECT_EQ(TestSupport::CheckDerivatives(function, b.vars), "") << name;
    EXPECT_EQ(TestSupport::CheckDerivatives(function, TestSupport::Jittered(b.vars, 1.0, rng)), "")
        << name;
  }
}

TEST(Torsion, FixedAtomsStayPutWhereverTheyAre) {
  std::mt19937 rng(29);
  Bound b("imatinib");
  ProbeFunc energy;
  energy.Setup(b.mol);
  const unsigned int all = b.adaptor.NumOptVar();
  std::uniform_int_distribution<unsigned int> anyAtom(0, b.mol.NumAtoms() - 1);
  for (unsigned int round = 0; round < 40; ++round) {
    const unsigned int count = 1 + round % 3;
    std::vector<int> fixed(b.mol.NumAtoms(), 0);
    for (unsigned int i = 0; i < count; ++i) fixed[anyAtom(rng)] = -1;
    int* entries = fixed.data();
    b.adaptor.FixAtoms(entries);
    const unsigned int active = b.adaptor.NumOptVar();
    b.adaptor.FixAtoms(entries);
    ASSERT_EQ(b.adaptor.NumOptVar(), active) << "twice is once";
    if (count == 1) {
      ASSERT_EQ(active, all) << "one atom cannot be on both sides";
    }
    std::vector<double> vars(active);
    b.adaptor.FuncVarToOptVar(b.x.data(), vars.data());
    const auto asked = TestSupport::Jittered(vars, 1.5, rng);
    std::vector<double> x(b.x.size());
    b.adaptor.OptVarToFuncVar(asked.data(), x.data());
    for (std::size_t i = 0; i < x.size(); ++i) {
      EXPECT_TRUE(fixed[i / 3] == 0 || std::abs(x[i] - b.x[i]) <= 1e-12) << round;
    }
    b.adaptor.FuncVarToOptVar(x.data(), vars.data());
    for (std::size_t k = 0; k < active; ++k) {
      EXPECT_LE(std::abs(std::remainder(vars[k] - asked[k], 2.0 * M_PI)), 1e-9) << round;
    }
    QZOptVarFunc function(energy, b.adaptor);
    EXPECT_EQ(TestSupport::CheckDerivatives(function, asked), "") << round;
  }
  std::vector<int> everywhere(b.mol.NumAtoms(), -1);
  int* entries = everywhere.data();
  b.adaptor.FixAtoms(entries);
  EXPECT_EQ(b.adaptor.NumOptVar(), 0u);
  EXPECT_FALSE(b.adaptor.GetAdaptedVariables(b.vars.data()));
}

TEST(Torsion, AtomsBehindAHoleAreNeverReadOrWritten) {
  auto mol = TestOptVars::DataMolecule("decapeptide");
  mol.DeleteAtom(mol.GetAtom(mol.AtomIndexBound() - 2));
  const auto full = Coords(mol);
  QZTorsionAdaptor adaptor;
  ASSERT_TRUE(adaptor.Setup(mol));
  ASSERT_EQ(adaptor.NumFuncVar() + 3, full.size());
  // Arrays of the very size that the adaptor asks for.
  std::vector<double> x(full.begin(), full.end() - 3);
  std::vector<double> back(x.size());
  std::vector<double> vars(adaptor.NumOptVar());
  adaptor.FuncVarToOptVar(x.data(), vars.data());
  adaptor.OptVarToFuncVar(vars.data(), back.data());
  adaptor.FuncGradToOptGrad(x.data(), vars.data(), back.data());
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_NEAR(back[i], x[i], 1e-12);
}

TEST(Torsion, MessagesReportAndTheActivityTest) {
  TestSupport::MessageCapture messages;
  QZTorsionAdaptor ring;
  const auto benzene = TestOptVars::DataMolecule("benzene");
  EXPECT_TRUE(ring.Setup(benzene));
  EXPECT_FALSE(ring.IsTorsionActive(0));
  EXPECT_EQ(messages.Warnings(), std::vector<std::string>{"Molecule has 0 torsions"});
  EXPECT_FALSE(ring.Setup(QZChem::QZGraphMol()));

  Bound b("butane");
  messages.Clear();
  EXPECT_FALSE(b.adaptor.IsTorsionActive(0)) << "no activity is above 1";
  EXPECT_TRUE(messages.All().empty());
  EXPECT_FALSE(b.adaptor.OptGradToFuncGrad(b.vars.data(), b.x.data()));
  EXPECT_EQ(messages.At(QZErrorLevel::Fatal),
            std::vector<std::string>{"Transformation of torsion -> xyz gradients not implemented"});
  testing::internal::CaptureStdout();
  double value = 0.0;
  b.adaptor.GetAdaptedVariables(b.mol, &value);
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(value, b.vars[0]);
  EXPECT_EQ(text.find("\nTorsion coordinates:\nTorsion atoms          Torsion\n"), 0u) << text;
  char degrees[32];
  std::snprintf(degrees, sizeof degrees, "%.3f\n", value * 180.0 / M_PI);
  EXPECT_NE(text.find(degrees), std::string::npos) << text;
}

TEST(Torsion, CopiesAreIndependentAndSetupStartsAfresh) {
  Bound b("aspirin");
  auto copy = std::make_unique<QZTorsionAdaptor>(b.adaptor);
  auto asked = b.vars;
  asked[0] += 1.0;
  std::vector<double> x(b.x.size());
  copy->OptVarToFuncVar(asked.data(), x.data());
  std::vector<double> kept(b.vars.size());
  b.adaptor.GetAdaptedVariables(kept.data());
  EXPECT_EQ(kept, b.vars);
  ASSERT_TRUE(copy->Setup(b.mol));
  copy->GetAdaptedVariables(kept.data());
  EXPECT_EQ(kept, b.vars);
}

}  // namespace
