// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qzchem/qzchem.h"
#include "support/capture.h"
#include "support/molecules.h"

namespace {

using namespace QZChem;
using QZSystem::QZRange;
using Indices = std::vector<unsigned int>;

std::vector<Indices> Matches(const char* smarts, const QZMolBase& mol, bool unique) {
  QZSubSearch search;
  EXPECT_TRUE(search.Init(smarts, false)) << search.GetError();
  std::vector<Indices> matches;
  for (const auto& match : QZRange(search.Match(mol, unique))) {
    Indices& atoms = matches.emplace_back();
    unsigned int pattern = 0;
    for (const auto& pair : QZRange(match.GetPairs())) {
      EXPECT_EQ(pair.pattern->GetIndex(), pattern++);
      EXPECT_EQ(mol.GetAtom(pair.target->GetIndex()), pair.target);
      atoms.push_back(pair.target->GetIndex());
    }
  }
  return matches;
}

TEST(SubSearch, MatchesInPatternOrderAlsoAcrossHoles) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "CCO"));
  EXPECT_EQ(Matches("OCC", mol, true), (std::vector<Indices>{{2, 1, 0}}));
  mol.DeleteAtom(mol.GetAtom(0));
  EXPECT_EQ(Matches("[OX2][#6]", mol, true), (std::vector<Indices>{{2, 1}}));
  EXPECT_TRUE(Matches("OCC", mol, true).empty());
}

TEST(SubSearch, UniqueKeepsOneMatchASetOfAtoms) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "c1ccccc1"));
  EXPECT_EQ(Matches("c1ccccc1", mol, false).size(), 12U);
  EXPECT_EQ(Matches("c1ccccc1", mol, true).size(), 1U);
  EXPECT_EQ(Matches("[$(c[H])]", mol, true).size(), 6U);
}

TEST(SubSearch, FindsMoreThanAThousandMatches) {
  const QZGraphMol mol = TestSupport::CarbonChain(3000);
  EXPECT_EQ(Matches("CC", mol, true).size(), 2999U);
}

TEST(SubSearch, HydrogensThatValenceAsksForCount) {
  const QZGraphMol mol = TestSupport::CarbonChain(3);
  EXPECT_EQ(Matches("[CH3]", mol, true).size(), 2U);
}

TEST(SubSearch, PatternAtomsCarryMapNumbersAndOutliveTheMatch) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "CO"));
  QZSubSearch search;
  ASSERT_TRUE(search.Init("[C:4][O:2]", false));
  std::vector<QZAtomPair> pairs;
  for (const auto& match : QZRange(search.Match(mol, true))) {
    for (const auto& pair : QZRange(match.GetPairs())) pairs.push_back(pair);
  }
  ASSERT_EQ(pairs.size(), 2U);
  EXPECT_EQ(pairs[0].pattern->GetMapIndex(), 4U);
  EXPECT_EQ(pairs[1].pattern->GetMapIndex(), 2U);
}

TEST(SubSearch, FailedPatternsSayWhyAndMatchNothing) {
  const QZGraphMol mol = TestSupport::Water();
  QZSubSearch search;
  ASSERT_TRUE(search.Init("O", false));
  for (const char* smarts : {"C(", "[Qq]", "", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(search.Init(smarts, false));
    EXPECT_FALSE(search.IsValid());
    EXPECT_STRNE(search.GetError(), "");
    for (const auto& match : QZRange(search.Match(mol, true))) FAIL() << match.NumAtoms();
  }
  EXPECT_FALSE(search.Init("C(", false));
  EXPECT_NE(std::string(search.GetError()).find("C("), std::string::npos);
  ASSERT_TRUE(search.Init("O", false));
  EXPECT_STREQ(search.GetError(), "");
}

TEST(Smiles, BadOnesWarnAndLeaveTheMolecule) {
  QZGraphMol mol = TestSupport::Water();
  TestSupport::MessageCapture messages;
  for (const char* smiles :
       {"C(", "c1cc1", "C(C)(C)(C)(C)C", "", static_cast<const char*>(nullptr)}) {
    messages.Clear();
    EXPECT_FALSE(QZSmilesToMol(mol, smiles));
    EXPECT_EQ(messages.Warnings().size(), 1U);
  }
  EXPECT_EQ(mol.NumAtoms(), 3U);
}

}  // namespace
