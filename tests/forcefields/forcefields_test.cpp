// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "forcefields/forcefields.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <thread>

#include "rdkit_molecule.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using ForceFieldTest::FromData;
using ForceFieldTest::FromSmiles;
using ForceFieldTest::MakeReference;
using ForceFieldTest::Molecule;
using Kind = QZForceFieldKind;
using Term = QZForceFieldTermKind;

constexpr Kind kKinds[] = {Kind::MMFF94, Kind::MMFF94s, Kind::UFF};
constexpr Term kTerms[] = {Term::Stretch,
                           Term::Bend,
                           Term::StretchBend,
                           Term::OutOfPlane,
                           Term::Torsion,
                           Term::VanDerWaals,
                           Term::Electrostatics};
constexpr unsigned int kSeed = 20260301;

// Energy and gradient of `ff` against RDKit's at several geometries; the molecule is without holes.
void ExpectAgreement(const Molecule& molecule, Kind kind, double tolerance) {
  const auto reference = MakeReference(molecule, kind);
  ASSERT_NE(reference, nullptr);
  QZStandardFF ff(kind);
  ASSERT_TRUE(ff.Setup(molecule.mol));
  std::mt19937 rng(kSeed);
  std::vector<double> x = TestSupport::Coords(molecule.mol);
  ASSERT_EQ(ff.NumVar(), x.size());
  for (double amplitude : {0.0, 0.1, 0.5}) {
    x = TestSupport::Jittered(x, amplitude, rng);
    std::vector<double> expected(x.size(), 0.0);
    const double energy = reference->calcEnergy(x.data());
    reference->calcGrad(x.data(), expected.data());
    std::vector<double> g(x.size(), 0.0);
    EXPECT_NEAR(ff(x.data(), g.data()), energy, tolerance * std::max(1.0, std::abs(energy)));
    EXPECT_NEAR(ff(x.data()), energy, tolerance * std::max(1.0, std::abs(energy)));
    double sum = 0.0;
    for (auto& component : QZSystem::QZRange(ff.GetFComponents(x.data()))) {
      sum += component.GetValue();
    }
    EXPECT_NEAR(sum, energy, tolerance * std::max(1.0, std::abs(energy)));
    for (std::size_t i = 0; i < g.size(); ++i) {
      ASSERT_NEAR(g[i], expected[i], 1e-8 * std::max(1.0, std::abs(expected[i]))) << i;
    }
  }
}

TEST(StandardFF, AgreesWithRDKitOnRealMolecules) {
  for (const char* name : {"aspirin",
                           "caffeine",
                           "cyanoalkyne",
                           "decapeptide",
                           "glucose",
                           "imatinib",
                           "penicillin_g",
                           "water_cluster"}) {
    SCOPED_TRACE(name);
    const Molecule molecule = FromData(name);
    ExpectAgreement(molecule, Kind::MMFF94, 1e-11);
    ExpectAgreement(molecule, Kind::MMFF94s, 1e-11);
    // RDKit ends UFF's pairs at ten times their minimum distance.
    ExpectAgreement(molecule, Kind::UFF, std::string(name) == "decapeptide" ? 1e-7 : 1e-11);
  }
}

TEST(StandardFF, AgreesWithRDKitOnUnusualChemistry) {
  for (const char* smiles : {"C1=CC1C(=O)[O-]",
                             "CN=[N+]=[N-]",
                             "C=C=C",
                             "C[N+](C)(C)CC(=O)[O-]",
                             "O=S(=O)(N)c1ccc(N)cc1",
                             "c1ccc2[nH]ccc2c1",
                             "C1CC1",
                             "CC#CC#N",
                             "[NH4+]"}) {
    SCOPED_TRACE(smiles);
    const Molecule molecule = FromSmiles(smiles);
    for (Kind kind : kKinds) ExpectAgreement(molecule, kind, 1e-11);
  }
  // A trigonal bipyramid, whose angles UFF treats apart, is beyond MMFF.
  ExpectAgreement(FromSmiles("FP(F)(F)(F)F"), Kind::UFF, 1e-11);
}

