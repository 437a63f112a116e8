// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <set>

#include "forcefields/forcefields.h"
#include "molpotential/subset.h"
#include "qzchem/qzchem.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using namespace TestSupport;
using QZChem::QZAtomBase;
using QZChem::QZBondBase;
using Kind = QZForceFieldKind;
using Term = QZForceFieldTermKind;

constexpr Kind kKinds[] = {Kind::MMFF94, Kind::MMFF94s, Kind::UFF};

auto Bonds(auto f) {
  return QZSystem::QZMakeUnaryPredicate<QZBondBase>(f);
}
auto BondPairs(auto f) {
  return QZSystem::QZMakeBinaryPredicate<QZBondBase, QZBondBase>(f);
}
auto AtomPairs(auto f) {
  return QZSystem::QZMakeBinaryPredicate<QZAtomBase, QZAtomBase>(f);
}

std::vector<double> Components(QZMolFunc1& f, const std::vector<double>& x) {
  std::vector<double> values;
  for (auto& c : QZSystem::QZRange(f.GetFComponents(x.data()))) values.push_back(c.GetValue());
  return values;
}

// With everything switched on that touches a moving atom, the force on moving atoms is the whole
// force, and the energy changes as the whole energy does when only they move.
TEST(Selection, KeepsEverythingThatTouchesAMovingAtom) {
  for (const QZChem::QZGraphMol& mol : {DataMolecule("penicillin_g"),
                                        FromSmiles("C1CC1C=C1CC1", true),
                                        FromSmiles("FP(F)(F)(F)F", true)}) {
    const std::vector<double> x = Coords(mol);
    const std::set<unsigned int> moving = {0, 3, 5};
    for (Kind kind : kKinds) {
      QZStandardFF all(kind);
      if (kind != Kind::UFF && x.size() == 18) continue;  // PF5 has no MMFF type
      ASSERT_TRUE(all.Setup(mol));
      QZStandardFF some(kind);
      QZSubsetAdaptor subset(some, /*own=*/false, /*restrictInteractions=*/true);
      subset.Set(AtomsWhere([&](unsigned int i) { return !moving.contains(i); }), 0x4000);
      ASSERT_TRUE(subset.Setup(mol));
      std::vector<double> gAll(x.size(), 0.0);
      std::vector<double> gSome(x.size(), 0.0);
      const double fixedPart = all(x.data(), gAll.data()) - some(x.data(), gSome.data());
      std::vector<double> y(x);
      for (unsigned int atom : moving) {
        for (unsigned int k = 0; k < 3; ++k) {
          const unsigned int i = 3 * atom + k;
          EXPECT_NEAR(gSome[i], gAll[i], 1e-9 * std::max(1.0, std::abs(gAll[i])));
          y[i] += 0.05 * (k + 1.0);
        }
      }
      EXPECT_NEAR(all(y.data()) - some(y.data()), fixedPart, 1e-9 * std::abs(all(y.data())));
      if (x.size() > 60) {
        EXPECT_GT(std::abs(fixedPart), 1e-3);
      }
    }
  }
}

TEST(Selection, EveryTermTakesItsOwnBitAndNoOther) {
  const auto mol = DataMolecule("penicillin_g");
  const std::vector<double> x = Coords(mol);
  const auto never1 = [](const auto&) { return false; };
  const auto never2 = [](const auto&, const auto&) { return false; };
  const unsigned int owners[] = {8, 16, 32, 128, 64, 1, 4};  // by component
  QZStandardFF all(Kind::MMFF94);
  ASSERT_TRUE(all.Setup(mol));
  const std::vector<double> whole = Components(all, x);
  for (unsigned int bit = 1; bit <= 256; bit *= 2) {
    QZStandardFF ff(Kind::MMFF94);
    const bool known = std::ranges::count(owners, bit) == 1;
    bool taken = ff.Set(Bonds(never1), bit);
    EXPECT_EQ(taken, bit == 8);
    taken = ff.Set(AtomsWhere(never1), bit) || taken;
    taken = ff.Set(BondPairs(never2), bit) || taken;
    taken = ff.Set(AtomPairs(never2), bit) || taken;
    EXPECT_EQ(taken, known);
    ASSERT_TRUE(ff.Setup(mol));
    const std::vector<double> values = Components(ff, x);
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_EQ(values[i], owners[i] == bit ? 0.0 : whole[i]) << bit << " " << i;
      EXPECT_NE(whole[i], 0.0);
    }
    ff.ClearPredicates();
    ASSERT_TRUE(ff.Setup(mol));
    EXPECT_EQ(Components(ff, x), whole);
  }
}

