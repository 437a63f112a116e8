// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/records_text.h"
#include "support/capture.h"
#include "support/molecules.h"

namespace {

using namespace QZChem;
using QZSystem::QZRange;
using TestSupport::ReadAll;
using TestSupport::Replaced;
using TestSupport::Written;

std::vector<std::string> DataFiles() {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(MOLPOTENTIAL_DATA_DIR)) {
    if (entry.path().extension() == ".sdf") files.push_back(entry.path().string());
  }
  return files;
}

QZGraphMol Load(const std::string& path) {
  qzmolistream in(path.c_str());
  QZGraphMol mol;
  EXPECT_TRUE(QZReadMolecule(in, mol)) << path;
  return mol;
}

void ExpectSame(const QZMolBase& a, const QZMolBase& b, double tolerance, bool orders) {
  ASSERT_EQ(a.NumAtoms(), b.NumAtoms());
  ASSERT_EQ(a.NumBonds(), b.NumBonds());
  EXPECT_STREQ(a.GetTitle(), b.GetTitle());
  const std::vector<double> ca = TestSupport::Coords(a);
  const std::vector<double> cb = TestSupport::Coords(b);
  for (std::size_t i = 0; i < ca.size(); ++i) EXPECT_NEAR(ca[i], cb[i], tolerance);
  for (const auto& atom : QZRange(a.GetAtoms())) {
    const QZAtomBase* other = b.GetAtom(atom.GetIndex());
    EXPECT_EQ(atom.GetAtomicNumber(), other->GetAtomicNumber());
    EXPECT_EQ(atom.GetFormalCharge(), other->GetFormalCharge());
    for (const auto& bond : QZRange(atom.GetBonds())) {
      bool found = false;
      for (const auto& same : QZRange(other->GetBonds())) {
        found = found ||
                (same.GetNeighbour(other)->GetIndex() == bond.GetNeighbour(&atom)->GetIndex() &&
                 (!orders || same.GetOrder() == bond.GetOrder()));
      }
      EXPECT_TRUE(found) << "bond of atom " << atom.GetIndex();
    }
  }
}

TEST(Files, EveryFormatBringsTheMoleculesBack) {
  const std::vector<std::string> files = DataFiles();
  ASSERT_GE(files.size(), 12U);
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    const QZGraphMol mol = Load(file);
    EXPECT_EQ(std::filesystem::path(file).stem().string(), mol.GetTitle());
    EXPECT_FALSE(QZLacksHydrogens(mol));
    EXPECT_FALSE(QZLooksTwoDimensional(mol));
    for (const QZMolFormat format :
         {QZMolFormat::SDF, QZMolFormat::MOL2, QZMolFormat::PDB, QZMolFormat::XYZ}) {
      SCOPED_TRACE(static_cast<int>(format));
      const std::string text = Written(mol, format) + Written(mol, format);
      TestSupport::MessageCapture messages;
      const auto reading = ReadAll(text, format);
      EXPECT_EQ(messages.Warnings().size(), format == QZMolFormat::XYZ ? 1U : 0U);
      ASSERT_EQ(reading.molecules.size(), 2U) << reading.records[0].error;
      EXPECT_EQ(reading.records[0].raw + reading.records[1].raw, text);
      const double tolerance = format == QZMolFormat::PDB ? 6e-4 : 6e-5;
      ExpectSame(mol, reading.molecules[1], tolerance, format != QZMolFormat::XYZ);
    }
  }
}

TEST(Files, ChargesSurvive) {
  for (const char* smiles : {"C[NH3+]",
                             "C[N+](=O)[O-]",
                             "NC(=[NH2+])N",
                             "OP(=O)([O-])[O-]",
                             "C[n+]1ccccc1",
                             "[Na+].[Cl-]",
                             "[Zn+2]",
                             "CS(=O)(=O)[O-]"}) {
    SCOPED_TRACE(smiles);
    QZGraphMol mol;
    ASSERT_TRUE(QZSmilesToMol(mol, smiles));
    mol.SetTitle("charged");
    double x = 0.0;  // apart, so that PDB joins nothing of its own
    for (const auto& atom : QZRange(mol.GetAtoms())) {
      const double place[3] = {x += 4.0, 0.0, 1.0};
      mol.SetCoords(&atom, place);
    }
    for (const QZMolFormat format : {QZMolFormat::SDF, QZMolFormat::MOL2, QZMolFormat::PDB}) {
      SCOPED_TRACE(static_cast<int>(format));
      const auto reading = ReadAll(Written(mol, format), format);
      ASSERT_EQ(reading.molecules.size(), 1U);
      ExpectSame(mol, reading.molecules[0], 1e-3, true);
    }
  }
}

