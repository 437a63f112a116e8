// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "support/capture.h"
#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZChem;
using namespace TestSupport;
using enum QZMolFormat;
using QZSystem::QZRange;

int Charge(const QZMolBase& mol) {
  int charge = 0;
  for (const auto& atom : QZRange(mol.GetAtoms())) charge += atom.GetFormalCharge();
  return charge;
}

unsigned int DoubleBonds(const QZMolBase& mol) {
  unsigned int count = 0;
  for (const auto& bond : QZRange(mol.GetBonds())) count += bond.GetOrder() == 2 ? 1 : 0;
  return count;
}

void RemoveHydrogens(QZGraphMol& mol) {
  for (auto& atom : QZRange(mol.GetAtoms())) {
    if (atom.GetAtomicNumber() == 1) mol.DeleteAtom(&atom);
  }
  mol.Sweep();
}

// PDB text of a molecule as crystallographers have it: one residue, no bonds.
std::string AsResidue(QZGraphMol mol, const std::string& name) {
  for (auto& atom : QZRange(mol.GetAtoms())) {
    QZResidue residue;
    residue.name = name;
    residue.number = 401;
    residue.chain = "B";
    residue.isHetero = true;
    residue.atomName = QZGetAtomicSymbol(atom.GetAtomicNumber());
    QZSetResidue(atom, residue);
  }
  std::string text = Written(mol, PDB);
  return text.substr(0, text.find("CONECT"));
}

TEST(Chemistry, IsotopesAndRadicalsSurvive) {
  QZGraphMol mol = FromSmiles("[13CH3]C([2H])([2H])O[3H]", /*embed=*/true);
  const auto isotopes = [](const QZMolBase& read) {
    std::vector<unsigned int> found;
    for (const auto& atom : QZRange(read.GetAtoms())) found.push_back(atom.GetIsotope());
    return found;
  };
  const std::vector<unsigned int> all = isotopes(mol);
  EXPECT_EQ(std::ranges::count(all, 0U), 5);
  EXPECT_EQ(isotopes(ReadOne(Written(mol, SDF))), all);
  for (const QZMolFormat format : {MOL2, PDB, XYZ}) {
    SCOPED_TRACE(static_cast<int>(format));
    MessageCapture messages;
    const auto back = isotopes(ReadOne(Written(mol, format), format));
    EXPECT_EQ(std::ranges::count(back, 2U), 2);
    EXPECT_EQ(std::ranges::count(back, 3U), format == PDB ? 0 : 1);
  }
  QZGraphMol methyl = FromSmiles("[CH3]", /*embed=*/true);
  EXPECT_EQ(methyl.GetAtom(0)->GetRadicalElectrons(), 1U);
  EXPECT_FALSE(QZLacksHydrogens(methyl));
  const std::string text = Written(methyl);
  EXPECT_NE(text.find("M  RAD  1   1   2"), std::string::npos) << text;
  EXPECT_EQ(ReadOne(text).GetAtom(0)->GetRadicalElectrons(), 1U);
}

TEST(Chemistry, StandardResiduesHaveTheirUsualCharges) {
  // Gly-Asp-Lys-Arg-His-Phe, both ends charged: +1 -1 +1 +1 -1.
  const QZGraphMol peptide = FromSmiles(
      "[NH3+]CC(=O)N[C@@H](CC([O-])=O)C(=O)N[C@@H](CCCC[NH3+])C(=O)N[C@@H](CCCNC(N)=[NH2+])C(=O)"
      "N[C@@H](Cc1c[nH]cn1)C(=O)N[C@@H](Cc1ccccc1)C([O-])=O",
      /*embed=*/true);
  const std::vector<std::pair<const char*, const char*>> residues = {
      {"GLY", "N CA C O"},
      {"ASP", "N CA CB CG OD2 OD1 C O"},
      {"LYS", "N CA CB CG CD CE NZ C O"},
      {"ARG", "N CA CB CG CD NE CZ NH2 NH1 C O"},
      {"HIS", "N CA CB CG CD2 NE2 CE1 ND1 C O"},
      {"PHE", "N CA CB CG CD1 CE1 CZ CE2 CD2 C OXT O"}};
  QZGraphMol named = peptide;
  unsigned int index = 0;
  int number = 0;
  for (const auto& [name, atoms] : residues) {
    std::istringstream words(atoms);
    ++number;
    for (std::string word; words >> word; ++index) {
      QZResidue residue;
      residue.name = name;
      residue.number = number;
      residue.chain = "A";
      residue.atomName = word;
      QZSetResidue(*named.GetAtom(index), residue);
    }
  }
  for (auto& atom : QZRange(named.GetAtoms())) {
    if (atom.GetAtomicNumber() != 1) continue;
    QZResidue residue;
    for (const auto& carrier : QZRange(atom.GetNeighbours())) residue = *QZGetResidue(carrier);
    residue.atomName = 'H';
    QZSetResidue(atom, residue);
  }
  // PDB without charges, with and without hydrogens.
  const auto withoutCharges = [](QZGraphMol mol) {
    for (auto& atom : QZRange(mol.GetAtoms())) atom.SetFormalCharge(0);
    return ReadOne(Written(mol, PDB), PDB);
  };
  const QZGraphMol complete = withoutCharges(named);
  EXPECT_EQ(Charge(complete), 1);
  EXPECT_EQ(DoubleBonds(complete), DoubleBonds(peptide));
  EXPECT_EQ(QZFindMissing(complete), "");
  QZGraphMol bare = named;
  RemoveHydrogens(bare);
  bare = withoutCharges(bare);
  EXPECT_EQ(Charge(bare), 1);
  EXPECT_EQ(QZAddHydrogens(bare), static_cast<int>(peptide.NumAtoms()) - 54);
  EXPECT_EQ(bare.NumAtoms(), peptide.NumAtoms());
  EXPECT_STREQ(QZGetResidue(*bare.GetAtom(bare.NumAtoms() - 1))->name.c_str(), "PHE");
  // A hydrogen on the aspartate is taken as its protonation.
  QZGraphMol acid = named;
  const std::vector<double> x = Coords(acid);
  const auto beyond = [&x](std::size_t k) { return 1.8 * x[24 + k] - 0.8 * x[21 + k]; };  // of CG
  QZAtomBase* proton = acid.AddAtom(1, beyond(0), beyond(1), beyond(2));
  acid.AddBond(acid.GetAtom(8), proton);
  QZResidue residue = *QZGetResidue(*acid.GetAtom(8));
  residue.atomName = "HD2";
  QZSetResidue(*proton, residue);
  EXPECT_EQ(Charge(withoutCharges(acid)), 2);
}

