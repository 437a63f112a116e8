// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "qzchem/qzchem.h"
#include "support/molecules.h"

namespace {

using namespace QZChem;
using namespace TestSupport;

using Indices = std::vector<unsigned int>;

// Two waters 3 Å apart: residues HOH 45 of chain A, HOH 46B of chain B.
QZGraphMol TwoResidues() {
  QZGraphMol mol = WaterDimer();
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    QZResidue residue;
    const bool isFirst = atom.GetIndex() < 3;
    residue.name = std::string(isFirst ? "HOH" : "478");
    residue.number = isFirst ? 45 : 46;
    residue.insertionCode = isFirst ? ' ' : 'B';
    residue.chain = std::string(isFirst ? "A" : "b");
    QZSetResidue(atom, residue);
  }
  return mol;
}

std::string Selected(const QZMolBase& mol, const std::string& text, unsigned int first = 0) {
  QZSelection selection;
  if (!selection.Init(text, first)) return selection.GetError();
  Indices atoms;
  std::string error;
  if (!selection.Select(mol, atoms, error)) return error;
  std::string list;
  for (const unsigned int atom : atoms) list += std::to_string(atom);
  return list;
}

TEST(Selection, WordsCombineAsTheGrammarSays) {
  const QZGraphMol mol = TwoResidues();
  const std::pair<const char*, const char*> cases[] = {
      {"all", "012345"},
      {"hydrogens", "1245"},
      {"HYDROGENS", "1245"},
      {"[#8]", "03"},
      {"[H]O[H]", "012345"},
      {"atoms 0-2,4", "0124"},
      {"atoms 0, 4 or atom 5", "045"},
      {"residue hoh", "012"},
      {"residue HOH,\"478\"", "012345"},
      {"residue 45", "012"},
      {"residue 45-60:b", "345"},
      {"residue 46B", "345"},
      {"residue 46C", ""},
      {"chain A,b", "012345"},
      {"chain B", ""},
      {"component 2", "345"},
      {"not [#8]", "1245"},
      {"not [#8] and chain A", "12"},
      {"not ([#8] and chain A)", "12345"},
      {"[#8] or hydrogens and chain A", "0123"},
      {"([#8] or hydrogens) and chain A", "012"},
      {"(([#8]))", "03"},
      {"([H]O([H]) and component 1)", "012"},
      {"within 0.5 of atoms 3", "3"},
      {"within 1.1 of residue 46 and not residue 46", ""},
      {"within 100 of (chain A and [#8])", "012345"},
      {"[F]", ""},
  };
  for (const auto& [text, atoms] : cases) EXPECT_EQ(Selected(mol, text), atoms) << text;
  EXPECT_EQ(Selected(mol, "atoms 1-2", 1), "01");
}

TEST(Selection, WithinMeansTheDistanceThatIsMeasured) {
  const QZGraphMol mol = DataMolecule("imatinib");
  for (const double distance : {1.2, 3.7, 9.0}) {
    QZSelection selection;
    ASSERT_TRUE(selection.Init("within " + std::to_string(distance) + " of atoms 7,30"));
    Indices atoms;
    Indices expected;
    std::string error;
    ASSERT_TRUE(selection.Select(mol, atoms, error)) << error;
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
      const double r = std::min(QZGetDistance(mol, &atom, mol.GetAtom(7)),
                                QZGetDistance(mol, &atom, mol.GetAtom(30)));
      if (r <= distance) expected.push_back(atom.GetIndex());
    }
    EXPECT_EQ(atoms, expected);
  }
}

TEST(Selection, ErrorsNameTheirPlace) {
  QZGraphMol mol = WaterDimer();
  const std::pair<const char*, const char*> cases[] = {
      {"", "at character 1 "},
      {"atoms", "at character 6 "},
      {"atoms 3-1", "ends before it begins"},
      {"atoms 0", "numbers begin with 1"},
      {"atoms 7", "there is no atom 7, the last one is 6"},
      {"atoms 1-99999999999", "there is no atom 99999999999"},
      {"atoms 99999999999999999999", "were expected"},
      {"component 3", "the molecule has 2"},
      {"(all", "at character 1 "},
      {"all)", "at character 4 "},
      {"all hydrogens", "\"hydrogens\" follows"},
      {"within x of all", "a distance in"},
      {"within -1 of all", "a distance in"},
      {"within 3 all", "\"of\" was expected"},
      {"all and Qq", "at character 9 "},
      {"residue HOH", "no residues"},
      {"residue 45:", "no residue number"},
      {"chain", "is missing"},
      {"*.*.*.*.*.*.*.*.*", ""},
  };
  for (const auto& [text, reason] : cases) {
    EXPECT_NE(Selected(mol, text, 1).find(reason), std::string::npos) << Selected(mol, text, 1);
  }
  EXPECT_NE(Selected(mol, std::string(5000, '(')).find("too deeply"), std::string::npos);
  EXPECT_NE(
      Selected(TwoResidues(), "within 1 of residue 478").find("has that name: residue \"478\""),
      std::string::npos);
}

TEST(Selection, NumbersBehindItAreTakenOff) {
  using Numbers = std::vector<double>;
  const std::pair<const char*, std::pair<const char*, Numbers>> cases[] = {
      {"[!#1] 0.3 10", {"[!#1]", {0.3, 10.0}}},
      {"(residue 45) 0.3 10", {"(residue 45)", {0.3, 10.0}}},
      {"atoms 1-20,33 0.3", {"atoms 1-20,33", {0.3}}},
      {"[#6] and not [#8]", {"[#6] and not [#8]", {}}},
  };
  for (const auto& [text, expected] : cases) {
    QZSelection selection;
    Numbers numbers;
    EXPECT_TRUE(selection.InitWithNumbers(text, 2, numbers)) << selection.GetError();
    EXPECT_EQ(selection.GetText(), expected.first);
    EXPECT_EQ(numbers, expected.second);
  }
  for (const char* bad : {"[#6] 1 2 3", "[#6] 0.3x", "[#6] nan", "[#6] inf", "[#6] 1 trailing"}) {
    QZSelection selection;
    Numbers numbers;
    EXPECT_FALSE(selection.InitWithNumbers(bad, 2, numbers)) << bad;
    EXPECT_NE(selection.GetError().find("at character "), std::string::npos);
    EXPECT_FALSE(selection.IsValid());
  }
}

}  // namespace
