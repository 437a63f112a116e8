// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/torsion.h"

#include "coordinates/tree/bound.h"

namespace {

using namespace TestOptVars;
using QZMolPotential::QZTorsionAdaptor;
using TestSupport::CheckDerivatives;
using TestSupport::Jittered;
using TestSupport::LargestDifference;

struct Torsions : Bound<QZTorsionAdaptor> {
  explicit Torsions(const char* name) : Bound(TestSupport::DataMolecule(name)) {}
};

// The largest difference of two sets of dihedrals, whole turns apart.
double LargestTurn(Values a, const Values& b) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    a[i] = b[i] + std::remainder(a[i] - b[i], 2.0 * std::numbers::pi);
  }
  return LargestDifference(a, b);
}

TEST(Torsion, CountsRotorsAsAChemistWould) {
  // Single bonds outside rings whose ends both carry another heavy atom; counted by hand.
  for (const auto& [name, count] :
       {std::pair{"butane", 1u}, {"biphenyl", 1u}, {"aspirin", 3u}, {"benzene", 0u}}) {
    EXPECT_EQ(Torsions(name).adaptor.NumOptVar(), count) << name;
  }
  EXPECT_FALSE(QZTorsionAdaptor().Setup(QZChem::QZGraphMol()));
}

TEST(Torsion, TurnsWhatIsAskedAndKeepsEveryBondAndAngle) {
  std::mt19937 rng(17);
  for (const char* name : {"imatinib", "decapeptide"}) {
    SCOPED_TRACE(std::string(name) + ", seed 17");
    Torsions b(name);
    EXPECT_LE(LargestDifference(b.Coords(b.vars), b.x), 1e-12);
    const auto asked = Jittered(b.vars, 2.0, rng);
    const auto x = b.Coords(asked);
    EXPECT_LE(LargestTurn(b.Vars(x), asked), 1e-9);
    auto turned = b.mol;
    turned.SetCoords(x.data());
    const auto expectKept = [&](const QZChem::QZAtomBase& a, const QZChem::QZAtomBase& c) {
      const auto* a2 = turned.GetAtom(a.GetIndex());
      const auto* c2 = turned.GetAtom(c.GetIndex());
      EXPECT_NEAR(
          QZChem::QZGetDistance(turned, a2, c2), QZChem::QZGetDistance(b.mol, &a, &c), 1e-9);
    };
    for (const auto& atom : QZSystem::QZRange(b.mol.GetAtoms())) {
      for (auto& u : QZSystem::QZRange(atom.GetNeighbours())) {
        expectKept(atom, u);
        for (auto& v : QZSystem::QZRange(atom.GetNeighbours())) expectKept(u, v);
      }
    }
  }
}

TEST(Torsion, OneTorsionMovesTheSmallerSideAlone) {
  Torsions b("decapeptide");
  for (std::size_t k = 0; k < b.vars.size(); ++k) {
    auto asked = b.vars;
    asked[k] += 0.7;
    const auto x = b.Coords(asked);
    std::size_t moved = 0;
    for (std::size_t i = 0; i < x.size(); i += 3) {
      moved += std::hypot(x[i] - b.x[i], x[i + 1] - b.x[i + 1], x[i + 2] - b.x[i + 2]) > 1e-9;
    }
    EXPECT_GE(moved, 1u) << k;
    EXPECT_LT(moved, (b.mol.NumAtoms() + 1) / 2) << "the atom on the axis does not move; " << k;
    EXPECT_LE(LargestTurn(b.Vars(x), asked), 1e-9) << k;
  }
}

TEST(Torsion, GradientIsThatOfTheEnergyAlongEachTorsion) {
  std::mt19937 rng(23);
  for (const char* name : {"butane", "aspirin", "imatinib", "decapeptide"}) {
    Torsions b(name);
    EXPECT_EQ(CheckDerivatives(b.function, b.vars), "") << name;
    EXPECT_EQ(CheckDerivatives(b.function, Jittered(b.vars, 1.0, rng)), "") << name;
  }
}

TEST(Torsion, FixedAtomsStayPutWhereverTheyAre) {
  std::mt19937 rng(29);
  Torsions b("imatinib");
  const unsigned int all = b.adaptor.NumOptVar();
  std::uniform_int_distribution<unsigned int> anyAtom(0, b.mol.NumAtoms() - 1);
  for (unsigned int round = 0; round < 40; ++round) {
    SCOPED_TRACE("seed 29, round " + std::to_string(round));
    const unsigned int count = 1 + round % 3;
    std::vector<int> fixed(b.mol.NumAtoms(), 0);
    for (unsigned int i = 0; i < count; ++i) fixed[anyAtom(rng)] = -1;
    int* entries = fixed.data();
    b.adaptor.FixAtoms(entries);
    EXPECT_TRUE(count > 1 || b.adaptor.NumOptVar() == all) << "one atom cannot be on both sides";
    const auto asked = Jittered(b.Vars(b.x), 1.5, rng);
    const auto x = b.Coords(asked);
    for (std::size_t i = 0; i < x.size(); ++i) {
      EXPECT_TRUE(fixed[i / 3] == 0 || std::abs(x[i] - b.x[i]) <= 1e-12);
    }
    EXPECT_LE(LargestTurn(b.Vars(x), asked), 1e-9);
    EXPECT_EQ(CheckDerivatives(b.function, asked), "");
  }
}

TEST(Torsion, AtomsBehindAHoleAreNeverReadOrWritten) {
  auto mol = TestSupport::CarbonChain(7);
  mol.DeleteAtom(mol.GetAtom(0));
  Bound<QZTorsionAdaptor> b(mol);
  ASSERT_EQ(b.vars.size(), 3u);
  auto hidden = b.x;
  std::fill(hidden.end() - 3, hidden.end(), std::nan(""));
  EXPECT_EQ(b.Vars(hidden), b.vars);
  auto back = hidden;
  b.adaptor.OptVarToFuncVar(b.vars.data(), back.data());
  EXPECT_TRUE(std::isnan(back.back()));
}

TEST(Torsion, CopiesAreIndependentAndSetupStartsAfresh) {
  Torsions b("aspirin");
  QZTorsionAdaptor copy(b.adaptor);
  Values x(b.x.size());
  Values kept(b.vars.size());
  copy.OptVarToFuncVar(Values(b.vars.size(), 1.0).data(), x.data());
  b.adaptor.GetAdaptedVariables(kept.data());
  EXPECT_EQ(kept, b.vars);
  ASSERT_TRUE(copy.Setup(b.mol));
  copy.GetAdaptedVariables(kept.data());
  EXPECT_EQ(kept, b.vars);
}

}  // namespace
