// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "forcefields/forcefields.h"

#include <ForceField/ForceField.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/ForceFieldHelpers/MMFF/MMFF.h>
#include <GraphMol/ForceFieldHelpers/UFF/UFF.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <thread>

#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZMolPotential;
using namespace TestSupport;
using Kind = QZForceFieldKind;
using Term = QZForceFieldTermKind;

constexpr Kind kKinds[] = {Kind::MMFF94, Kind::MMFF94s, Kind::UFF};
constexpr unsigned int kSeed = 20260301;

// RDKit's own force field of all pairs, on the molecule as it reads it from a file.
struct Reference {
  Reference(const QZChem::QZGraphMol& mol, Kind kind)
      : rdkit(RDKit::MolBlockToMol(Written(mol), /*sanitize=*/true, /*removeHs=*/false)) {
    constexpr double kFar = 1000.0;
    if (kind == Kind::UFF) {
      field.reset(RDKit::UFF::constructForceField(*rdkit, kFar, -1, false));
    } else {
      RDKit::MMFF::MMFFMolProperties types(*rdkit, QZGetForceFieldName(kind));
      EXPECT_TRUE(types.isValid());
      field.reset(RDKit::MMFF::constructForceField(*rdkit, &types, kFar, -1, false));
    }
    field->initialize();
  }
  std::unique_ptr<RDKit::RWMol> rdkit;
  std::unique_ptr<ForceFields::ForceField> field;
};

// Energy and gradient of `ff` against RDKit's at several geometries; the molecule is without holes.
void ExpectAgreement(const QZChem::QZGraphMol& mol, Kind kind, double tolerance) {
  const Reference reference(mol, kind);
  QZStandardFF ff(kind);
  ASSERT_TRUE(ff.Setup(mol));
  std::mt19937 rng(kSeed);
  std::vector<double> x = Coords(mol);
  ASSERT_EQ(ff.NumVar(), x.size());
  for (double amplitude : {0.0, 0.1, 0.5}) {
    x = Jittered(x, amplitude, rng);
    std::vector<double> expected(x.size(), 0.0);
    const double energy = reference.field->calcEnergy(x.data());
    reference.field->calcGrad(x.data(), expected.data());
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
    const auto mol = DataMolecule(name);
    ExpectAgreement(mol, Kind::MMFF94, 1e-11);
    ExpectAgreement(mol, Kind::MMFF94s, 1e-11);
    // RDKit ends UFF's pairs at ten times their minimum distance.
    ExpectAgreement(mol, Kind::UFF, name == "decapeptide" ? 1e-7 : 1e-11);
  }
}

TEST(StandardFF, AgreesWithRDKitOnUnusualChemistry) {
  std::istringstream all(
      "C1=CC1C(=O)[O-] CN=[N+]=[N-] C=C=C C[N+](C)(C)CC(=O)[O-] O=S(=O)(N)c1ccc(N)cc1 "
      "c1ccc2[nH]ccc2c1 CC#CC#N [NH4+]");
  for (std::string smiles; all >> smiles;) {
    SCOPED_TRACE(smiles);
    const auto mol = FromSmiles(smiles, /*embed=*/true);
    for (Kind kind : kKinds) ExpectAgreement(mol, kind, 1e-11);
  }
  // A trigonal bipyramid, whose angles UFF treats apart, is beyond MMFF.
  ExpectAgreement(FromSmiles("FP(F)(F)(F)F", /*embed=*/true), Kind::UFF, 1e-11);
}

TEST(StandardFF, MeetsTheContractOfAFunctionAlsoTermByTerm) {
  for (const char* name : {"cyanoalkyne", "water_cluster", "penicillin_g"}) {
    const auto mol = DataMolecule(name);
    std::mt19937 rng(kSeed);
    const auto x = Jittered(Coords(mol), 0.05, rng);
    for (Kind kind : kKinds) {
      SCOPED_TRACE(std::string(name) + " " + QZGetForceFieldName(kind));
      const auto check = [&](auto make) { return CheckContract(make, mol, x); };
      EXPECT_EQ(check([&] { return new QZStandardFF(kind); }), "");
      for (int term = 0; term < 7; ++term) {
        EXPECT_EQ(check([&] { return new QZForceFieldTerm(kind, static_cast<Term>(term)); }), "")
            << "term " << term;
      }
    }
  }
}

