// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <string>

#include "platform/records_text.h"
#include "support/capture.h"
#include "support/molecules.h"

namespace {

using namespace QZChem;
using TestSupport::ReadAll;
using TestSupport::Replaced;
using TestSupport::Written;

std::string Titled(const char* title, QZMolFormat format = QZMolFormat::SDF) {
  QZGraphMol mol = TestSupport::Butane();
  mol.SetTitle(title);
  return Written(mol, format);
}

// `bad` between two good records: both are delivered, `bad` is not, its text is unchanged and the
// reason contains `reason`.
void ExpectOneBad(const std::string& bad,
                  const std::string& reason,
                  QZMolFormat format = QZMolFormat::SDF) {
  SCOPED_TRACE(reason);
  const std::string before = Titled("before", format);
  const std::string after = Titled("after", format);
  const auto reading = ReadAll(before + bad + after, format);
  EXPECT_EQ(reading.Titles(), "before;after;");
  ASSERT_EQ(reading.records.size(), 3U);
  EXPECT_EQ(reading.records[1].raw, bad);
  EXPECT_EQ(reading.records[1].number, 2U);
  EXPECT_NE(reading.records[1].error.find(reason), std::string::npos) << reading.records[1].error;
}

TEST(BadInput, SdfRecordsBetweenGoodOnes) {
  const std::string good = Titled("bad");
  ExpectOneBad(Replaced(good, " C   0", " Xx  0"), "Xx");
  ExpectOneBad(Replaced(good, "    0.0000    0.0000", "       nan    0.0000"),
               "coordinates on line 5");
  ExpectOneBad(Replaced(good, "    0.0000    0.0000", "       inf    0.0000"),
               "coordinates on line 5");
  ExpectOneBad(Replaced(good, "    0.0000    0.0000", "    0.0x00    0.0000"),
               "coordinates on line 5");
  ExpectOneBad(Replaced(good, " 14 13", " 99 13"), "");
  ExpectOneBad(Replaced(good, " 14 13", "  0  0"), "");
  ExpectOneBad("empty\n\n\n  0  0  0  0  0  0  0  0  0  0999 V2000\nM  END\n$$$$\n", "no atoms");
  ExpectOneBad(good.substr(0, 400) + "\n$$$$\n", "cut short");
  ExpectOneBad("\n$$$$\n", "");
  ExpectOneBad("no molecule at all\n$$$$\n", "");
  ExpectOneBad(Replaced(good, "  1  2  1", "  1 77  1"), "");
  ExpectOneBad(Replaced(good, "  1  2  1", "  1  1  1"), "");
  const std::string v3000 =
      "v3\n\n\n  0  0  0     0  0            999 V3000\nM  V30 BEGIN CTAB\n"
      "M  V30 COUNTS 1 0 0 0 0\nM  V30 BEGIN ATOM\nM  V30 1 C 0 0 0 0\nM  V30 END ATOM\n"
      "M  V30 END CTAB\nM  END\n$$$$\n";
  EXPECT_EQ(ReadAll(v3000, QZMolFormat::SDF).Titles(), "v3;");
  ExpectOneBad(Replaced(v3000, "C 0 0 0", "C 0 nan 0"), "");
  ExpectOneBad(Replaced(v3000, "COUNTS 1", "COUNTS 2000000000"), "more atoms");
  ExpectOneBad(Replaced(v3000, "COUNTS 1", "COUNTS x"), "more atoms");
  ExpectOneBad(Replaced(v3000, "COUNTS 1", "COUNTS 2"), "");
}

TEST(BadInput, RecordsWithoutEndMarkDoNotSwallowTheNext) {
  const std::string good = Titled("second");
  ExpectOneBad(good.substr(0, 400) + "\n", "cut short");
  const std::string unended = good.substr(0, good.find("$$$$"));
  EXPECT_EQ(ReadAll(Titled("first") + unended + Titled("third"), QZMolFormat::SDF).Titles(),
            "first;second;third;");
  QZGraphMol mol = TestSupport::Water();
  mol.SetTitle("outer");
  QZSetSDData(mol, "embedded", "x\n  1  0  0  0  0  0  0  0  0  0999 V2000");
  EXPECT_EQ(ReadAll(Written(mol, QZMolFormat::SDF), QZMolFormat::SDF).Titles(), "outer;");
}

TEST(BadInput, OtherFormatsBetweenGoodOnes) {
  const std::string xyz = Titled("bad", QZMolFormat::XYZ);
  ExpectOneBad(Replaced(xyz, "\nC ", "\nXx "), "unknown element", QZMolFormat::XYZ);
  ExpectOneBad(Replaced(xyz, "14\n", "19\n"), "14 of 19", QZMolFormat::XYZ);
  ExpectOneBad(Replaced(xyz, "0.00000000", "zero"), "zero", QZMolFormat::XYZ);
  ExpectOneBad(Replaced(xyz, "0.00000000", "nan"), "not finite", QZMolFormat::XYZ);
  ExpectOneBad("garbage\nmore garbage\n", "number of atoms", QZMolFormat::XYZ);
  const std::string mol2 = Titled("bad", QZMolFormat::MOL2);
  ExpectOneBad(Replaced(mol2, "C.3", "Xx "), "", QZMolFormat::MOL2);
  ExpectOneBad(mol2.substr(0, 500) + "\n", "", QZMolFormat::MOL2);
  ExpectOneBad("@<TRIPOS>MOLECULE\n", "", QZMolFormat::MOL2);
  const std::string pdb = Titled("bad", QZMolFormat::PDB);
  ExpectOneBad(
      Replaced(pdb, "           C  ", "          Xx  "), "unknown element", QZMolFormat::PDB);
  ExpectOneBad(Replaced(pdb, "   0.000", "     nan"), "", QZMolFormat::PDB);
  ExpectOneBad(Replaced(pdb, "   0.000   0.000  1.00  0.00           C  ", "   0.0"),
               "cut short",
               QZMolFormat::PDB);
}

TEST(BadInput, ReadMoleculeWarnsWithNameRecordAndReason) {
  const std::string text = Titled("a") + "junk\n$$$$\n" + Titled("b");
  std::istringstream in(text);
  qzmolistream stream(in, QZMolFormat::SDF, "lib.sdf");
  TestSupport::MessageCapture messages;
  QZGraphMol mol;
  EXPECT_TRUE(QZReadMolecule(stream, mol) && QZReadMolecule(stream, mol));
  EXPECT_STREQ(mol.GetTitle(), "b");
  ASSERT_EQ(messages.Warnings().size(), 1U);
  EXPECT_EQ(messages.Warnings()[0].find("lib.sdf, record 2: "), 0U) << messages.Warnings()[0];
  EXPECT_FALSE(QZReadMolecule(stream, mol));
}

TEST(BadInput, UnusualValenceIsDelivered) {
  QZGraphMol mol = TestSupport::Butane();
  mol.AddBond(mol.GetAtom(0), mol.GetAtom(13), 2);
  mol.SetTitle("odd");
  for (const QZMolFormat format : {QZMolFormat::SDF, QZMolFormat::PDB}) {
    EXPECT_EQ(ReadAll(Written(mol, format), format).Titles(), "odd;");
  }
}

TEST(BadInput, DamagedCompressionIsSaid) {
  const std::string path = testing::TempDir() + "molpotential_cut.sdf.gz";
  {
    qzmolostream out(path.c_str());
    std::mt19937 rng(1);
    QZGraphMol mol = TestSupport::Butane();
    for (int i = 0; i < 200; ++i) {
      const auto coords = TestSupport::Jittered(TestSupport::Coords(mol), 0.1, rng);
      mol.SetCoords(coords.data());
      ASSERT_TRUE(out.Write(mol));
    }
  }
  std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  qzmolistream in(path.c_str());
  QZGraphMol mol;
  QZRecordInfo info;
  unsigned int good = 0;
  std::string error;
  while (QZNextRecord(in, mol, info)) {
    if (info.error.empty()) ++good;
    error = info.error;
  }
  EXPECT_GT(good, 50U);
  EXPECT_NE(error.find("Reading failed"), std::string::npos) << error;
  std::filesystem::remove(path);
}

TEST(BadInput, WritingRefusesWhatCannotBeReadBack) {
  QZGraphMol mol = TestSupport::Water();
  const double place[3] = {std::numeric_limits<double>::quiet_NaN(), 0, 0};
  mol.SetCoords(mol.GetAtom(0), place);
  TestSupport::MessageCapture messages;
  EXPECT_EQ(Written(mol, QZMolFormat::SDF), "");
  EXPECT_EQ(Written(QZGraphMol(), QZMolFormat::XYZ), "");
  EXPECT_EQ(messages.Warnings().size(), 2U);
}

// Whatever the bytes, nothing crashes, every byte is in some record and reading ends.
TEST(BadInput, NoByteIsLostFromDamagedFiles) {
  for (const QZMolFormat format :
       {QZMolFormat::SDF, QZMolFormat::MOL2, QZMolFormat::PDB, QZMolFormat::XYZ}) {
    const std::string clean = Titled("a", format) + Titled("b", format) + Titled("c", format);
    for (unsigned int seed = 1; seed <= 60; ++seed) {
      SCOPED_TRACE("format " + std::to_string(static_cast<int>(format)) + " seed " +
                   std::to_string(seed));
      std::mt19937 rng(seed);
      std::string text = clean;
      for (unsigned int i = 0; i < 1 + seed % 20; ++i) {
        const std::size_t at = rng() % text.size();
        switch (rng() % 3) {
          case 0:
            text[at] = static_cast<char>(rng());
            break;
          case 1:
            text.erase(at, rng() % 200);
            break;
          default:
            text.insert(at, text.substr(rng() % text.size(), rng() % 200));
        }
      }
      TestSupport::MessageCapture messages;
      std::string raw;
      for (const QZRecordInfo& info : ReadAll(text, format).records) raw += info.raw;
      ASSERT_EQ(text.compare(0, raw.size(), raw), 0);
      EXPECT_EQ(text.find_first_not_of(" \t\r\n\f\v", raw.size()), std::string::npos);
    }
  }
}

TEST(LargeInput, TwentyThousandAtomsOfPdbAreReadQuickly) {
  std::string text;
  for (int i = 0; i < 20000; ++i) {
    const int water = i / 3;
    const double shift[3][2] = {{0.0, 0.0}, {0.76, 0.59}, {-0.76, 0.59}};
    const char* names[3] = {" O  ", " H1 ", " H2 "};
    char line[96];
    std::snprintf(line,
                  sizeof line,
                  "HETATM%5d %s HOH A%4d    %8.3f%8.3f%8.3f  1.00  0.00           %c  \n",
                  i + 1,
                  names[i % 3],
                  water % 10000,
                  3.1 * (water % 19) + shift[i % 3][0],
                  3.1 * (water / 19 % 19) + shift[i % 3][1],
                  3.1 * (water / 361),
                  names[i % 3][1]);
    text += line;
  }
  const auto reading = ReadAll(text + "END\n", QZMolFormat::PDB);
  ASSERT_EQ(reading.molecules.size(), 1U) << reading.records[0].error;
  const QZGraphMol& mol = reading.molecules[0];
  EXPECT_EQ(mol.NumAtoms(), 20000U);
  EXPECT_EQ(mol.NumBonds(), 13333U);
  EXPECT_FALSE(mol.GetBond(5)->IsInRing());
  TestSupport::MessageCapture messages;
  const auto xyz = ReadAll(Written(mol, QZMolFormat::XYZ), QZMolFormat::XYZ);
  ASSERT_EQ(xyz.molecules.size(), 1U);
  EXPECT_EQ(xyz.molecules[0].NumBonds(), 13333U);
}

}  // namespace
