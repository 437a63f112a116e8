// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/capture.h"
#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZChem;
using namespace TestSupport;
using enum QZMolFormat;
using QZSystem::QZRange;

// Title, elements, charges and bonds.
std::string Graph(const QZMolBase& mol, bool orders) {
  std::ostringstream text;
  text << mol.GetTitle();
  for (const auto& atom : QZRange(mol.GetAtoms())) {
    text << " " << QZGetAtomicSymbol(atom.GetAtomicNumber()) << atom.GetFormalCharge();
    std::map<unsigned int, unsigned int> bonds;
    for (const auto& bond : QZRange(atom.GetBonds())) {
      bonds[bond.GetNeighbour(&atom)->GetIndex()] = orders ? bond.GetOrder() : 0;
    }
    for (const auto& [end, order] : bonds) text << "-" << end << "x" << order;
  }
  return text.str();
}

void ExpectSame(const QZMolBase& a, const QZMolBase& b, double tolerance, bool orders = true) {
  ASSERT_EQ(Graph(a, orders), Graph(b, orders));
  const std::vector<double> ca = Coords(a);
  const std::vector<double> cb = Coords(b);
  for (std::size_t i = 0; i < ca.size(); ++i) EXPECT_NEAR(ca[i], cb[i], tolerance);
}

TEST(Files, EveryFormatBringsTheMoleculesBack) {
  const auto molecules = DataMolecules();
  EXPECT_GE(molecules.size(), 12U);
  for (const QZGraphMol& mol : molecules) {
    SCOPED_TRACE(mol.GetTitle());
    EXPECT_FALSE(QZLacksHydrogens(mol));
    EXPECT_FALSE(QZLooksTwoDimensional(mol));
    for (const QZMolFormat format : {SDF, MOL2, PDB, XYZ}) {
      SCOPED_TRACE(static_cast<int>(format));
      const std::string text = Written(mol, format) + Written(mol, format);
      MessageCapture messages;
      const auto reading = ReadAll(text, format);
      EXPECT_EQ(messages.Warnings().size(), format == XYZ ? 1U : 0U);
      ASSERT_EQ(reading.molecules.size(), 2U) << reading.records[0].error;
      EXPECT_EQ(reading.records[0].raw + reading.records[1].raw, text);
      ExpectSame(mol, reading.molecules[1], format == PDB ? 6e-4 : 6e-5, format != XYZ);
    }
  }
}

TEST(Files, ChargesSurvive) {
  QZGraphMol mol = FromSmiles(
      "C[N+](=O)[O-].NC(=[NH2+])N.OP(=O)([O-])[O-].C[n+]1ccccc1.CS(=O)(=O)[O-].[Cl-].[Zn+2]");
  mol.SetTitle("charged");
  std::vector<double> x(3 * mol.NumAtoms(), 1.0);  // apart, so that PDB joins nothing of its own
  for (std::size_t i = 0; i < x.size(); i += 3) x[i] = 4.0 * static_cast<double>(i);
  mol.SetCoords(x.data());
  for (const QZMolFormat format : {SDF, MOL2, PDB}) {
    SCOPED_TRACE(static_cast<int>(format));
    ExpectSame(mol, ReadOne(Written(mol, format), format), 1e-3);
  }
}

TEST(Files, SdfKeepsTitleAndDataInOrder) {
  QZGraphMol mol = Water();
  mol.SetTitle("two\nlines");
  QZSetSDData(mol, "Zeta", "1");
  QZSetSDData(mol, "Alpha", "line one\nline two");
  QZSetSDData(mol, "Zeta", "changed");
  const std::string text = Written(mol, SDF);
  EXPECT_LT(text.find("<Zeta>"), text.find("<Alpha>"));
  const QZGraphMol back = ReadOne(text);
  EXPECT_STREQ(back.GetTitle(), "two lines");
  EXPECT_EQ(QZGetSDData(back, "Zeta"), "changed");
  EXPECT_EQ(QZGetSDData(back, "Alpha"), "line one\nline two");
  EXPECT_EQ(Written(back, SDF), text);
}