TEST(StandardFF, NamesItsComponentsInOrder) {
  const std::vector<std::string> mmff = {"Stretch",
                                         "Bend",
                                         "Stretch-Bend",
                                         "Out-of-Plane",
                                         "Torsion",
                                         "Van der Waals",
                                         "Electrostatics"};
  const std::vector<std::string> uff = {"Stretch", "Bend", "Inversion", "Torsion", "Van der Waals"};
  for (Kind kind : kKinds) {
    QZStandardFF ff(kind);
    EXPECT_EQ(ff.GetTitle(), QZGetForceFieldName(kind));
    std::vector<std::string> names;
    for (auto& component : QZSystem::QZRange(ff.GetFComponents(nullptr))) {
      names.emplace_back(component.GetName());
      EXPECT_EQ(component.GetValue(), 0.0);
    }
    EXPECT_EQ(names, kind == Kind::UFF ? uff : mmff);
    Kind found;
    EXPECT_TRUE(QZFindForceField(kind == Kind::UFF ? "uff" : ff.GetTitle().c_str(), found));
    EXPECT_EQ(found, kind);
  }
  Kind untouched = Kind::UFF;
  EXPECT_FALSE(QZFindForceField("mm", untouched));
  EXPECT_FALSE(QZFindForceField(nullptr, untouched));
  EXPECT_EQ(untouched, Kind::UFF);
}

TEST(StandardFF, MeetsTheContractOfAFunction) {
  TestSupport::ContractOptions options;
  options.rigidInvariant = true;
  for (const char* name : {"aspirin", "cyanoalkyne", "water_cluster", "penicillin_g"}) {
    const Molecule molecule = FromData(name);
    std::mt19937 rng(kSeed);
    const auto x = TestSupport::Jittered(TestSupport::Coords(molecule.mol), 0.05, rng);
    for (Kind kind : kKinds) {
      EXPECT_EQ(TestSupport::CheckContract(
                    [&] { return new QZStandardFF(kind); }, molecule.mol, x, options),
                "")
          << name << " " << QZGetForceFieldName(kind);
    }
  }
}

TEST(ForceFieldTerm, MeetsTheContractOfAFunctionTermByTerm) {
  const Molecule molecule = FromData("penicillin_g");
  TestSupport::ContractOptions options;
  options.rigidInvariant = true;
  std::mt19937 rng(kSeed);
  const auto x = TestSupport::Jittered(TestSupport::Coords(molecule.mol), 0.05, rng);
  for (Kind kind : kKinds) {
    for (Term term : kTerms) {
      QZForceFieldTerm function(kind, term);
      EXPECT_EQ(TestSupport::CheckContract(
                    [&] { return new QZForceFieldTerm(kind, term); }, molecule.mol, x, options),
                "")
          << QZGetForceFieldName(kind) << " " << function.GetName();
      EXPECT_EQ(function.NumVar(), 0u);
      EXPECT_EQ(function(x.data()), 0.0);
    }
  }
}

TEST(StandardFF, SkipsHolesInTheAtomIndices) {
  const Molecule dense = FromData("caffeine");
  const Molecule holed = FromData("caffeine", /*hole=*/true);
  for (Kind kind : kKinds) {
    QZStandardFF a(kind);
    QZStandardFF b(kind);
    ASSERT_TRUE(a.Setup(dense.mol));
    ASSERT_TRUE(b.Setup(holed.mol));
    const auto xa = TestSupport::Coords(dense.mol);
    const auto xb = TestSupport::Coords(holed.mol);
    ASSERT_EQ(b.NumVar(), a.NumVar() + 3);
    std::vector<double> ga(xa.size(), 1.0);
    std::vector<double> gb(xb.size(), 1.0);
    EXPECT_NEAR(a(xa.data(), ga.data()), b(xb.data(), gb.data()), 1e-10);
    ga.insert(ga.begin() + 6, 3, 1.0);
    ASSERT_EQ(ga.size(), gb.size());
    for (std::size_t i = 0; i < ga.size(); ++i) EXPECT_NEAR(ga[i], gb[i], 1e-11) << i;
  }
}

