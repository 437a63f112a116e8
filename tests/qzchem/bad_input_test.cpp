// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <random>
#include <string>
#include <tuple>

#include "support/capture.h"
#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZChem;
using namespace TestSupport;
using enum QZMolFormat;

// A good record.
std::string Titled(const char* title, QZMolFormat format = SDF) {
  QZGraphMol mol = Butane();
  mol.SetTitle(title);
  return Written(mol, format);
}

// `bad` between two good records: both are delivered, `bad` is not, its text is unchanged and the
// reason contains `reason`.
void ExpectOneBad(const std::string& bad, const std::string& reason, QZMolFormat format) {
  SCOPED_TRACE(bad);
  const auto reading = ReadAll(Titled("before", format) + bad + Titled("after", format), format);
  EXPECT_EQ(reading.titles, "before;after;");
  ASSERT_EQ(reading.records.size(), 3U);
  EXPECT_EQ(reading.records[1].raw, bad);
  EXPECT_EQ(reading.records[1].number, 2U);
  EXPECT_NE(reading.records[1].error.find(reason), std::string::npos) << reading.records[1].error;
}

TEST(BadInput, EditedRecordsBetweenGoodOnes) {
  using Edit = std::tuple<QZMolFormat, const char*, const char*, const char*>;
  const Edit edits[] = {
      {SDF, " C   0", " Xx  0", "Xx"},
      {SDF, "    0.0000    0.0000", "       nan    0.0000", "coordinates on line 5"},
      {SDF, "    0.0000    0.0000", "    0.0x00    0.0000", "coordinates on line 5"},
      {SDF, " 14 13", " 99 13", ""},
      {SDF, " 14 13", "  0  0", ""},
      {SDF, "  1  2  1", "  1 77  1", ""},
      {SDF, "  1  2  1", "  1  1  1", ""},
      {XYZ, "\nC ", "\nXx ", "unknown element"},
      {XYZ, "14\n", "19\n", "14 of 19"},
      {XYZ, "0.00000000", "zero", "zero"},
      {XYZ, "0.00000000", "nan", "not finite"},
      {MOL2, "C.3", "Xx ", ""},
      {PDB, "           C  ", "          Xx  ", "unknown element"},
      {PDB, "   0.000", "     nan", ""},
      {PDB, "   0.000   0.000  1.00  0.00           C  ", "   0.000   0.00", "cut short"},
  };
  for (const auto& [format, from, to, reason] : edits) {
    ExpectOneBad(Replaced(Titled("bad", format), from, to), reason, format);
  }
  const std::string v3000 =
      "v3\n\n\n  0  0  0     0  0            999 V3000\nM  V30 BEGIN CTAB\n"
      "M  V30 COUNTS 1 0 0 0 0\nM  V30 BEGIN ATOM\nM  V30 1 C 0 0 0 0\nM  V30 END ATOM\n"
      "M  V30 END CTAB\nM  END\n$$$$\n";
  EXPECT_EQ(ReadAll(v3000).titles, "v3;");
  ExpectOneBad(Replaced(v3000, "C 0 0 0", "C 0 nan 0"), "", SDF);
  ExpectOneBad(Replaced(v3000, "COUNTS 1", "COUNTS 2000000000"), "more atoms", SDF);
}

TEST(BadInput, GarbageAndCutRecordsDoNotSwallowTheNext) {
  const std::string cut = Titled("cut").substr(0, 400) + "\n";
  ExpectOneBad(cut, "cut short", SDF);
  ExpectOneBad(cut + "$$$$\n", "cut short", SDF);
  ExpectOneBad("no molecule at all\n$$$$\n", "", SDF);
  ExpectOneBad("no\n\n\n  0  0  0  0  0  0  0  0  0  0999 V2000\nM  END\n$$$$\n", "no atoms", SDF);
  ExpectOneBad("garbage\nmore garbage\n", "number of atoms", XYZ);
  ExpectOneBad("@<TRIPOS>MOLECULE\n", "", MOL2);
  ExpectOneBad(Titled("cut", MOL2).substr(0, 500) + "\n", "", MOL2);

  const std::string good = Titled("second");
  const std::string unended = good.substr(0, good.find("$$$$"));
  EXPECT_EQ(ReadAll(Titled("first") + unended + Titled("third")).titles, "first;second;third;");
  QZGraphMol mol = Water();
  mol.SetTitle("outer");
  QZSetSDData(mol, "embedded", "x\n  1  0  0  0  0  0  0  0  0  0999 V2000");
  EXPECT_EQ(ReadAll(Written(mol, SDF)).titles, "outer;");
}