// Thirty molecules far apart have thirty times the terms of one: nothing stops counting.
TEST(StandardFF, LeavesNoTermOfLargeMoleculesOut) {
  const auto one = DataMolecule("decapeptide");
  constexpr unsigned int kCopies = 30;
  QZChem::QZGraphMol many;
  for (unsigned int copy = 0; copy < kCopies; ++copy) {
    std::vector<QZChem::QZAtomBase*> atoms;
    for (const auto& atom : QZSystem::QZRange(one.GetAtoms())) {
      double p[3];
      one.GetCoords(&atom, p);
      atoms.push_back(many.AddAtom(atom.GetAtomicNumber(), p[0], p[1] + 1e4 * copy, p[2]));
      atoms.back()->SetFormalCharge(atom.GetFormalCharge());
    }
    for (const auto& bond : QZSystem::QZRange(one.GetBonds())) {
      many.AddBond(
          atoms[bond.GetBegin()->GetIndex()], atoms[bond.GetEnd()->GetIndex()], bond.GetOrder());
    }
  }
  const std::vector<double> x = Coords(one);
  const std::vector<double> all = Coords(many);
  for (Kind kind : kKinds) {
    QZStandardFF a(kind);
    QZStandardFF b(kind);
    b.SetCutoff(100.0);
    ASSERT_TRUE(a.Setup(one) && b.Setup(many));
    std::map<std::string, double> expected;
    for (auto& term : QZSystem::QZRange(a.GetFComponents(x.data()))) {
      expected[term.GetName()] = kCopies * term.GetValue();
    }
    for (auto& term : QZSystem::QZRange(b.GetFComponents(all.data()))) {
      const std::string name = term.GetName();
      if (name == "Van der Waals" || name == "Electrostatics") continue;  // cut off in one
      EXPECT_NEAR(term.GetValue(), expected[name], 1e-6 * std::abs(expected[name])) << name;
    }
  }
}

TEST(StandardFF, SkipsHolesInTheAtomIndices) {
  const auto dense = DataMolecule("caffeine");
  auto holed = Water();
  ASSERT_TRUE(QZChem::QZSubsetMol(
      holed, dense, QZSystem::QZUnaryTrue<QZChem::QZAtomBase>(), false, true, nullptr, nullptr));
  for (unsigned int i = 0; i < 3; ++i) holed.DeleteAtom(holed.GetAtom(i));
  for (Kind kind : kKinds) {
    QZStandardFF a(kind);
    QZStandardFF b(kind);
    ASSERT_TRUE(a.Setup(dense) && b.Setup(holed));
    ASSERT_EQ(b.NumVar(), a.NumVar() + 9);
    std::vector<double> ga(a.NumVar(), 1.0);
    std::vector<double> gb(b.NumVar(), 1.0);
    EXPECT_NEAR(a(Coords(dense).data(), ga.data()), b(Coords(holed).data(), gb.data()), 1e-10);
    ga.insert(ga.begin(), 9, 1.0);
    for (std::size_t i = 0; i < gb.size(); ++i) EXPECT_NEAR(ga[i], gb[i], 1e-11) << i;
  }
}

TEST(StandardFF, TakesRestraintsBesideItsTermsAndIntoItsCopies) {
  const auto mol = DataMolecule("butane");
  const auto x = Coords(mol);
  QZStandardFF plain(Kind::MMFF94);
  QZStandardFF ff(Kind::MMFF94);
  ProbeFunc restraint;
  ASSERT_TRUE(ff.Add(restraint, /*own=*/false));
  ASSERT_TRUE(plain.Setup(mol) && ff.Setup(mol));
  EXPECT_NEAR(ff(x.data()), plain(x.data()) + restraint(x.data()), 1e-10);
  QZStandardFF other(Kind::UFF);
  other = ff;
  EXPECT_EQ(other(x.data()), ff(x.data()));
  EXPECT_EQ(other.GetKind(), Kind::MMFF94);
  ASSERT_TRUE(other.Setup(DataMolecule("water_cluster")));
  EXPECT_EQ(other.NumVar(), 54u);
  EXPECT_EQ(ff.NumVar(), 42u);
}

TEST(StandardFF, KeepsItsVariablesAndDestroysOwnedFunctionsWithoutHessian) {
  auto mol = DataMolecule("butane");
  const auto x = Coords(mol);
  QZStandardFF ff(Kind::MMFF94);
  ProbeFunc kept;
  const int living = ProbeFunc::Living();
  ASSERT_TRUE(ff.Add(static_cast<QZMolFunc1&>(kept), /*own=*/false));
  ASSERT_TRUE(ff.Add(*new ProbeFunc, /*own=*/true));
  EXPECT_EQ(ProbeFunc::Living(), living + 1);
  {
    QZStandardFF doomed(Kind::UFF);
    ASSERT_TRUE(doomed.Add(static_cast<QZMolFunc1&>(*new ProbeFunc), /*own=*/true));
    EXPECT_EQ(ProbeFunc::Living(), living + 1);
  }
  ASSERT_TRUE(ff.Setup(mol));
  EXPECT_EQ(CheckDerivatives(ff, x), "");
  // Restraints count atoms; the force field's variables include holes, also behind the last atom.
  mol.DeleteAtom(mol.AddAtom(2));
  ASSERT_TRUE(ff.Setup(mol));
  EXPECT_EQ(ff.NumVar(), 45u);
}

