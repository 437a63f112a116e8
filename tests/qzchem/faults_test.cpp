// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <locale>
#include <string>
#include <tuple>
#include <vector>

#include "support/capture.h"
#include "support/german_locale.h"
#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZChem;
using namespace TestSupport;
using enum QZMolFormat;

// Why the record is no molecule; "" when it is one.
std::string Fault(const std::string& text, QZMolFormat format = SDF) {
  const auto reading = ReadAll(text, format);
  return reading.records.size() == 1 ? reading.records[0].error : "not one record";
}

std::string V2000(const std::string& counts, const std::string& rest) {
  return "t\n\n\n" + counts + "  0  0  0  0  0  0  0  0999 V2000\n" + rest;
}
constexpr const char* kCarbon = "    0.0000    0.0000    0.0000 C   0  0\n";
constexpr const char* kOxygen = "    1.2000    0.0000    0.0000 O   0  0\n";

TEST(Faults, WhatAMoleculeCannotHoldIsRefusedInTheUsersWords) {
  const std::string pair = std::string(kCarbon) + kOxygen;
  for (const char* type : {"0", "5", "8", "9"}) {
    const std::string text = V2000("  2  1", pair + "  1  2  " + type + "  0\nM  END\n$$$$\n");
    EXPECT_NE(Fault(text).find("Bond"), std::string::npos) << Fault(text);
  }
  EXPECT_NE(Fault(V2000("  1  0", std::string(kCarbon) + "M  RAD  1   1   1\nM  END\n"))
                .find("Atom 1 is a singlet"),
            std::string::npos);
  const std::string v3000 =
      "v3\n\n\n  0  0  0     0  0            999 V3000\nM  V30 BEGIN CTAB\n"
      "M  V30 COUNTS -\nM  V30 2000000000 0 0 0 0\nM  V30 BEGIN ATOM\n"
      "M  V30 1 C 0 0 0 0\nM  V30 END ATOM\nM  V30 END CTAB\nM  END\n$$$$\n";
  EXPECT_NE(Fault(v3000).find("more atoms"), std::string::npos);
  EXPECT_NE(Fault(Replaced(v3000, "2000000000 0", "1 2000000000")).find("bonds"),
            std::string::npos);
  const std::string mol2 = Written(FromSmiles("CO", /*embed=*/true), MOL2);
  using Edit = std::tuple<const char*, const char*, const char*>;
  for (const auto& [from, to, reason] :
       {Edit{"     1     1     2 1", "     1     0     2 1", "no atom 0"},
        Edit{"     1     1     2 1", "     1     1    99 1", "no atom 99"},
        Edit{"     1     1     2 1", "     1     1     1 1", "to itself"},
        Edit{"     1     1     2 1", "     1     1     2 un", "type \"un\""},
        Edit{"6 5 1 0 0", "2000000000 5", "more atoms"},
        Edit{"6 5 1 0 0", "6 2000000000", "more atoms"},
        Edit{"6 5 1 0 0", "99999999999999999999 5", "more atoms"}}) {
    const std::string fault = Fault(Replaced(mol2, from, to), MOL2);
    EXPECT_NE(fault.find(reason), std::string::npos) << to << ": " << fault;
  }
  EXPECT_NE(Fault("1\n\nC 0 0 1e30\n", XYZ).find("million"), std::string::npos);
  QZGraphMol crowded = FromSmiles("C", /*embed=*/true);
  crowded.AddBond(crowded.GetAtom(0), crowded.AddAtom(6, 3, 3, 3));
  MessageCapture messages;
  EXPECT_EQ(QZAddHydrogens(crowded), -1);
  EXPECT_NE(messages.Warnings().at(0).find("Atom 1 (C) has more bonds"), std::string::npos)
      << messages.Warnings()[0];
}

