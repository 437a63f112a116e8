// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/capture.h"
#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZChem;
using namespace TestSupport;
using QZSystem::QZRange;
using Indices = std::vector<unsigned int>;

Indices Take(QZSystem::QZIterBase<QZAtomBase>* atoms) {
  Indices indices;
  for (const auto& atom : QZRange(atoms)) indices.push_back(atom.GetIndex());
  return indices;
}

// Every atom knows its bonds and every bond its ends, all within `mol`.
void ExpectConsistent(const QZMolBase& mol) {
  unsigned int ends = 0;
  for (const auto& atom : QZRange(mol.GetAtoms())) {
    EXPECT_EQ(&atom.GetMol(), &mol);
    EXPECT_EQ(mol.GetAtom(atom.GetIndex()), &atom);
    for (const auto& bond : QZRange(atom.GetBonds())) {
      ++ends;
      const QZAtomBase* other = bond.GetNeighbour(&atom);
      EXPECT_EQ(mol.GetBond(bond.GetIndex()), &bond);
      EXPECT_EQ(bond.GetNeighbour(other), &atom);
      EXPECT_EQ(mol.GetAtom(other->GetIndex()), other);
    }
  }
  EXPECT_EQ(ends, 2 * mol.NumBonds());
}

TEST(Mol, DeletionLeavesHolesUntilSweep) {
  QZGraphMol mol = WaterDimer();
  const QZAtomBase* last = mol.GetAtom(5);
  ASSERT_TRUE(mol.DeleteAtom(mol.GetAtom(1)));
  EXPECT_EQ(Take(mol.GetAtoms()), (Indices{0, 2, 3, 4, 5}));
  EXPECT_EQ(mol.GetAtom(1), nullptr);
  EXPECT_EQ(mol.GetAtom(99), nullptr);
  EXPECT_EQ(mol.NumBonds(), 3U);
  EXPECT_EQ(mol.BondIndexBound(), 4U);
  std::vector<double> coords = Coords(mol);
  coords[3] = 7.0;
  mol.SetCoords(coords.data());
  EXPECT_EQ(Coords(mol)[3], 0.0) << "a hole has no place";
  const QZGraphMol copy = mol;
  EXPECT_EQ(copy.AtomIndexBound(), 6U);
  ExpectConsistent(copy);
  mol.Sweep();
  EXPECT_EQ(mol.AtomIndexBound(), 5U);
  EXPECT_EQ(mol.BondIndexBound(), 3U);
  EXPECT_EQ(last->GetIndex(), 4U);
  EXPECT_EQ(last->GetAtomicNumber(), 1U);
  EXPECT_EQ(Coords(mol)[12], coords[15]);
  ExpectConsistent(mol);
}

TEST(Mol, CopyIsDeepAndMoveKeepsAtoms) {
  const unsigned int tag = QZSystem::QZGetTag("test");
  QZGraphMol original = Butane();
  original.GetAtom(2)->SetData(tag, std::string("atom"));
  original.GetBond(0)->SetData(tag, 2.5);
  QZSetSDData(original, "a", "2");
  original.SetEnergy(-3.0);
  QZGraphMol copy(static_cast<const QZMolBase&>(original));
  original.GetAtom(2)->SetData(tag, std::string("changed"));
  original.DeleteAtom(original.GetAtom(0));
  EXPECT_EQ(copy.NumAtoms(), 14U);
  EXPECT_EQ(*copy.GetAtom(2)->GetData<std::string>(tag), "atom");
  EXPECT_EQ(*copy.GetBond(0)->GetData<double>(tag), 2.5);
  EXPECT_EQ(copy.GetBond(0)->GetData<int>(tag), nullptr) << "of another type";
  EXPECT_EQ(QZGetSDData(copy, "a"), "2");
  EXPECT_EQ(copy.GetEnergy(), -3.0);
  ExpectConsistent(copy);

  const QZAtomBase* atom = copy.GetAtom(3);
  QZGraphMol moved = std::move(copy);
  EXPECT_EQ(&atom->GetMol(), &moved);
  ExpectConsistent(moved);
  copy.AddAtom(8);  // NOLINT: a molecule moved from is empty and usable
  EXPECT_EQ(copy.NumAtoms(), 1U);
  moved = static_cast<const QZMolBase&>(original);
  EXPECT_EQ(moved.NumAtoms(), 13U);
  ExpectConsistent(moved);
}

