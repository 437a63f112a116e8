// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>
#include <vector>

#include "qzchem/qzchem.h"
#include "support/molecules.h"

namespace {

using namespace QZChem;
using Indices = std::vector<unsigned int>;

Indices Take(QZSystem::QZIterBase<QZAtomBase>* atoms) {
  Indices indices;
  for (const auto& atom : QZSystem::QZRange(atoms)) indices.push_back(atom.GetIndex());
  return indices;
}

auto Heavy() {
  return QZSystem::QZMakeUnaryPredicate<QZAtomBase>(
      [](const QZAtomBase& atom) { return atom.GetAtomicNumber() > 1; });
}

TEST(Topology, SubtreeIsBreadthFirstFromItsRoot) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "CC(C)CO"));
  EXPECT_EQ(Take(QZGetSubtree(mol.GetAtom(1), mol.GetAtom(3), 0)),
            (Indices{1, 0, 2, 8, 5, 6, 7, 9, 10, 11}));
  EXPECT_EQ(Take(QZGetSubtree(mol.GetAtom(3), mol.GetAtom(1), 0)), (Indices{3, 4, 12, 13, 14}));
  EXPECT_EQ(Take(QZGetSubtree(mol.GetAtom(0), nullptr, 0)).size(), 15U);
  EXPECT_TRUE(Take(QZGetSubtree(mol.GetAtom(1), mol.GetAtom(1), 0)).empty());
  EXPECT_TRUE(Take(QZGetSubtree(nullptr, mol.GetAtom(1), 0)).empty());
}

TEST(Topology, SmallerSideIsThatOfTheEndAtomOnATie) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "CCCO"));
  EXPECT_EQ(Take(QZGetSmallestSubtree(mol.GetBond(2), 0)), (Indices{3, 11}));
  EXPECT_EQ(Take(QZGetSmallestSubtree(mol.GetBond(0), 0)), (Indices{0, 4, 5, 6}));
  EXPECT_EQ(Take(QZGetSmallestSubtree(mol.GetBond(1), Heavy(), 0)), (Indices{2, 3}));
  QZGraphMol ethane;
  ASSERT_TRUE(QZSmilesToMol(ethane, "CC"));
  EXPECT_EQ(Take(QZGetSmallestSubtree(ethane.GetBond(0), 0)), (Indices{1, 5, 6, 7}));
}

// The walk in step against the definition, on random trees and rings.
TEST(Topology, SmallerSideMatchesItsDefinition) {
  for (unsigned int seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    const auto below = [&rng](unsigned int n) { return static_cast<unsigned int>(rng() % n); };
    QZGraphMol mol;
    for (unsigned int i = 0; i < 40; ++i) {
      mol.AddAtom(6);
      if (i > 0) mol.AddBond(mol.GetAtom(i), mol.GetAtom(below(i)));
    }
    for (int i = 0; i < 2; ++i) mol.AddBond(mol.GetAtom(below(40)), mol.GetAtom(below(40)));
    for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
      const Indices end = Take(QZGetSubtree(bond.GetEnd(), bond.GetBegin(), 0));
      const Indices begin = Take(QZGetSubtree(bond.GetBegin(), bond.GetEnd(), 0));
      EXPECT_EQ(Take(QZGetSmallestSubtree(&bond, 0)), end.size() <= begin.size() ? end : begin);
    }
  }
}

TEST(Topology, ComponentsAreNumberedInAtomOrder) {
  QZGraphMol mol = TestSupport::WaterDimer();
  mol.AddAtom(11);
  mol.DeleteAtom(mol.GetAtom(0));
  std::vector<unsigned int> parts(mol.AtomIndexBound(), 99);
  EXPECT_EQ(QZDetermineComponents(mol, parts.data()), 4U);
  EXPECT_EQ(parts, (Indices{0, 1, 2, 3, 3, 3, 4}));
  EXPECT_EQ(QZDetermineComponents(QZGraphMol(), nullptr), 0U);
}

