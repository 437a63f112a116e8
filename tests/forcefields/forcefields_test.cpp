// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "forcefields/forcefields.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <sstream>
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
constexpr unsigned int kSeed = 20260301;

std::vector<double> Moved(const Molecule& molecule) {
  std::mt19937 rng(kSeed);
  return TestSupport::Jittered(TestSupport::Coords(molecule.mol), 0.05, rng);
}

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
  std::istringstream names(
      "aspirin caffeine cyanoalkyne decapeptide glucose imatinib water_cluster");
  for (std::string name; names >> name;) {
    SCOPED_TRACE(name);
    const Molecule molecule = FromData(name);
    ExpectAgreement(molecule, Kind::MMFF94, 1e-11);
    ExpectAgreement(molecule, Kind::MMFF94s, 1e-11);
    // RDKit ends UFF's pairs at ten times their minimum distance.
    ExpectAgreement(molecule, Kind::UFF, name == "decapeptide" ? 1e-7 : 1e-11);
  }
}

TEST(StandardFF, AgreesWithRDKitOnUnusualChemistry) {
  std::istringstream all(
      "C1=CC1C(=O)[O-] CN=[N+]=[N-] C=C=C C[N+](C)(C)CC(=O)[O-] O=S(=O)(N)c1ccc(N)cc1 "
      "c1ccc2[nH]ccc2c1 CC#CC#N [NH4+]");
  for (std::string smiles; all >> smiles;) {
    SCOPED_TRACE(smiles);
    const Molecule molecule = FromSmiles(smiles);
    for (Kind kind : kKinds) ExpectAgreement(molecule, kind, 1e-11);
  }
  // A trigonal bipyramid, whose angles UFF treats apart, is beyond MMFF.
  ExpectAgreement(FromSmiles("FP(F)(F)(F)F"), Kind::UFF, 1e-11);
}

TEST(StandardFF, MeetsTheContractOfAFunctionAlsoTermByTerm) {
  TestSupport::ContractOptions options;
  options.rigidInvariant = true;
  for (const char* name : {"cyanoalkyne", "water_cluster", "penicillin_g"}) {
    const Molecule molecule = FromData(name);
    const auto x = Moved(molecule);
    for (Kind kind : kKinds) {
      SCOPED_TRACE(std::string(name) + " " + QZGetForceFieldName(kind));
      const auto check = [&](auto make) {
        return TestSupport::CheckContract(make, molecule.mol, x, options);
      };
      EXPECT_EQ(check([&] { return new QZStandardFF(kind); }), "");
      for (int term = 0; term < 7; ++term) {
        EXPECT_EQ(check([&] { return new QZForceFieldTerm(kind, static_cast<Term>(term)); }), "")
            << "term " << term;
      }
    }
  }
}

TEST(StandardFF, SkipsHolesInTheAtomIndices) {
  const Molecule dense = FromData("caffeine");
  const Molecule holed = FromData("caffeine", /*hole=*/true);
  for (Kind kind : kKinds) {
    QZStandardFF a(kind);
    QZStandardFF b(kind);
    ASSERT_TRUE(a.Setup(dense.mol) && b.Setup(holed.mol));
    ASSERT_EQ(b.NumVar(), a.NumVar() + 3);
    std::vector<double> ga(a.NumVar(), 1.0);
    std::vector<double> gb(b.NumVar(), 1.0);
    EXPECT_NEAR(a(TestSupport::Coords(dense.mol).data(), ga.data()),
                b(TestSupport::Coords(holed.mol).data(), gb.data()),
                1e-10);
    ga.insert(ga.begin() + 6, 3, 1.0);
    for (std::size_t i = 0; i < gb.size(); ++i) EXPECT_NEAR(ga[i], gb[i], 1e-11) << i;
  }
}

TEST(StandardFF, TakesRestraintsBesideItsTermsAndIntoItsCopies) {
  const Molecule molecule = FromData("butane");
  const auto x = TestSupport::Coords(molecule.mol);
  QZStandardFF plain(Kind::MMFF94);
  QZStandardFF ff(Kind::MMFF94);
  TestSupport::ProbeFunc restraint;
  ASSERT_TRUE(ff.Add(restraint, /*own=*/false));
  ASSERT_TRUE(plain.Setup(molecule.mol) && ff.Setup(molecule.mol));
  EXPECT_NEAR(ff(x.data()), plain(x.data()) + restraint(x.data()), 1e-10);
  QZStandardFF other(Kind::UFF);
  other = ff;
  EXPECT_EQ(other(x.data()), ff(x.data()));
  EXPECT_EQ(other.GetKind(), Kind::MMFF94);
  ASSERT_TRUE(other.Setup(FromData("water_cluster").mol));
  EXPECT_EQ(other.NumVar(), 54u);
  EXPECT_EQ(ff.NumVar(), 42u);
}