// With one pair of atoms or bonds switched on at a time, a term adds up to the whole one. The
// predicate knows one order of the pair only.
template <class Item>
void ExpectSumOfPairs(const QZChem::QZGraphMol& mol, Kind kind, Term term, unsigned int bit) {
  std::vector<double> x = Coords(mol);
  x[0] += 0.2;
  QZForceFieldTerm whole(kind, term);
  ASSERT_TRUE(whole.Setup(mol));
  double sum = 0.0;
  std::size_t count = 0;
  for (unsigned int i = 1; i < mol.NumAtoms(); ++i) {
    for (unsigned int j = 0; j < i; ++j) {
      QZForceFieldTerm one(kind, term);
      one.Set(QZSystem::QZMakeBinaryPredicate<Item, Item>([i, j](const Item& a, const Item& b) {
                return a.GetIndex() == i && b.GetIndex() == j;
              }),
              bit);
      ASSERT_TRUE(one.Setup(mol));
      EXPECT_LE(one.NumContributions(), 1u);
      count += one.NumContributions();
      sum += one(x.data());
    }
  }
  EXPECT_EQ(count, whole.NumContributions());
  EXPECT_NEAR(sum, whole(x.data()), 1e-10);
  EXPECT_NE(sum, 0.0);
}

// Also in a ring of three, where every pair of bonds is an angle.
TEST(Selection, ContributionsAddUpPairByPair) {
  const auto waters = DataMolecule("water_cluster");
  const auto ring = FromSmiles("C1CC1", /*embed=*/true);
  for (Kind kind : kKinds) {
    ExpectSumOfPairs<QZBondBase>(ring, kind, Term::Bend, QZCategoryBend);
    ExpectSumOfPairs<QZAtomBase>(waters, kind, Term::VanDerWaals, QZCategoryAtomPairs);
  }
  ExpectSumOfPairs<QZAtomBase>(waters, Kind::MMFF94, Term::Electrostatics, QZCategoryAtomPairs);
}

// One by one, interactions add up to their term, and moving an atom changes those of its own only.
TEST(Interactions, AreThoseOfTheirAtomsAndAddUpToTheTerms) {
  auto mol = FromSmiles("CC(=O)Nc1ccccc1", /*embed=*/true);
  mol.DeleteAtom(mol.AddAtom(2));
  const auto energies = [&](const QZMolFunc& f, const std::vector<double>& x, unsigned int atom) {
    std::vector<double> elsewhere;  // 0 for those of the atom
    for (const auto& term : QZSystem::QZRange(f.GetInteractions(mol, x.data(), ~0U))) {
      bool touches = false;
      for (auto& a : QZSystem::QZRange(term.GetAtoms())) touches |= a.GetIndex() == atom;
      elsewhere.push_back(touches ? 0.0 : term.GetValues(nullptr));
    }
    return elsewhere;
  };
  const std::vector<double> x = Coords(mol);
  for (Kind kind : kKinds) {
    QZStandardFF ff(kind);
    ASSERT_TRUE(ff.Set(AtomsWhere([](unsigned int i) { return i < 4; }), 192));
    ASSERT_TRUE(ff.Setup(mol));
    const auto all = energies(ff, x, 999);
    EXPECT_NEAR(std::accumulate(all.begin(), all.end(), 0.0), ff(x.data()), 1e-9);
    std::size_t count = 0;
    for (const QZMolFunc2* f : ff.GetComponentPotentials()) {
      const auto& term = dynamic_cast<const QZForceFieldTerm&>(*f);
      count += term.NumContributions();
      EXPECT_EQ(energies(term, x, 999).size(), term.NumContributions());
    }
    EXPECT_EQ(all.size(), count);
    for (unsigned int atom = 0; atom < mol.NumAtoms(); ++atom) {
      auto moved = x;
      moved[3 * atom + 1] += 0.2;
      EXPECT_EQ(energies(ff, moved, atom), energies(ff, x, atom)) << atom;
      EXPECT_NE(energies(ff, moved, 999), all) << atom;
    }
    const std::unique_ptr<QZSystem::QZIterBase<QZInteraction>> none(
        ff.GetInteractions(mol, x.data(), 256));
    EXPECT_FALSE(none->IsValid());
  }
}

TEST(Selection, TakesEffectAtSetupAndTravelsWithCopies) {
  const auto mol = DataMolecule("butane");
  const std::vector<double> x = Coords(mol);
  QZForceFieldTerm term(Kind::MMFF94, Term::Torsion);
  ASSERT_TRUE(term.Setup(mol));
  const double whole = term(x.data());
  EXPECT_TRUE(term.Set(AtomsWhere([](unsigned int i) { return i == 0; }), 192));
  EXPECT_EQ(term(x.data()), whole);
  QZForceFieldTerm copy(term);
  EXPECT_EQ(copy(x.data()), whole);
  ASSERT_TRUE(copy.Setup(mol));
  ASSERT_TRUE(term.Setup(mol));
  EXPECT_NE(term(x.data()), whole);
  EXPECT_EQ(copy(x.data()), term(x.data()));
}

}  // namespace