TEST(Mol, RefusesWhatIsNotItsOwn) {
  QZGraphMol mol = Water();
  const QZGraphMol other = Water();
  QZAtomBase* h = mol.GetAtom(1);
  for (QZAtomBase* end : {h, mol.GetAtom(0), other.GetAtom(2), static_cast<QZAtomBase*>(nullptr)}) {
    EXPECT_EQ(mol.AddBond(h, end), nullptr) << "itself, a repeat, a stranger and none";
  }
  EXPECT_EQ(mol.AddBond(h, mol.GetAtom(2), 4), nullptr);
  EXPECT_FALSE(mol.DeleteAtom(other.GetAtom(0)));
  EXPECT_FALSE(mol.DeleteBond(other.GetBond(0)));
  const double place[3] = {1, 2, 3};
  EXPECT_FALSE(mol.SetCoords(other.GetAtom(0), place));
}

TEST(Mol, PerceptionFollowsEditsAndTakesUnusualChemistry) {
  QZGraphMol mol = FromSmiles("CC=CC=CC");
  EXPECT_FALSE(mol.GetBond(1)->IsInRing());
  QZBondBase* closing = mol.AddBond(mol.GetAtom(0), mol.GetAtom(5));
  EXPECT_TRUE(mol.GetBond(1)->IsInRing());
  EXPECT_FALSE(mol.GetBond(1)->IsAromatic());
  const QZGraphMol copy = mol;
  mol.DeleteBond(closing);
  EXPECT_FALSE(mol.GetBond(1)->IsInRing());
  EXPECT_TRUE(copy.GetBond(1)->IsInRing());

  mol = FromSmiles("c1ccccc1C");
  QZAtomBase* carbon = mol.GetAtom(6);
  for (int i = 0; i < 3; ++i) mol.AddBond(carbon, mol.AddAtom(9));
  mol.AddAtom(150);
  EXPECT_TRUE(mol.GetBond(0)->IsAromatic()) << "beside a carbon with seven bonds";
  EXPECT_FALSE(QZLacksHydrogens(mol));
  mol.DeleteAtom(mol.GetAtom(0));
  EXPECT_FALSE(mol.GetBond(2)->IsAromatic());
}

// The walk in step against the definition, on random trees and rings; ties go to the end atom.
TEST(Topology, SubtreesAreBreadthFirstAndTheSmallerSideIsThat) {
  const QZGraphMol branched = FromSmiles("CC(C)CO");
  EXPECT_EQ(Take(QZGetSubtree(branched.GetAtom(1), branched.GetAtom(3), 0)),
            (Indices{1, 0, 2, 8, 5, 6, 7, 9, 10, 11}));
  EXPECT_TRUE(Take(QZGetSubtree(nullptr, branched.GetAtom(1), 0)).empty());
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
    for (const auto& bond : QZRange(mol.GetBonds())) {
      const Indices end = Take(QZGetSubtree(bond.GetEnd(), bond.GetBegin(), 0));
      const Indices begin = Take(QZGetSubtree(bond.GetBegin(), bond.GetEnd(), 0));
      EXPECT_EQ(Take(QZGetSmallestSubtree(&bond, 0)), end.size() <= begin.size() ? end : begin);
    }
  }
}