TEST(Files, SdfKeepsTitleAndDataInOrder) {
  QZGraphMol mol = TestSupport::Water();
  mol.SetTitle("two\nlines");
  QZSetSDData(mol, "Zeta", "1");
  QZSetSDData(mol, "Alpha", "line one\nline two");
  QZSetSDData(mol, "Zeta", "changed");
  const std::string text = Written(mol, QZMolFormat::SDF);
  EXPECT_LT(text.find("<Zeta>"), text.find("<Alpha>"));
  const auto reading = ReadAll(text, QZMolFormat::SDF);
  ASSERT_EQ(reading.molecules.size(), 1U);
  const QZGraphMol& back = reading.molecules[0];
  EXPECT_STREQ(back.GetTitle(), "two lines");
  EXPECT_EQ(QZGetSDData(back, "Zeta"), "changed");
  EXPECT_EQ(QZGetSDData(back, "Alpha"), "line one\nline two");
  EXPECT_FALSE(QZHasSDData(back, "Beta"));
  EXPECT_EQ(Written(back, QZMolFormat::SDF), text);
}

TEST(Files, LineEndsAndMissingEndMarkDoNotMatter) {
  const QZGraphMol mol = TestSupport::Butane();
  const std::string one = Written(mol, QZMolFormat::SDF);
  std::string windows;
  for (const char c : one + one) windows += c == '\n' ? std::string("\r\n") : std::string(1, c);
  const std::string unended = one + one.substr(0, one.find("$$$$"));
  for (const std::string& text : {windows, unended, one + one + "\n  \n\r\n"}) {
    const auto reading = ReadAll(text, QZMolFormat::SDF);
    ASSERT_EQ(reading.records.size(), 2U);
    ASSERT_EQ(reading.molecules.size(), 2U);
    ExpectSame(mol, reading.molecules[1], 6e-5, true);
  }
  EXPECT_TRUE(ReadAll("", QZMolFormat::SDF).records.empty());
  EXPECT_TRUE(ReadAll("\n\n", QZMolFormat::MOL2).records.empty());
}

TEST(Files, ManyAtomsOrFarOnesAreWrittenAsV3000) {
  QZGraphMol far = TestSupport::Water();
  const double place[3] = {123456.75, 0.0, 0.0};
  far.SetCoords(far.GetAtom(0), place);
  for (const QZGraphMol& mol : {TestSupport::CarbonChain(1000), far}) {
    const std::string text = Written(mol, QZMolFormat::SDF);
    EXPECT_NE(text.find("V3000"), std::string::npos);
    const auto reading = ReadAll(text, QZMolFormat::SDF);
    ASSERT_EQ(reading.molecules.size(), 1U) << reading.records[0].error;
    ExpectSame(mol, reading.molecules[0], 1e-2, true);
  }
  EXPECT_NE(Written(TestSupport::CarbonChain(999), QZMolFormat::SDF).find("V2000"),
            std::string::npos);
}

TEST(Files, AromaticBondsComeInAsSingleAndDouble) {
  const QZGraphMol benzene = Load(std::string(MOLPOTENTIAL_DATA_DIR) + "/benzene.sdf");
  std::string text = Written(benzene, QZMolFormat::SDF);
  for (const char* bond :
       {"  1  2  2", "  2  3  1", "  3  4  2", "  4  5  1", "  5  6  2", "  6  1  1"}) {
    text = Replaced(text, bond, std::string(bond).substr(0, 8) + "4");
  }
  const auto reading = ReadAll(text, QZMolFormat::SDF);
  ASSERT_EQ(reading.molecules.size(), 1U) << reading.records[0].error;
  unsigned int doubles = 0;
  for (const auto& bond : QZRange(reading.molecules[0].GetBonds())) {
    doubles += bond.GetOrder() == 2 ? 1 : 0;
  }
  EXPECT_EQ(doubles, 3U);
}