TEST(Files, LineEndsMissingEndMarksAndReadingAheadDoNotMatter) {
  const QZGraphMol mol = Butane();
  const std::string one = Written(mol, SDF);
  std::string windows;
  for (const char c : one + one) windows += c == '\n' ? std::string("\r\n") : std::string(1, c);
  const std::string unended = one + one.substr(0, one.find("$$$$"));
  for (const std::string& text : {windows, unended, one + one + "\n  \n\r\n"}) {
    const auto reading = ReadAll(text);
    ASSERT_EQ(reading.records.size(), 2U);
    ASSERT_EQ(reading.molecules.size(), 2U);
    ExpectSame(mol, reading.molecules[1], 6e-5);
  }
  EXPECT_TRUE(ReadAll("\n\n", MOL2).records.empty());
  std::istringstream in(one + one + one);
  qzmolistream stream(in, SDF);
  QZGraphMol first;
  ASSERT_TRUE(QZReadMolecule(stream, first));
  EXPECT_EQ(static_cast<std::size_t>(in.tellg()), one.size()) << "one record at a time";
}

TEST(Files, ManyAtomsOrFarOnesAreWrittenAsV3000) {
  QZGraphMol far = Water();
  const double place[3] = {123456.75, 0.0, 0.0};
  far.SetCoords(far.GetAtom(0), place);
  for (const QZGraphMol& mol : {CarbonChain(1000), far}) {
    const std::string text = Written(mol, SDF);
    EXPECT_NE(text.find("V3000"), std::string::npos);
    ExpectSame(mol, ReadOne(text), 1e-2);
  }
  EXPECT_NE(Written(CarbonChain(999), SDF).find("V2000"), std::string::npos);
}

TEST(Files, AromaticBondsComeInAsSingleAndDouble) {
  std::string text = Written(FromSmiles("c1ccccc1", /*embed=*/true), SDF);
  for (const char* ends : {"  1  2", "  2  3", "  3  4", "  4  5", "  5  6", "  6  1"}) {
    text.at(text.find(std::string("\n") + ends) + 9) = '4';
  }
  const QZGraphMol mol = ReadOne(text);
  unsigned int doubles = 0;
  for (const auto& bond : QZRange(mol.GetBonds())) doubles += bond.GetOrder() == 2 ? 1 : 0;
  EXPECT_EQ(doubles, 3U);
}

TEST(Files, PathsChooseFormatAndCompression) {
  const std::string folder = testing::TempDir() + "molpotential files/";
  std::filesystem::create_directories(folder);
  QZGraphMol mol = Butane();
  for (const char* name : {"a.sdf", "a.SDF.gz", "a.mol2.gz", "a.ent", "a.xyz.gz"}) {
    const std::string path = folder + name;
    SCOPED_TRACE(path);
    MessageCapture messages;
    qzmolostream out(path.c_str());
    EXPECT_NE(QZWriteMolecule(out, mol), 0U);
    EXPECT_TRUE(out.Write(mol));
    EXPECT_TRUE(out.Close());
    EXPECT_FALSE(out.Write(mol)) << "closed";
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(file.get() == 0x1f, path.ends_with(".gz"));
    qzmolistream in(path.c_str());
    QZGraphMol back;
    EXPECT_TRUE(QZReadMolecule(in, back) && QZReadMolecule(in, back));
    ExpectSame(mol, back, 6e-4);
    EXPECT_FALSE(QZReadMolecule(in, back));
  }
  std::filesystem::remove_all(folder);
  for (const char* path : {"/nowhere/a.sdf", "a.unknown", MOLPOTENTIAL_DATA_DIR}) {
    EXPECT_FALSE(qzmolistream(path)) << path;
    EXPECT_FALSE(qzmolostream(path)) << path;
  }
}