TEST(StandardFF, TakesRestraintsBesideItsTermsAndIntoItsCopies) {
  const Molecule molecule = FromData("butane");
  const auto x = TestSupport::Coords(molecule.mol);
  QZStandardFF ff(Kind::MMFF94);
  TestSupport::ProbeFunc restraint;
  ASSERT_TRUE(ff.Add(restraint, /*own=*/false));
  ASSERT_TRUE(ff.Setup(molecule.mol));
  QZStandardFF plain(Kind::MMFF94);
  ASSERT_TRUE(plain.Setup(molecule.mol));
  EXPECT_NEAR(ff(x.data()), plain(x.data()) + restraint(x.data()), 1e-10);
  QZStandardFF other(Kind::UFF);
  other = ff;
  EXPECT_EQ(other(x.data()), ff(x.data()));
  EXPECT_EQ(other.GetKind(), Kind::MMFF94);
  // Both can be set up again, on another molecule.
  const Molecule water = FromData("water_cluster");
  ASSERT_TRUE(other.Setup(water.mol));
  EXPECT_EQ(other.NumVar(), 54u);
  EXPECT_EQ(ff.NumVar(), 42u);
}

TEST(StandardFF, CopiesRunOnThreadsOfTheirOwn) {
  const Molecule molecule = FromData("imatinib");
  QZStandardFF ff(Kind::MMFF94);
  ASSERT_TRUE(ff.Setup(molecule.mol));
  std::vector<double> x = TestSupport::Coords(molecule.mol);
  constexpr int kSteps = 20;
  const auto walk = [&](QZMolFunc1& f, unsigned int seed) {
    std::mt19937 rng(seed);
    std::vector<double> energies;
    for (int i = 0; i < kSteps; ++i) {
      const auto y = TestSupport::Jittered(x, 0.1, rng);
      std::vector<double> g(y.size(), 0.0);
      energies.push_back(f(y.data(), g.data()));
    }
    return energies;
  };
  const std::vector<double> expected[] = {walk(ff, 1), walk(ff, 2), walk(ff, 3)};
  std::vector<double> found[3];
  {
    std::vector<std::unique_ptr<QZMolFunc1>> copies;
    std::vector<std::jthread> threads;
    for (unsigned int i = 0; i < 3; ++i) {
      copies.emplace_back(i == 0 ? ff.CreateCopy() : copies[i - 1]->CreateCopy());
    }
    ff.Clear();
    for (unsigned int i = 0; i < 3; ++i) {
      threads.emplace_back([&, i] { found[i] = walk(*copies[i], i + 1); });
    }
    threads.clear();
  }
  for (unsigned int i = 0; i < 3; ++i) EXPECT_EQ(found[i], expected[i]);
}

TEST(StandardFF, ParametrisesMoleculesOnSeveralThreadsAtOnce) {
  const Molecule molecule = FromData("aspirin");
  const auto x = TestSupport::Coords(molecule.mol);
  double energies[4];
  {
    std::vector<std::jthread> threads;
    for (double& energy : energies) {
      threads.emplace_back([&] {
        QZStandardFF ff(Kind::MMFF94s);
        energy = ff.Setup(molecule.mol) ? ff(x.data()) : std::nan("");
      });
    }
  }
  for (double energy : energies) EXPECT_EQ(energy, energies[0]);
}