TEST(Files, PathsChooseFormatAndCompression) {
  const std::string folder = testing::TempDir() + "molpotential files";
  std::filesystem::create_directories(folder);
  const QZGraphMol mol = TestSupport::Butane();
  for (const char* name : {"a.sdf", "a.SDF.gz", "a.mol2.gz", "a.ent", "a.xyz.gz"}) {
    SCOPED_TRACE(name);
    const std::string path = folder + "/" + name;
    TestSupport::MessageCapture messages;
    {
      qzmolostream out(path.c_str());
      ASSERT_TRUE(out);
      QZGraphMol copy = mol;
      EXPECT_NE(QZWriteMolecule(out, copy), 0U);
      EXPECT_TRUE(out.Write(mol));
      EXPECT_TRUE(out.Close());
      EXPECT_FALSE(out.Write(mol)) << "closed";
    }
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(file.get() == 0x1f, path.ends_with(".gz"));
    qzmolistream in(path.c_str());
    QZGraphMol back;
    EXPECT_TRUE(QZReadMolecule(in, back) && QZReadMolecule(in, back));
    ExpectSame(mol, back, 6e-4, true);
    EXPECT_FALSE(QZReadMolecule(in, back));
  }
  for (const char* path : {"/nowhere/a.sdf", "a.unknown", MOLPOTENTIAL_DATA_DIR}) {
    EXPECT_FALSE(qzmolistream(path)) << path;
    EXPECT_FALSE(qzmolostream(path)) << path;
  }
  std::filesystem::remove_all(folder);
}

TEST(Files, RecordsAreReadOneAtATime) {
  const std::string one = Written(TestSupport::Butane(), QZMolFormat::SDF);
  std::string many;
  for (int i = 0; i < 100; ++i) many += one;
  std::istringstream in(many);
  qzmolistream stream(in, QZMolFormat::SDF);
  QZGraphMol mol;
  ASSERT_TRUE(QZReadMolecule(stream, mol));
  EXPECT_EQ(static_cast<std::size_t>(in.tellg()), one.size());
}

TEST(Files, PdbKeepsResiduesAndReadsModelsOneByOne) {
  const std::string model =
      "ATOM      1  N   GLY A   7       0.000   0.000   0.000  1.00 12.50           N  \n"
      "ATOM      2  CA  GLY A   7       1.458   0.000   0.000  1.00 12.50           C  \n";
  const auto reading = ReadAll("HEADER    TEST\nMODEL        1\n" + model +
                                   "ENDMDL\nMODEL        2\n" + model + "ENDMDL\nEND\n",
                               QZMolFormat::PDB);
  ASSERT_EQ(reading.molecules.size(), 2U);
  EXPECT_EQ(reading.records.size(), 2U);
  EXPECT_EQ(reading.molecules[1].NumBonds(), 1U);
  const QZGraphMol copy = reading.molecules[1];
  EXPECT_NE(Written(copy, QZMolFormat::PDB).find("CA  GLY A   7"), std::string::npos);
}

TEST(Files, DrawingsAreKnownByTheirMark) {
  QZGraphMol ring;
  ASSERT_TRUE(QZSmilesToMol(ring, "C1CC1"));
  const std::string flat = Written(ring, QZMolFormat::SDF);
  const auto looksFlat = [](const std::string& text) {
    const auto reading = ReadAll(text, QZMolFormat::SDF);
    return reading.molecules.size() == 1 && QZLooksTwoDimensional(reading.molecules[0]);
  };
  EXPECT_TRUE(QZLooksTwoDimensional(ring)) << "made in memory, tetrahedral atoms in one plane";
  EXPECT_TRUE(looksFlat(Replaced(flat, " 3D", " 2D")));
  EXPECT_FALSE(looksFlat(flat)) << "marked 3D";
  EXPECT_TRUE(looksFlat(Replaced(flat, " 3D", "   ")));
  QZGraphMol water;
  ASSERT_TRUE(QZSmilesToMol(water, "O"));
  EXPECT_FALSE(QZLooksTwoDimensional(water));
  EXPECT_FALSE(QZLooksTwoDimensional(TestSupport::Butane()));
}