TEST(Faults, UnpairedElectronsAreKeptOrTold) {
  const auto reading = ReadAll("[CH2] carbene\n[CH3] methyl\n", SMILES);
  ASSERT_EQ(reading.titles, "carbene;methyl;");
  EXPECT_NE(reading.records[0].note.find("spin of atom 1 (C)"), std::string::npos);
  EXPECT_EQ(reading.records[1].note, "");
  for (const QZGraphMol& mol : reading.molecules) {
    const unsigned int electrons = mol.GetAtom(0)->GetRadicalElectrons();
    EXPECT_EQ(electrons, mol.NumAtoms() == 3 ? 2U : 1U);
    for (const QZMolFormat format : {SDF, SMILES}) {
      const QZGraphMol back = ReadOne(Written(mol, format), format);
      EXPECT_EQ(back.GetAtom(0)->GetRadicalElectrons(), electrons) << Written(mol, format);
    }
    MessageCapture messages;
    for (const QZMolFormat format : {MOL2, PDB, XYZ}) Written(mol, format);
    ASSERT_EQ(messages.Warnings().size(), 3U);
    EXPECT_NE(messages.Warnings()[0].find("unpaired electrons"), std::string::npos);
  }
}

TEST(Faults, ARecordThatLostItsAtomsDoesNotTakeThoseOfTheNext) {
  const std::string good = Written(Water(), PDB);
  const std::string bad =
      "COMPND    bad\nHETA    1  O1  UNL     1       0.000   0.000\nCONECT    1    2    3\nEND\n";
  const auto reading = ReadAll(good + bad + good, PDB);
  ASSERT_EQ(reading.records.size(), 3U);
  EXPECT_EQ(reading.records[1].raw, bad);
  EXPECT_EQ(reading.molecules.size(), 2U);
  const std::string sdf = Written(Water());
  const std::string cut = Replaced(Replaced(sdf, "V2000", ""), "M  END\n$$$$", "M$$$$");
  EXPECT_EQ(ReadAll(sdf + cut + sdf).molecules.size(), 2U);
}

TEST(Faults, OtherFilesAreCalledWhatTheyAre) {
  EXPECT_NE(Fault("CCO ethanol\nc1ccccc1 benzene\n").find("looks like SMILES"), std::string::npos);
  EXPECT_NE(Fault("This is a letter.\n").find("no SDF"), std::string::npos);
  EXPECT_NE(Fault(std::string("\x01\x02\x00zz", 5)).find("binary"), std::string::npos);
  const qzmolistream folder(MOLPOTENTIAL_DATA_DIR);
  EXPECT_EQ(folder.GetError(), "is a directory");
  EXPECT_EQ(qzmolistream("/nowhere/a.sdf").GetError(), "No such file or directory");
  EXPECT_EQ(qzmolistream("a.docx").GetError(), "the extension names no format");
}

TEST(Faults, BlankLinesAndRepeatedTagsAreKeptInOrder) {
  QZGraphMol mol = Water();
  mol.SetTitle("w");
  QZSetSDData(mol, "A", "1");
  const std::string text = Replaced(Written(mol), ">  <A>\n1\n\n", ">  <A>\n1\n\n>  <A>\n2\n\n");
  const QZGraphMol back = ReadOne("\n\n \n" + text);
  EXPECT_STREQ(back.GetTitle(), "w");
  EXPECT_EQ(Written(back), text);
  QZGraphMol changed = back;
  QZSetSDData(changed, "A", "3");
  EXPECT_EQ(Written(changed).find("<A>"), Written(changed).rfind("<A>"));
}

TEST(Faults, TitlesAndDataThatLookLikeMarksDoNotBreakTheFormat) {
  MessageCapture messages;
  for (const char* title : {"$$$$",
                            "M  END",
                            "a\tb\x07\nc",
                            "@<TRIPOS>ATOM",
                            "> <x>",
                            "  3  2  0  0  0  0  0  0  0  0999 V2000",
                            "  3  2  0",
                            "3"}) {
    for (const QZMolFormat format : {SDF, MOL2, PDB, XYZ}) {
      QZGraphMol mol = Water();
      mol.SetTitle(title);
      QZSetSDData(mol, "tag\n$$$$", "x\n$$$$\ny");
      const std::string one = Written(mol, format);
      const auto reading = ReadAll(one + one, format);
      ASSERT_EQ(reading.molecules.size(), 2U) << title << static_cast<int>(format) << one;
      if (format == SDF) {
        EXPECT_EQ(QZGetSDData(reading.molecules[1], "tag $$$$"), "x\n $$$$\ny");
      }
    }
  }
  EXPECT_GE(messages.Warnings().size(), 14U) << "each is told";
}