TEST(Files, PdbKeepsResiduesAndReadsTheModelAskedFor) {
  const auto model = [](const char* number, const char* x) {
    return std::string("MODEL        ") + number +
           "\nATOM      1  N   GLY A   7       0.000   0.000   0.000  1.00 12.50           N  \n"
           "ATOM      2  CA AGLY A   7       1.458   0.000   0.000  0.60 12.50           C  \n"
           "ATOM      3  CA BGLY A   7       1.45" +
           x + "   0.900   0.000  0.40 12.50           C  \nENDMDL\n";
  };
  const std::string text = "HEADER    T\n" + model("1", "1") + model("2", "2") + "END\n";
  const auto read = [&text](unsigned int number, char location) {
    std::istringstream in(text);
    qzmolistream stream(in, PDB);
    stream.SetModel(number);
    stream.SetAlternateLocation(location);
    return ReadAll(stream);
  };
  MessageCapture messages;
  EXPECT_EQ(read(0, 0).records.size(), 2U);
  const auto first = read(1, 0);
  ASSERT_EQ(first.molecules.size(), 1U);
  EXPECT_NE(first.records[0].note.find("2 models, the first is used"), std::string::npos);
  EXPECT_NE(first.records[0].note.find("alternate locations in 1 residues (first: GLY 7)"),
            std::string::npos);
  EXPECT_EQ(first.molecules[0].NumBonds(), 1U);
  EXPECT_DOUBLE_EQ(Coords(first.molecules[0])[3], 1.458);
  EXPECT_DOUBLE_EQ(Coords(read(2, 'B').molecules.at(0))[3], 1.452);
  EXPECT_EQ(read(9, 0).records.at(0).error, "There is no model 9, the record has 2");
  const QZGraphMol copy = first.molecules[0];
  EXPECT_NE(Written(copy, PDB).find("CA  GLY A   7"), std::string::npos);
}

// Before 1996 an identifier and the line's number stood where the element stands now.
TEST(Files, PdbElementsComeFromNamesWhereOldLinesHaveNone) {
  const std::string text =
      "ATOM      1  N   GLY A   7       0.000   0.000   0.000  1.00 12.50      1HPV  57\n"
      "ATOM      2  CA  GLY A   7       1.458   0.000   0.000  1.00 12.50      1HPV 158\n"
      "HETATM    3 ZN    ZN A 201       9.000   0.000   0.000  1.00 12.50      1HPV1059\n";
  std::istringstream in(text);
  qzmolistream stream(in, PDB);
  const auto read = ReadAll(stream);
  ASSERT_EQ(read.molecules.size(), 1U) << read.records.at(0).error;
  std::vector<unsigned int> elements;
  for (const auto& atom : QZSystem::QZRange(read.molecules[0].GetAtoms())) {
    elements.push_back(atom.GetAtomicNumber());
  }
  EXPECT_EQ(elements, (std::vector<unsigned int>{7, 6, 30}));
}

TEST(Files, HydrogensAndCoordinatesMadeFromADrawingKeepItsHandedness) {
  const std::string alanine =
      "alanine\n     Drawn01010101012D\n\n  6  5  0  0  0  0  0  0  0  0999 V2000\n"
      "    1.5000    1.2990    0.0000 C   0  0\n    0.7500    0.0000    0.0000 C   0  0\n"
      "    1.5000   -1.2990    0.0000 N   0  0\n   -0.7500    0.0000    0.0000 C   0  0\n"
      "   -1.5000    1.2990    0.0000 O   0  0\n   -1.5000   -1.2990    0.0000 O   0  0\n"
      "  2  1  1  6\n  2  3  1  0\n  2  4  1  0\n  4  5  2  0\n  4  6  1  0\nM  END\n$$$$\n";
  EXPECT_FALSE(QZLooksTwoDimensional(ReadOne(Replaced(alanine, "2D", "3D")))) << "as it is marked";
  EXPECT_TRUE(QZLooksTwoDimensional(ReadOne(Replaced(alanine, "2D", "  "))));
  EXPECT_FALSE(QZLooksTwoDimensional(FromSmiles("O"))) << "flat, but not a drawing";
  for (const bool isDashed : {true, false}) {
    QZGraphMol mol = ReadOne(isDashed ? alanine : Replaced(alanine, "2  1  1  6", "2  1  1  1"));
    EXPECT_TRUE(QZLacksHydrogens(mol) && QZLooksTwoDimensional(mol));
    EXPECT_EQ(QZAddHydrogens(mol), 7);
    EXPECT_FALSE(QZLacksHydrogens(mol));
    EXPECT_TRUE(QZLooksTwoDimensional(mol)) << "still a drawing";
    ASSERT_TRUE(QZMakeCoordinates(mol));
    EXPECT_FALSE(QZLooksTwoDimensional(mol));
    EXPECT_EQ(QZAddHydrogens(mol), 0);
    // From the centre (1.5, 1.3, behind), (1.5, -1.3, 0) and (-1.5, 0, 0) span a positive volume.
    const double turn =
        QZGetTorsion(mol, mol.GetAtom(2), mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(3));
    EXPECT_EQ(turn < 0.0, isDashed) << turn;
  }
}

