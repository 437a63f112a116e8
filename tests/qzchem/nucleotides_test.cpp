// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <GraphMol/DistGeomHelpers/Embedder.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/FileParsers/SequenceParsers.h>
#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>
#include <GraphMol/SmilesParse/SmilesParse.h>
#include <GraphMol/SmilesParse/SmilesWrite.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZChem;
using namespace TestSupport;
using enum QZMolFormat;

std::string FlatSmiles(const RDKit::ROMol& mol) {
  return RDKit::MolToSmiles(mol, /*doIsomericSmiles=*/false);
}

// The atoms alone, as most files of macromolecules have them.
std::string AtomLines(const RDKit::ROMol& mol) {
  std::istringstream in(RDKit::MolToPDBBlock(mol));
  std::string text;
  for (std::string line; std::getline(in, line);) {
    if (!line.starts_with("CONECT")) text += line + "\n";
  }
  return text;
}

// A strand of RDKit's own making, whose bonds and charges come back from names and places alone.
TEST(Nucleotides, HaveTheBondsAndChargesOfTheirTemplates) {
  for (const auto& [sequence, flavor] : {std::pair{"ACGU", 2}, std::pair{"ACGT", 6}}) {
    SCOPED_TRACE(sequence);
    std::unique_ptr<RDKit::RWMol> whole(RDKit::SequenceToMol(sequence, true, flavor));
    ASSERT_NE(whole, nullptr);
    RDKit::MolOps::addHs(*whole, false, false, nullptr, /*addResidueInfo=*/true);
    ASSERT_EQ(RDKit::DGeomHelpers::EmbedMolecule(*whole, 0, 7), 0);
    RDKit::RWMol heavy(*whole);
    RDKit::MolOps::removeHs(heavy);
    QZGraphMol mol = ReadOne(AtomLines(heavy), PDB);
    EXPECT_TRUE(QZHasBondOrders(mol));
    // Phosphates without their protons.
    for (RDKit::Atom* atom : heavy.atoms()) {
      if (atom->getAtomicNum() != 8 || atom->getTotalNumHs() != 1) continue;
      if ((*heavy.atomNeighbors(atom).begin())->getAtomicNum() != 15) continue;
      atom->setFormalCharge(-1);
      atom->setNumExplicitHs(0);
      atom->updatePropertyCache();
    }
    EXPECT_EQ(RDKit::MolOps::getFormalCharge(heavy), -3);
    EXPECT_GT(QZAddHydrogens(mol), 30);
    EXPECT_EQ(QZFindMissing(mol), "");
    std::unique_ptr<RDKit::RWMol> found(RDKit::SmilesToMol(Written(mol, SMILES)));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(FlatSmiles(*found), FlatSmiles(heavy));
    // The hydrogens that are there are the protonation state: none is charged.
    const QZGraphMol neutral = ReadOne(RDKit::MolToPDBBlock(*whole), PDB);
    for (const auto& atom : QZSystem::QZRange(neutral.GetAtoms())) {
      EXPECT_EQ(atom.GetFormalCharge(), 0) << atom.GetIndex();
    }
    EXPECT_EQ(QZFindMissing(neutral), "");
  }
}

}  // namespace