TEST(BadInput, ReadMoleculeWarnsWithNameRecordAndReason) {
  std::istringstream in("junk\n$$$$\n" + Titled("good"));
  qzmolistream stream(in, SDF, "lib.sdf");
  MessageCapture messages;
  QZGraphMol mol;
  EXPECT_TRUE(QZReadMolecule(stream, mol));
  EXPECT_STREQ(mol.GetTitle(), "good");
  EXPECT_EQ(messages.Warnings().at(0).find("lib.sdf, record 1: "), 0U);
  EXPECT_FALSE(QZReadMolecule(stream, mol));
  EXPECT_EQ(messages.Warnings().size(), 1U);
}

TEST(BadInput, DamagedCompressionIsSaid) {
  const std::string path = testing::TempDir() + "molpotential_cut.sdf.gz";
  {
    qzmolostream out(path.c_str());
    for (int i = 0; i < 200; ++i) ASSERT_TRUE(out.Write(Butane()));
  }
  std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  qzmolistream in(path.c_str());
  const auto reading = ReadAll(in);
  EXPECT_GT(reading.molecules.size(), 50U);
  EXPECT_NE(reading.records.back().error.find("Reading failed"), std::string::npos);
  std::filesystem::remove(path);
}

TEST(BadInput, WritingRefusesWhatCannotBeReadBackButNotUnusualValence) {
  QZGraphMol mol = Butane();
  mol.AddBond(mol.GetAtom(0), mol.GetAtom(13), 2);
  EXPECT_EQ(ReadAll(Written(mol, SDF)).titles, "butane;");
  EXPECT_EQ(ReadAll(Written(mol, PDB), PDB).titles, "butane;");
  const double place[3] = {std::numeric_limits<double>::quiet_NaN(), 0, 0};
  mol.SetCoords(mol.GetAtom(0), place);
  MessageCapture messages;
  EXPECT_EQ(Written(mol, SDF), "");
  EXPECT_EQ(Written(QZGraphMol(), XYZ), "");
  EXPECT_EQ(messages.Warnings().size(), 2U);
}

// Whatever the bytes, nothing crashes, every byte is in some record and reading ends.
TEST(BadInput, NoByteIsLostFromDamagedFiles) {
  for (const QZMolFormat format : {SDF, MOL2, PDB, XYZ}) {
    const std::string clean = Titled("a", format) + Titled("b", format) + Titled("c", format);
    for (unsigned int seed = 1; seed <= 60; ++seed) {
      SCOPED_TRACE("format " + std::to_string(static_cast<int>(format)) + " seed " +
                   std::to_string(seed));
      std::mt19937 rng(seed);
      std::string text = clean;
      for (unsigned int i = 0; i < 1 + seed % 20; ++i) {
        const std::size_t at = rng() % text.size();
        const auto kind = rng() % 3;
        if (kind == 0) text[at] = static_cast<char>(rng());
        if (kind == 1) text.erase(at, rng() % 200);
        if (kind == 2) text.insert(at, text.substr(rng() % text.size(), rng() % 200));
      }
      MessageCapture messages;
      std::string raw;
      for (const QZRecordInfo& info : ReadAll(text, format).records) raw += info.raw;
      ASSERT_EQ(text.compare(0, raw.size(), raw), 0);
      EXPECT_EQ(text.find_first_not_of(" \t\r\n\f\v", raw.size()), std::string::npos);
    }
  }
}

TEST(LargeInput, BondsOfTwentyThousandAtomsAreFoundQuickly) {
  QZGraphMol waters;
  for (int i = 0; i < 6667; ++i) {
    const double p[3] = {3.1 * (i % 19), 3.1 * (i / 19 % 19), 3.1 * (i / 361)};
    waters.AddAtom(8, p[0], p[1], p[2]);
    for (const double x : {-0.76, 0.76}) waters.AddAtom(1, p[0] + x, p[1] + 0.59, p[2]);
  }
  for (const QZMolFormat format : {PDB, XYZ}) {
    MessageCapture messages;
    const QZGraphMol mol = ReadOne(Written(waters, format), format);
    EXPECT_EQ(mol.NumAtoms(), 20001U);
    EXPECT_EQ(mol.NumBonds(), 13334U);
    EXPECT_FALSE(mol.GetBond(5)->IsInRing());
  }
}

}  // namespace