TEST(StandardFF, IsSetUpAndItsCopiesRunOnThreadsOfTheirOwn) {
  const auto mol = DataMolecule("imatinib");
  const auto x = Coords(mol);
  const auto walk = [&](QZMolFunc1& f) {
    std::mt19937 rng(kSeed);
    std::vector<double> energies;
    for (int i = 0; i < 20; ++i) {
      const auto y = Jittered(x, 0.1, rng);
      std::vector<double> g(y.size(), 0.0);
      energies.push_back(f(y.data(), g.data()));
    }
    return energies;
  };
  QZStandardFF ff(Kind::MMFF94);
  ASSERT_TRUE(ff.Setup(mol));
  const std::vector<double> expected = walk(ff);
  std::vector<double> found[4];
  {
    std::vector<std::jthread> threads;
    for (auto& result : found) {
      const bool anew = &result < found + 2;
      const std::shared_ptr<QZMolFunc1> f(anew ? new QZStandardFF(Kind::MMFF94) : ff.CreateCopy());
      threads.emplace_back([&, anew, f] {
        if (!anew || f->Setup(mol)) result = walk(*f);
      });
    }
    ff.Clear();
  }
  for (const auto& energies : found) EXPECT_EQ(energies, expected);
}

TEST(StandardFF, SaysWhyItCannotBeUsed) {
  const auto expectWarning = [](const QZChem::QZGraphMol& mol, Kind kind, const char* reason) {
    SCOPED_TRACE(reason);
    MessageCapture capture;
    QZStandardFF ff(kind);
    EXPECT_FALSE(ff.Setup(mol));
    EXPECT_EQ(ff.NumVar(), 0u);
    ASSERT_EQ(capture.Warnings().size(), 1u);
    EXPECT_NE(capture.Warnings()[0].find(reason), std::string::npos) << capture.Warnings()[0];
  };
  // Without the mark of a 3D record, which would vouch for a line.
  const auto butane = ReadOne(Replaced(Written(DataMolecule("butane")), "3D", "  "));
  expectWarning(FromSmiles("FB(F)F", /*embed=*/true), Kind::MMFF94, "atom B 2");
  QZChem::QZGraphMol dummy;
  dummy.AddAtom(0, 0.0, 0.0, 0.0);
  expectWarning(dummy, Kind::UFF, "atom * 1");
  expectWarning(QZChem::QZGraphMol(), Kind::UFF, "no atoms");
  expectWarning(CarbonChain(4), Kind::MMFF94, "lacks hydrogens");
  QZChem::QZGraphMol pentavalent = butane;
  for (int i = 0; i < 2; ++i) {
    pentavalent.AddBond(pentavalent.GetAtom(0), pentavalent.AddAtom(9, 9.0, 9.0, 9.0 + i));
  }
  expectWarning(pentavalent, Kind::MMFF94, "chemistry");

  const std::vector<double> collapsed(42, 0.0);
  std::vector<double> line = collapsed;
  for (std::size_t i = 0; i < 42; i += 3) line[i] = 0.7 * static_cast<double>(i);
  std::vector<double> broken = Coords(butane);
  broken[1] = std::nan("");
  for (const auto& x : {collapsed, line, broken}) {
    QZChem::QZGraphMol mol = butane;
    mol.SetCoords(x.data());
    expectWarning(mol, Kind::MMFF94, "3D");
  }
}

TEST(StandardFF, StaysFiniteOnAtomsInOnePlace) {
  const auto mol = DataMolecule("aspirin");
  std::vector<double> x = Coords(mol);
  std::copy_n(x.begin(), 3, x.begin() + 30);
  std::copy_n(x.begin() + 3, 3, x.begin() + 60);
  for (Kind kind : {Kind::MMFF94, Kind::MMFF94s}) {
    QZStandardFF ff(kind);
    ASSERT_TRUE(ff.Setup(mol));
    std::vector<double> g(x.size(), 0.0);
    EXPECT_TRUE(std::isfinite(ff(x.data(), g.data())));
    for (double value : g) EXPECT_TRUE(std::isfinite(value));
  }
}

}  // namespace