TEST(Files, AddedHydrogensStandAtBondingDistance) {
  QZGraphMol mol = DataMolecule("ibuprofen");
  for (auto& atom : QZRange(mol.GetAtoms())) {
    if (atom.GetAtomicNumber() == 1) mol.DeleteAtom(&atom);
  }
  EXPECT_EQ(QZAddHydrogens(mol), 18);
  for (const auto& bond : QZRange(mol.GetBonds())) {
    EXPECT_NEAR(QZGetDistance(mol, bond.GetBegin(), bond.GetEnd()), 1.25, 0.35);
  }
  for (int i = 0; i < 6; ++i) mol.AddBond(mol.GetAtom(0), mol.AddAtom(9, i, 1, i * i));
  MessageCapture messages;
  EXPECT_EQ(QZAddHydrogens(mol), -1);
  EXPECT_EQ(messages.Warnings().size(), 1U);
}

// Types as other programs write them: in capitals, of a force field, of isotopes.
TEST(Files, Mol2TypesOfEveryHandAreTakenWhereTheyAreClear) {
  const auto element = [](const std::string& type, bool isBonded) {
    const std::string record = "@<TRIPOS>MOLECULE\nx\n2 " + std::string(isBonded ? "1" : "0") +
                               " 1\nSMALL\nNO_CHARGES\n@<TRIPOS>ATOM\n1 CA 0 0 0 C.3 1 CL 0\n2 " +
                               type + " 1.5 0 0 " + type + " 1 CL 0\n@<TRIPOS>BOND\n" +
                               (isBonded ? "1 1 2 1\n" : "");
    const auto read = ReadAll(record, MOL2).molecules;
    return read.empty() ? std::string("refused")
                        : QZGetAtomicSymbol(read[0].GetAtom(1)->GetAtomicNumber());
  };
  const std::tuple<const char*, const char*, const char*> cases[] = {{"CL", "Cl", "Cl"},
                                                                     {"BR", "Br", "Br"},
                                                                     {"cl", "Cl", "Cl"},
                                                                     {"ZN", "Zn", "Zn"},
                                                                     {"D", "H", "H"},
                                                                     {"c3", "C", "C"},
                                                                     {"ca", "C", "C"},
                                                                     {"sy", "S", "S"},
                                                                     {"N.pl3", "N", "N"},
                                                                     {"CA", "refused", "Ca"},
                                                                     {"NA", "refused", "Na"},
                                                                     {"si", "refused", "refused"}};
  for (const auto& [type, bonded, alone] : cases) {
    EXPECT_EQ(element(type, true), bonded) << type;
    EXPECT_EQ(element(type, false), alone) << type;
  }
}

TEST(Files, ChargesThatBondOrdersContradictAreTold) {
  // A sulfone whose oxygens are drawn with single bonds, and the whole with the charge it implies.
  const std::string record =
      "@<TRIPOS>MOLECULE\nx\n3 2 1\nSMALL\nUSER_CHARGES\n@<TRIPOS>ATOM\n1 S 0 0 0 S.O2 1 X 0.6\n"
      "2 O 1.5 0 0 O.2 1 X -0.3\n3 O -0.7 1.3 0 O.2 1 X -0.3\n@<TRIPOS>BOND\n1 1 2 1\n2 1 3 1\n";
  const auto note = [](const std::string& text) { return ReadAll(text, MOL2).records.at(0).note; };
  EXPECT_EQ(note(record), "its charges add up to 0.0, those that its bond orders imply to -2");
  EXPECT_EQ(note(Replaced(Replaced(record, "1 1 2 1", "1 1 2 2"), "2 1 3 1", "2 1 3 2")), "");
  EXPECT_EQ(note(Replaced(record, "USER_CHARGES", "NO_CHARGES")), "");
}