TEST(Predicates, PartsAndMembers) {
  QZGraphMol mol = TestSupport::WaterDimer();
  std::vector<unsigned int> parts(mol.AtomIndexBound());
  QZDetermineComponents(mol, parts.data());
  const auto atom = [&mol](unsigned int i) -> const QZAtomBase& { return *mol.GetAtom(i); };
  QZPartPredT<QZAtomBase> inPart(parts.data(), mol.AtomIndexBound());
  EXPECT_FALSE(inPart(atom(0)));
  inPart.SelectPart(2);
  EXPECT_TRUE(inPart(atom(3)) && !inPart(atom(2)));
  const QZInSamePart same(parts.data(), 5, false);
  const QZInSamePart apart(parts.data(), 5, true);
  EXPECT_TRUE(same(atom(0), atom(1)) && !same(atom(0), atom(3)));
  EXPECT_TRUE(!apart(atom(0), atom(1)) && apart(atom(0), atom(3)));
  EXPECT_FALSE(same(atom(5), atom(5))) << "beyond the table";
  const IsMemberPtr<QZAtomBase> member({&atom(1)});
  const QZUnaryToBinaryOr<QZAtomBase> either(member);
  EXPECT_TRUE(either(atom(0), atom(1)) && either(atom(1), atom(0)) && !either(atom(0), atom(2)));
}

TEST(Predicates, RotorsAreSingleOpenAndNotTerminal) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "CCOCC1CC1C=CC"));
  Indices rotors;
  Indices withHydrogen;
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    if (QZIsRotor()(bond)) rotors.push_back(bond.GetIndex());
    if (QZIsRotor(false)(bond)) withHydrogen.push_back(bond.GetIndex());
  }
  EXPECT_EQ(rotors, (Indices{1, 2, 3, 6}));
  EXPECT_EQ(withHydrogen, (Indices{0, 1, 2, 3, 6, 8}));
}

TEST(Subset, CopiesAtomsBondsAndDataInOrder) {
  const unsigned int tag = QZSystem::QZGetTag("subset test");
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "C[NH2+:7]CC"));
  mol.GetAtom(1)->SetData(tag, 5);
  mol.SetTitle("source");
  mol.DeleteAtom(mol.GetAtom(0));
  QZGraphMol part;
  std::vector<QZAtomBase*> atomMap(mol.AtomIndexBound());
  std::vector<QZBondBase*> bondMap(mol.BondIndexBound());
  ASSERT_TRUE(QZSubsetMol(part, mol, Heavy(), false, false, atomMap.data(), bondMap.data()));
  EXPECT_EQ(part.NumAtoms(), 3U);
  EXPECT_EQ(part.NumBonds(), 2U);
  EXPECT_STREQ(part.GetTitle(), "source");
  EXPECT_EQ(atomMap[0], nullptr);
  ASSERT_EQ(atomMap[1], part.GetAtom(0));
  EXPECT_EQ(bondMap[1], part.GetBond(0));
  EXPECT_EQ(*atomMap[1]->GetData<int>(tag), 5);
  EXPECT_EQ(atomMap[1]->GetFormalCharge(), 1);
  EXPECT_EQ(atomMap[1]->GetMapIndex(), 0U);
  const QZSystem::QZUnaryFalse<QZAtomBase> none;
  EXPECT_FALSE(QZSubsetMol(part, mol, none, false, false, nullptr, nullptr));
  ASSERT_TRUE(QZSubsetMol(part, mol, Heavy(), false, true, nullptr, nullptr));
  EXPECT_EQ(part.NumAtoms(), 6U) << "appended";
  EXPECT_EQ(part.GetAtom(3)->GetMapIndex(), 7U);
}

TEST(Subset, CutBondsAreCappedWithHydrogens) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "CC=C"));
  ASSERT_TRUE(QZMakeCoordinates(mol));
  const auto firstTwo = QZSystem::QZMakeUnaryPredicate<QZAtomBase>([](const QZAtomBase& atom) {
    return atom.GetIndex() != 2 && atom.GetIndex() != 7 && atom.GetIndex() != 8;
  });
  QZGraphMol part;
  ASSERT_TRUE(QZSubsetMol(part, mol, firstTwo, true, false, nullptr, nullptr));
  EXPECT_EQ(part.NumAtoms(), 8U);
  EXPECT_FALSE(QZLacksHydrogens(part));
  for (const auto& a : QZSystem::QZRange(part.GetAtoms())) {
    for (const auto& b : QZSystem::QZRange(part.GetAtoms())) {
      if (&a != &b) {
        EXPECT_GT(QZGetDistance(part, &a, &b), 0.9);
      }
    }
  }
}

}  // namespace