TEST(Topology, ComponentsAreNumberedInAtomOrder) {
  QZGraphMol mol = WaterDimer();
  mol.AddAtom(11);
  mol.DeleteAtom(mol.GetAtom(0));
  Indices parts(mol.AtomIndexBound(), 99);
  EXPECT_EQ(QZDetermineComponents(mol, parts.data()), 4U);
  EXPECT_EQ(parts, (Indices{0, 1, 2, 3, 3, 3, 4}));
  EXPECT_EQ(QZDetermineComponents(QZGraphMol(), nullptr), 0U);
  const QZInSamePart same(parts.data(), 6, false);
  const QZInSamePart apart(parts.data(), 6, true);
  EXPECT_TRUE(same(*mol.GetAtom(3), *mol.GetAtom(4)) && !same(*mol.GetAtom(3), *mol.GetAtom(1)));
  EXPECT_TRUE(!apart(*mol.GetAtom(3), *mol.GetAtom(4)) && apart(*mol.GetAtom(3), *mol.GetAtom(1)));
  EXPECT_FALSE(same(*mol.GetAtom(6), *mol.GetAtom(6))) << "beyond the table";
}

TEST(Topology, RotorsAreSingleOpenAndNotTerminal) {
  const QZGraphMol mol = FromSmiles("CCOCC1CC1C=CC");
  const std::set<unsigned int> rotors = {1, 2, 3, 6};
  const std::set<unsigned int> withHydrogen = {0, 1, 2, 3, 6, 8};
  for (const auto& bond : QZRange(mol.GetBonds())) {
    EXPECT_EQ(QZIsRotor()(bond), rotors.contains(bond.GetIndex())) << bond.GetIndex();
    EXPECT_EQ(QZIsRotor(false)(bond), withHydrogen.contains(bond.GetIndex())) << bond.GetIndex();
  }
}

TEST(Subset, CopiesAtomsBondsAndDataInOrder) {
  const auto heavy = QZSystem::QZMakeUnaryPredicate<QZAtomBase>(
      [](const QZAtomBase& atom) { return atom.GetAtomicNumber() > 1; });
  QZGraphMol mol = FromSmiles("C[NH2+:7]CC");
  mol.GetAtom(1)->SetData(QZSystem::QZGetTag("test"), 5);
  mol.DeleteAtom(mol.GetAtom(0));
  QZGraphMol part;
  std::vector<QZAtomBase*> atomMap(mol.AtomIndexBound());
  std::vector<QZBondBase*> bondMap(mol.BondIndexBound());
  ASSERT_TRUE(QZSubsetMol(part, mol, heavy, false, false, atomMap.data(), bondMap.data()));
  EXPECT_EQ(Take(part.GetAtoms()), (Indices{0, 1, 2}));
  EXPECT_EQ(part.NumBonds(), 2U);
  EXPECT_EQ(atomMap[0], nullptr);
  ASSERT_EQ(atomMap[1], part.GetAtom(0));
  EXPECT_EQ(bondMap[1], part.GetBond(0));
  EXPECT_EQ(*atomMap[1]->GetData<int>(QZSystem::QZGetTag("test")), 5);
  EXPECT_EQ(atomMap[1]->GetFormalCharge(), 1);
  EXPECT_EQ(atomMap[1]->GetMapIndex(), 0U);
  ASSERT_TRUE(QZSubsetMol(part, mol, heavy, false, true, nullptr, nullptr));
  EXPECT_EQ(part.NumAtoms(), 6U) << "appended";
  EXPECT_EQ(part.GetAtom(3)->GetMapIndex(), 7U);
}

// Targets in pattern order, read when the matches are gone.
std::vector<Indices> Matches(const char* smarts, const QZMolBase& mol, bool unique = true) {
  QZSubSearch search;
  EXPECT_TRUE(search.Init(smarts, false)) << search.GetError();
  std::vector<Indices> targets;
  std::vector<QZAtomPair> pairs;
  for (const auto& match : QZRange(search.Match(mol, unique))) {
    for (const auto& pair : QZRange(match.GetPairs())) pairs.push_back(pair);
  }
  for (const auto& pair : pairs) {
    if (pair.pattern->GetIndex() == 0) targets.emplace_back();
    EXPECT_EQ(pair.pattern->GetIndex(), targets.back().size());
    targets.back().push_back(pair.target->GetIndex());
  }
  return targets;
}