TEST(StandardFF, IsSetUpAndItsCopiesRunOnThreadsOfTheirOwn) {
  const Molecule molecule = FromData("imatinib");
  const auto x = TestSupport::Coords(molecule.mol);
  const auto walk = [&](QZMolFunc1& f) {
    std::mt19937 rng(kSeed);
    std::vector<double> energies;
    for (int i = 0; i < 20; ++i) {
      const auto y = TestSupport::Jittered(x, 0.1, rng);
      std::vector<double> g(y.size(), 0.0);
      energies.push_back(f(y.data(), g.data()));
    }
    return energies;
  };
  QZStandardFF ff(Kind::MMFF94);
  ASSERT_TRUE(ff.Setup(molecule.mol));
  const std::vector<double> expected = walk(ff);
  std::vector<double> found[4];
  {
    std::vector<std::jthread> threads;
    for (auto& result : found) {
      const bool anew = &result < found + 2;
      const std::shared_ptr<QZMolFunc1> f(anew ? new QZStandardFF(Kind::MMFF94) : ff.CreateCopy());
      threads.emplace_back([&, anew, f] {
        if (!anew || f->Setup(molecule.mol)) result = walk(*f);
      });
    }
    ff.Clear();
  }
  for (const auto& energies : found) EXPECT_EQ(energies, expected);
}

TEST(StandardFF, SaysWhyItCannotBeUsed) {
  const auto expectWarning = [](const QZChem::QZGraphMol& mol, Kind kind, const char* reason) {
    SCOPED_TRACE(reason);
    TestSupport::MessageCapture capture;
    QZStandardFF ff(kind);
    EXPECT_FALSE(ff.Setup(mol));
    EXPECT_EQ(ff.NumVar(), 0u);
    ASSERT_EQ(capture.Warnings().size(), 1u);
    EXPECT_NE(capture.Warnings()[0].find(reason), std::string::npos) << capture.Warnings()[0];
  };
  const auto butane = FromData("butane").mol;
  expectWarning(FromSmiles("FB(F)F").mol, Kind::MMFF94, "atom B 2");
  QZChem::QZGraphMol dummy;
  dummy.AddAtom(0, 0.0, 0.0, 0.0);
  expectWarning(dummy, Kind::UFF, "atom * 1");
  expectWarning(QZChem::QZGraphMol(), Kind::UFF, "no atoms");
  expectWarning(TestSupport::CarbonChain(4), Kind::MMFF94, "lacks hydrogens");
  QZChem::QZGraphMol pentavalent = butane;
  for (int i = 0; i < 2; ++i) {
    pentavalent.AddBond(pentavalent.GetAtom(0), pentavalent.AddAtom(9, 9.0, 9.0, 9.0 + i));
  }
  expectWarning(pentavalent, Kind::MMFF94, "chemistry");

  const std::vector<double> collapsed(42, 0.0);
  std::vector<double> line = collapsed;
  for (std::size_t i = 0; i < 42; i += 3) line[i] = 0.7 * static_cast<double>(i);
  std::vector<double> broken = TestSupport::Coords(butane);
  broken[1] = std::nan("");
  for (const auto& x : {collapsed, line, broken}) {
    QZChem::QZGraphMol mol = butane;
    mol.SetCoords(x.data());
    expectWarning(mol, Kind::MMFF94, "3D");
  }
}

TEST(StandardFF, StaysFiniteOnAtomsInOnePlace) {
  const Molecule molecule = FromData("aspirin");
  std::vector<double> x = TestSupport::Coords(molecule.mol);
  std::copy_n(x.begin(), 3, x.begin() + 30);
  std::copy_n(x.begin() + 3, 3, x.begin() + 60);
  for (Kind kind : {Kind::MMFF94, Kind::MMFF94s}) {
    QZStandardFF ff(kind);
    ASSERT_TRUE(ff.Setup(molecule.mol));
    std::vector<double> g(x.size(), 0.0);
    EXPECT_TRUE(std::isfinite(ff(x.data(), g.data())));
    for (double value : g) EXPECT_TRUE(std::isfinite(value));
  }
}

}  // namespace