TEST(Chemistry, OrdersOfOtherResiduesComeFromTemplatesOnly) {
  const QZGraphMol drug = DataMolecule("imatinib");
  const std::string smiles = "Cc1ccc(NC(=O)c2ccc(CN3CCN(C)CC3)cc2)cc1Nc1nccc(-c2cccnc2)n1";
  QZGraphMol bare = drug;
  RemoveHydrogens(bare);
  MessageCapture messages;
  for (const bool hasHydrogens : {true, false}) {
    SCOPED_TRACE(hasHydrogens);
    QZGraphMol mol = ReadOne(AsResidue(hasHydrogens ? drug : bare, "STI"), PDB);
    EXPECT_FALSE(QZHasBondOrders(mol));
    EXPECT_TRUE(QZLacksHydrogens(mol));
    EXPECT_NE(QZFindMissing(mol).find("residue STI 401 (chain B)"), std::string::npos);
    EXPECT_EQ(QZAddHydrogens(mol), -1);
    QZTemplates templates;
    std::string error;
    EXPECT_FALSE(templates.Apply(mol, error));
    ASSERT_TRUE(templates.AddSmiles("STI", "Cc1ccccc1", error)) << error;
    EXPECT_FALSE(templates.Apply(mol, error));
    EXPECT_NE(error.find("STI 401"), std::string::npos) << error;
    ASSERT_TRUE(templates.AddSmiles("STI", smiles, error)) << error;
    ASSERT_TRUE(templates.Apply(mol, error)) << error;
    EXPECT_EQ(QZAddHydrogens(mol), hasHydrogens ? 0 : 31);
    EXPECT_EQ(QZFindMissing(mol), "");
    EXPECT_EQ(Charge(mol), 0);
    EXPECT_EQ(DoubleBonds(mol), DoubleBonds(drug));
  }
  // XYZ: the whole molecule, all hydrogens there.
  QZGraphMol mol = ReadOne(Written(drug, XYZ), XYZ);
  EXPECT_EQ(QZAddHydrogens(mol), -1);
  QZTemplates templates;
  std::string error;
  EXPECT_FALSE(templates.AddSmiles("", "C1CC", error));
  EXPECT_FALSE(templates.AddFile("/nowhere.sdf", error));
  ASSERT_TRUE(templates.AddFile(std::string(MOLPOTENTIAL_DATA_DIR) + "/imatinib.sdf", error));
  ASSERT_TRUE(templates.Apply(mol, error)) << error;
  EXPECT_EQ(QZFindMissing(mol), "");
  EXPECT_EQ(DoubleBonds(mol), DoubleBonds(drug));
  const QZGraphMol water = ReadOne(Written(Water(), XYZ), XYZ);
  EXPECT_TRUE(QZHasBondOrders(water)) << "filled valences leave no choice";
}