TEST(StandardFF, SaysWhyItCannotBeUsed) {
  const auto warning = [](const QZChem::QZGraphMol& mol, Kind kind) {
    TestSupport::MessageCapture capture;
    QZStandardFF ff(kind);
    EXPECT_FALSE(ff.Setup(mol));
    EXPECT_EQ(ff.NumVar(), 0u);
    EXPECT_EQ(capture.Warnings().size(), 1u);
    return capture.Warnings().empty() ? std::string() : capture.Warnings()[0];
  };
  QZChem::QZGraphMol borane;
  for (int i = 0; i < 4; ++i) {
    borane.AddAtom(i == 1 ? 5 : 9, 1.3 * std::cos(i * 1.7) * (i != 1), i == 2 ? 1.3 : 0.0, 0.1 * i);
  }
  for (unsigned int i : {0u, 2u, 3u}) borane.AddBond(borane.GetAtom(1), borane.GetAtom(i));
  EXPECT_NE(warning(borane, Kind::MMFF94).find("atom B 2"), std::string::npos);

  QZChem::QZGraphMol dummy;
  dummy.AddAtom(0, 0.0, 0.0, 0.0);
  EXPECT_NE(warning(dummy, Kind::UFF).find("atom * 1"), std::string::npos);

  EXPECT_NE(warning(QZChem::QZGraphMol(), Kind::UFF).find("no atoms"), std::string::npos);
  EXPECT_NE(warning(TestSupport::CarbonChain(4), Kind::MMFF94).find("lacks hydrogens"),
            std::string::npos);

  QZChem::QZGraphMol collapsed = FromData("butane").mol;
  std::vector<double> x(3 * collapsed.AtomIndexBound(), 0.0);
  collapsed.SetCoords(x.data());
  EXPECT_NE(warning(collapsed, Kind::MMFF94).find("3D"), std::string::npos);
  for (std::size_t i = 0; i < x.size(); i += 3) x[i] = 0.7 * static_cast<double>(i);
  collapsed.SetCoords(x.data());
  EXPECT_NE(warning(collapsed, Kind::MMFF94).find("3D"), std::string::npos);
  x[1] = std::nan("");
  collapsed.SetCoords(x.data());
  EXPECT_NE(warning(collapsed, Kind::MMFF94).find("3D"), std::string::npos);

  QZChem::QZGraphMol pentavalent = FromData("butane").mol;
  for (int i = 0; i < 2; ++i) {
    pentavalent.AddBond(pentavalent.GetAtom(0), pentavalent.AddAtom(9, 9.0, 9.0, 9.0 + i));
  }
  EXPECT_NE(warning(pentavalent, Kind::MMFF94).find("chemistry"), std::string::npos);
}

TEST(StandardFF, StaysFiniteOnAtomsInOnePlace) {
  const Molecule molecule = FromData("aspirin");
  std::vector<double> x = TestSupport::Coords(molecule.mol);
  for (int k = 0; k < 3; ++k) x[30 + k] = x[k];
  for (int k = 0; k < 3; ++k) x[63 - 3 + k] = x[3 + k];
  for (Kind kind : {Kind::MMFF94, Kind::MMFF94s}) {
    QZStandardFF ff(kind);
    ASSERT_TRUE(ff.Setup(molecule.mol));
    std::vector<double> g(x.size(), 0.0);
    EXPECT_TRUE(std::isfinite(ff(x.data(), g.data())));
    for (double value : g) EXPECT_TRUE(std::isfinite(value));
  }
}

TEST(ForceFieldMemory, GrowsWithThePairs) {
  const std::size_t small = QZEstimateForceFieldMemory(FromData("imatinib").mol);
  EXPECT_GT(small, 68u * 67 / 2 * 80);
  EXPECT_LT(small, 1u << 20);
  QZChem::QZGraphMol large = TestSupport::CarbonChain(10000);
  EXPECT_GT(QZEstimateForceFieldMemory(large), std::size_t{4} << 30);
}

}  // namespace