TEST(Files, HydrogensAndCoordinatesCanBeAddedToADrawing) {
  // Skeleton of ethanol, drawn.
  const std::string drawing =
      "ethanol\n     Drawn           2D\n\n  3  2  0  0  0  0  0  0  0  0999 V2000\n"
      "    0.0000    0.0000    0.0000 C   0  0\n    1.2990    0.7500    0.0000 C   0  0\n"
      "    2.5981    0.0000    0.0000 O   0  0\n  1  2  1  0\n  2  3  1  0\nM  END\n$$$$\n";
  auto reading =
      ReadAll(Replaced(drawing, "Drawn           2D", "Drawn     0101012D"), QZMolFormat::SDF);
  ASSERT_EQ(reading.molecules.size(), 1U) << reading.records[0].error;
  QZGraphMol& mol = reading.molecules[0];
  EXPECT_TRUE(QZLacksHydrogens(mol));
  EXPECT_TRUE(QZLooksTwoDimensional(mol));
  EXPECT_EQ(QZAddHydrogens(mol), 6);
  EXPECT_FALSE(QZLacksHydrogens(mol));
  EXPECT_TRUE(QZLooksTwoDimensional(mol)) << "still a drawing";
  ASSERT_TRUE(QZMakeCoordinates(mol));
  EXPECT_FALSE(QZLooksTwoDimensional(mol));
  EXPECT_EQ(mol.GetAtom(2)->GetAtomicNumber(), 8U);
  EXPECT_EQ(QZAddHydrogens(mol), 0);
}

TEST(Files, CoordinatesMadeFromADrawingKeepItsHandedness) {
  const std::string drawing =
      "alanine\n     Drawn01010101012D\n\n  6  5  0  0  0  0  0  0  0  0999 V2000\n"
      "    1.5000    1.2990    0.0000 C   0  0\n    0.7500    0.0000    0.0000 C   0  0\n"
      "    1.5000   -1.2990    0.0000 N   0  0\n   -0.7500    0.0000    0.0000 C   0  0\n"
      "   -1.5000    1.2990    0.0000 O   0  0\n   -1.5000   -1.2990    0.0000 O   0  0\n"
      "  2  1  1  6\n  2  3  1  0\n  2  4  1  0\n  4  5  2  0\n  4  6  1  0\nM  END\n$$$$\n";
  for (const bool isDashed : {true, false}) {
    auto reading = ReadAll(isDashed ? drawing : Replaced(drawing, "2  1  1  6", "2  1  1  1"),
                           QZMolFormat::SDF);
    ASSERT_EQ(reading.molecules.size(), 1U) << reading.records[0].error;
    QZGraphMol& mol = reading.molecules[0];
    ASSERT_GT(QZAddHydrogens(mol), 0);
    ASSERT_TRUE(QZMakeCoordinates(mol));
    // From the centre (1.5, 1.3, behind), (1.5, -1.3, 0) and (-1.5, 0, 0) span a positive volume.
    const double turn =
        QZGetTorsion(mol, mol.GetAtom(2), mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(3));
    EXPECT_EQ(turn < 0.0, isDashed) << turn;
  }
}

TEST(Files, DoubleBondsAreWrittenAsTheirCoordinatesStand) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "CC=CC"));
  ASSERT_TRUE(QZMakeCoordinates(mol));
  EXPECT_NE(Written(mol, QZMolFormat::SDF).find("\n  2  3  2  0\n"), std::string::npos);
  for (int i = 0; i < 1000; ++i) mol.AddAtom(2, 5.0 * i, 9.0, 9.0);
  EXPECT_EQ(Written(mol, QZMolFormat::SDF).find("CFG"), std::string::npos);
}

TEST(Files, AddedHydrogensStandAtBondingDistance) {
  QZGraphMol mol = Load(std::string(MOLPOTENTIAL_DATA_DIR) + "/ibuprofen.sdf");
  unsigned int removed = 0;
  for (unsigned int i = 0; i < mol.AtomIndexBound(); ++i) {
    if (mol.GetAtom(i)->GetAtomicNumber() == 1) removed += mol.DeleteAtom(mol.GetAtom(i)) ? 1 : 0;
  }
  EXPECT_EQ(QZAddHydrogens(mol), static_cast<int>(removed));
  for (const auto& bond : QZRange(mol.GetBonds())) {
    const double r = QZGetDistance(mol, bond.GetBegin(), bond.GetEnd());
    EXPECT_TRUE(r > 0.9 && r < 1.6) << r;
  }
  QZGraphMol odd;
  QZAtomBase* carbon = odd.AddAtom(6);
  for (int i = 0; i < 6; ++i) odd.AddBond(carbon, odd.AddAtom(9, i, 1, i * i));
  TestSupport::MessageCapture messages;
  EXPECT_EQ(QZAddHydrogens(odd), -1);
  EXPECT_EQ(messages.Warnings().size(), 1U);
}

}  // namespace