TEST(Files, PdbTitlesAreTheNameInCompoundRecordsOldAndNew) {
  const std::string atom =
      "HETATM    1  O   HOH A   1       0.000   0.000   0.000  1.00  0.00           O  \nEND\n";
  for (const char* lines :
       {"COMPND    WATER\n",
        "COMPND    MOL_ID: 1;\nCOMPND   2 MOLECULE: WATER;\nCOMPND   3 CHAIN: A;\n"}) {
    EXPECT_EQ(ReadAll(lines + atom, PDB).titles, "WATER;") << lines;
  }
}

TEST(Files, AddedHydrogensAreNamedAsTheProteinDataBankDoes) {
  const auto line = [](int number, const char* name, double x, double y, double z) {
    char text[100];
    std::snprintf(text,
                  sizeof text,
                  "ATOM  %5d  %-3s SER A   1    %8.3f%8.3f%8.3f  1.00  0.00           %c  \n",
                  number,
                  name,
                  x,
                  y,
                  z,
                  name[0]);
    return std::string(text);
  };
  QZGraphMol serine =
      ReadAll(line(1, "N", 1.525, 0.493, -0.608) + line(2, "CA", 0.100, 0.469, -0.252) +
                  line(3, "C", -0.053, 0.004, 1.173) + line(4, "O", 0.751, -0.760, 1.649) +
                  line(5, "CB", -0.642, -0.489, -1.184) + line(6, "OG", -0.496, -0.049, -2.535) +
                  line(7, "OXT", -1.084, 0.440, 1.913) + "END\n",
              PDB)
          .molecules.at(0);
  ASSERT_EQ(QZAddHydrogens(serine), 7);
  std::string names;
  for (const auto& atom : QZRange(serine.GetAtoms())) {
    if (atom.GetAtomicNumber() == 1) names += QZGetResidue(atom)->atomName + " ";
  }
  EXPECT_EQ(names, "H1 H2 H3 HA HB2 HB3 HG ");
}

// What was seen of the molecule before hydrogens came serves the whole one: it is embedded as one
// that is looked at anew, with holes among its atoms and aromatic rings of sulfur.
TEST(Files, AddedHydrogensAreSeenAsIfTheyHadAlwaysBeenThere) {
  for (const char* smiles : {"Cc1nc2ccccc2s1", "[O-][N+](=O)c1cnc(N)s1", "C[N+](C)(C)CC(=O)[O-]"}) {
    QZGraphMol mol;
    ASSERT_TRUE(QZSmilesToMol(mol, smiles));
    mol.DeleteAtom(mol.GetAtom(0));
    for (auto& atom : QZRange(mol.GetAtoms())) {
      if (atom.GetAtomicNumber() == 1) mol.DeleteAtom(&atom);
    }
    ASSERT_GT(QZAddHydrogens(mol), 0);
    const unsigned long conversions = QZCountConversions();
    std::vector<std::vector<double>> conformers;
    ASSERT_TRUE(QZMakeConformers(mol, {}, conformers));
    EXPECT_EQ(QZCountConversions(), conversions) << smiles;
    QZGraphMol anew = mol;
    anew.GetAtom(1)->SetIsotope(13);
    anew.GetAtom(1)->SetIsotope(0);
    std::vector<std::vector<double>> expected;
    ASSERT_TRUE(QZMakeConformers(anew, {}, expected));
    EXPECT_GT(QZCountConversions(), conversions);
    EXPECT_EQ(conformers, expected) << smiles;
    for (unsigned int i = 0; i < mol.BondIndexBound(); ++i) {
      if (mol.GetBond(i) == nullptr) continue;
      EXPECT_EQ(mol.GetBond(i)->IsInRing(), anew.GetBond(i)->IsInRing()) << smiles << " " << i;
      EXPECT_EQ(mol.GetBond(i)->IsAromatic(), anew.GetBond(i)->IsAromatic()) << smiles << " " << i;
    }
  }
}

}  // namespace