TEST(SubSearch, MatchesInPatternOrderAlsoAcrossHoles) {
  QZGraphMol mol = FromSmiles("CCO");
  EXPECT_EQ(Matches("OCC", mol), (std::vector<Indices>{{2, 1, 0}}));
  mol.DeleteAtom(mol.GetAtom(0));
  EXPECT_EQ(Matches("[OX2][#6]", mol), (std::vector<Indices>{{2, 1}}));
  EXPECT_TRUE(Matches("OCC", mol).empty());
  const QZGraphMol benzene = FromSmiles("c1ccccc1");
  EXPECT_EQ(Matches("c1ccccc1", benzene, false).size(), 12U);
  EXPECT_EQ(Matches("c1ccccc1", benzene).size(), 1U);
  EXPECT_EQ(Matches("[$(c[H])]", benzene).size(), 6U);
  const QZGraphMol chain = CarbonChain(3000);
  EXPECT_EQ(Matches("CC", chain).size(), 2999U) << "more than a thousand";
  EXPECT_EQ(Matches("[CH3]", chain).size(), 2U) << "hydrogens that valence asks for count";
}

TEST(SubSearch, MapNumbersAreThoseOfThePatternsOwnAtoms) {
  const QZGraphMol mol = FromSmiles("CCO");
  QZSubSearch search;
  ASSERT_TRUE(search.Init("[#6;$([#6:7]):2]-[#6:1]", false));
  EXPECT_EQ(search.GetMapIndices(), (Indices{2, 1}));
  EXPECT_TRUE(search.HasMaps(2));
  std::vector<Indices> groups;
  std::string error;
  EXPECT_TRUE(search.MatchMapped(mol, 2, groups, error)) << error;
  EXPECT_EQ(groups, (std::vector<Indices>{{1, 0}}));
  for (const char* smarts : {"[$([C:1][C:2])]", "[C:1][C:1]", "[C:1][C:3]", "[C:1][C:2][O:3]"}) {
    ASSERT_TRUE(search.Init(smarts, false));
    EXPECT_FALSE(search.MatchMapped(mol, 2, groups, error)) << smarts;
  }
}

TEST(SubSearch, PatternsThatExplodeEndAtALimit) {
  const QZGraphMol mol = CarbonChain(60);
  QZSubSearch search;
  MessageCapture messages;
  for (const char* smarts : {"*.*.*.*", "[$(*.*.*.*)]"}) {
    ASSERT_TRUE(search.Init(smarts, false));
    Indices atoms;
    std::string error;
    if (search.MatchAtoms(mol, atoms, error)) continue;  // a recursive one may end at its first
    EXPECT_NE(error.find("1000000 ways"), std::string::npos) << error;
    EXPECT_TRUE(atoms.empty());
    for (const auto& match : QZRange(search.Match(mol, true))) FAIL() << match.NumAtoms();
  }
  EXPECT_EQ(messages.Warnings().size(), 1U);
}

TEST(SubSearch, BadPatternsAndSmilesSayWhyAndChangeNothing) {
  QZGraphMol mol = Water();
  QZSubSearch search;
  for (const char* bad : {"C(", "c1cc", "[Qq]", "", static_cast<const char*>(nullptr)}) {
    ASSERT_TRUE(search.Init("O", false));
    EXPECT_STREQ(search.GetError(), "");
    EXPECT_FALSE(search.Init(bad, false));
    EXPECT_STRNE(search.GetError(), "");
    for (const auto& match : QZRange(search.Match(mol, true))) FAIL() << match.NumAtoms();
    MessageCapture messages;
    EXPECT_FALSE(QZSmilesToMol(mol, bad));
    EXPECT_EQ(messages.Warnings().size(), 1U);
  }
  MessageCapture messages;
  EXPECT_FALSE(QZSmilesToMol(mol, "C(C)(C)(C)(C)C"));
  EXPECT_EQ(mol.NumAtoms(), 3U);
}

}  // namespace