TEST(Faults, AMoleculeThatCannotBeWrittenFailsAlone) {
  QZGraphMol far = Water();
  const double place[3] = {12000.0, 0.0, 0.0};
  far.SetCoords(far.GetAtom(1), place);
  std::ostringstream text;
  qzmolostream out(text, PDB);
  MessageCapture messages;
  EXPECT_TRUE(out.Write(Water()));
  EXPECT_FALSE(out.Write(far));
  EXPECT_NE(out.GetError().find("atom 2"), std::string::npos);
  EXPECT_TRUE(static_cast<bool>(out));
  EXPECT_TRUE(out.Write(Water()));
  EXPECT_TRUE(out.Close());
  EXPECT_EQ(ReadAll(text.str(), PDB).molecules.size(), 2U);
  for (const QZMolFormat format : {MOL2, XYZ, SDF}) {
    EXPECT_NEAR(Coords(ReadOne(Written(far, format), format))[3], 12000.0, 1e-3);
  }
}

TEST(Faults, AFullDiskEndsCompressedOutputWithAWord) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP();
  MessageCapture messages;
  {
    qzmolostream out("/dev/full", SDF, /*compress=*/true);
    for (int i = 0; i < 500; ++i) out.Write(Butane());
    EXPECT_FALSE(out.Close());
    qzmolostream other("/dev/full", SDF, /*compress=*/true);
    EXPECT_TRUE(other.Write(Water()));
  }
  ASSERT_FALSE(messages.Warnings().empty());
  EXPECT_NE(messages.Warnings().back().find("/dev/full: writing failed"), std::string::npos);
}

TEST(Faults, CompressedDataAreKnownByContentAndMayBePadded) {
  const std::string path = testing::TempDir() + "molpotential_padded.sdf";
  for (const std::string& tail : {std::string(), std::string(700, '\0'), std::string("garbage")}) {
    {
      qzmolostream out(path.c_str(), SDF, /*compress=*/true);
      ASSERT_TRUE(out.Write(Butane()) && out.Close());
    }
    std::ifstream whole(path, std::ios::binary);
    const std::string member{std::istreambuf_iterator<char>(whole), {}};
    std::ofstream(path, std::ios::binary) << member << member << tail;
    qzmolistream in(path.c_str());
    const auto reading = ReadAll(in);
    EXPECT_EQ(reading.molecules.size(), 2U);
    EXPECT_EQ(reading.records.size(), tail == "garbage" ? 3U : 2U);
    std::istringstream stream(member);
    qzmolistream piped(stream);
    EXPECT_EQ(ReadAll(piped).titles, "butane;");
  }
  std::filesystem::remove(path);
}

TEST(Faults, NumbersAreTheSameInEveryLocale) {
  const auto everything = [] {
    MessageCapture messages;
    QZGraphMol mol = DataMolecule("ibuprofen");
    const double place[3] = {1234.5678, 0.25, -1.5};
    mol.SetCoords(mol.GetAtom(0), place);
    std::string text;
    for (const QZMolFormat format : {SDF, MOL2, PDB, XYZ}) {
      const std::string written = Written(mol, format);
      text += written + Written(ReadOne(written, format), format);
    }
    text += Written(CarbonChain(1001));  // V3000
    QZGraphMol made = FromSmiles("CC[13CH2]O", /*embed=*/true);
    QZSubSearch search;
    EXPECT_TRUE(search.Init("[13C]O", false));
    return text + Written(made);
  };
  const std::string plain = everything();
  const std::locale before = std::locale::global(std::locale(std::locale(), new CommaNumbers));
  EXPECT_EQ(everything(), plain);
  EXPECT_EQ(std::use_facet<std::numpunct<char>>(std::locale()).decimal_point(), ',') << "as it was";
  std::locale::global(before);
  const GermanLocale german;
  if (!german) GTEST_SKIP() << "no German locale can be made here";
  char text[9];
  std::snprintf(text, sizeof text, "%.1f", 1.5);
  EXPECT_STREQ(text, "1,5");
  EXPECT_EQ(everything(), plain);
}

}  // namespace