TEST(Chemistry, HydrogensThatAreThereDecideTheProtonationOfATemplate) {
  MessageCapture messages;
  for (const auto& [smiles, charge] : {std::pair("CC(=O)[O-]", -1),
                                       std::pair("CC(=O)O", 0),
                                       std::pair("C[NH3+]", 1),
                                       std::pair("CN", 0)}) {
    QZGraphMol mol = ReadOne(AsResidue(FromSmiles(smiles, /*embed=*/true), "LIG"), PDB);
    QZTemplates templates;
    std::string error;
    templates.AddSmiles("LIG", "CC(=O)O", error);
    templates.AddSmiles("LIG", "CN", error);
    EXPECT_TRUE(templates.Apply(mol, error)) << error;
    EXPECT_EQ(Charge(mol), charge) << smiles;
    EXPECT_EQ(QZFindMissing(mol), "");
  }
}

TEST(Chemistry, DrawnSaltsKeepTheirSidesAndStandApart) {
  // Fumarate and maleate, as drawn, each with two ammonium ions on top of them.
  const auto drawn = [](double side) {
    QZGraphMol mol;
    QZAtomBase* c1 = mol.AddAtom(6, -0.6, 0.0, 0.0);
    QZAtomBase* c2 = mol.AddAtom(6, 0.6, 0.0, 0.0);
    mol.AddBond(c1, c2, 2);
    for (const double x : {-1.0, 1.0}) {
      const double y = x < 0.0 ? 1.0 : side;
      QZAtomBase* c = mol.AddAtom(6, 1.3 * x, y, 0.0);
      mol.AddBond(x < 0.0 ? c1 : c2, c);
      mol.AddBond(c, mol.AddAtom(8, 2.6 * x, y, 0.0), 2);
      QZAtomBase* oxide = mol.AddAtom(8, 0.6 * x, 2.2 * y, 0.0);
      oxide->SetFormalCharge(-1);
      mol.AddBond(c, oxide);
    }
    for (const double x : {0.0, 0.5}) mol.AddAtom(7, x, 0.5, 0.0)->SetFormalCharge(1);
    return mol;
  };
  for (const double side : {1.0, -1.0}) {
    QZGraphMol mol = drawn(side);
    EXPECT_EQ(QZAddHydrogens(mol), 10);
    ASSERT_TRUE(QZMakeCoordinates(mol));
    const double turn =
        QZGetTorsion(mol, mol.GetAtom(2), mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(5));
    EXPECT_EQ(std::fabs(turn) < 1.57, side > 0.0) << turn;
    std::vector<unsigned int> parts(mol.AtomIndexBound());
    ASSERT_EQ(QZDetermineComponents(mol, parts.data()), 3U);
    for (const auto& a : QZRange(mol.GetAtoms())) {
      for (const auto& b : QZRange(mol.GetAtoms())) {
        if (parts[a.GetIndex()] == parts[b.GetIndex()]) continue;
        EXPECT_GT(QZGetDistance(mol, &a, &b), 2.0);
      }
    }
    ASSERT_TRUE(QZKeepLargestFragment(mol));
    EXPECT_EQ(mol.NumAtoms(), 10U);
    EXPECT_FALSE(QZKeepLargestFragment(mol));
  }
}

TEST(Chemistry, SmilesFilesGiveStructuresWithTheirStereo) {
  MessageCapture messages;
  const auto reading = ReadAll(
      "\nC[C@H](N)C(=O)O L-alanine\nC[C@@H](N)C(=O)O\tD alanine \nC/C=C/C\nC/C=C\\C\nC1CC bad\n"
      "[Na+].[Cl-] salt",
      SMILES);
  ASSERT_EQ(reading.records.size(), 6U);
  EXPECT_EQ(reading.titles, "L-alanine;D alanine;;;salt;");
  EXPECT_NE(reading.records[4].error.find("C1CC"), std::string::npos);
  const auto handedness = [](const QZGraphMol& mol) {
    return QZGetTorsion(mol, mol.GetAtom(2), mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(3)) > 0.0;
  };
  EXPECT_NE(handedness(reading.molecules[0]), handedness(reading.molecules[1]));
  for (const std::size_t k : {2, 3}) {
    const QZGraphMol& mol = reading.molecules[k];
    const double turn =
        QZGetTorsion(mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2), mol.GetAtom(3));
    EXPECT_EQ(std::fabs(turn) > 1.57, k == 2);
    EXPECT_EQ(QZFindMissing(mol), "");
    EXPECT_EQ(Written(mol, SMILES), k == 2 ? "C/C=C/C\n" : "C/C=C\\C\n");
  }
  // The same from a molecule made by hand, several times.
  QZGraphMol mol = FromSmiles("C[C@H](N)CCCCC");
  std::vector<std::vector<double>> conformers;
  ASSERT_TRUE(QZMakeConformers(mol, {.count = 10, .rmsThreshold = 0.3}, conformers));
  EXPECT_GT(conformers.size(), 3U);
  for (const auto& coords : conformers) {
    mol.SetCoords(coords.data());
    EXPECT_EQ(handedness(mol), handedness(reading.molecules[0]));
  }
}

}  // namespace
