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
using QZSystem::QZRange;

std::string Elements(const QZMolBase& mol) {
  std::string text;
  for (const auto& atom : QZRange(mol.GetAtoms())) {
    text += QZGetAtomicSymbol(atom.GetAtomicNumber());
  }
  return text;
}

// Every atom knows its bonds and every bond its ends, all within `mol`.
void ExpectConsistent(const QZMolBase& mol) {
  unsigned int ends = 0;
  for (const auto& atom : QZRange(mol.GetAtoms())) {
    EXPECT_EQ(&atom.GetMol(), &mol);
    EXPECT_EQ(mol.GetAtom(atom.GetIndex()), &atom);
    for (const auto& bond : QZRange(atom.GetBonds())) {
      ++ends;
      EXPECT_EQ(mol.GetBond(bond.GetIndex()), &bond);
      EXPECT_EQ(bond.GetNeighbour(bond.GetNeighbour(&atom)), &atom);
      EXPECT_EQ(mol.GetAtom(bond.GetNeighbour(&atom)->GetIndex()), bond.GetNeighbour(&atom));
    }
  }
  EXPECT_EQ(ends, 2 * mol.NumBonds());
}

TEST(Mol, DeletionLeavesHolesUntilSweep) {
  QZGraphMol mol = TestSupport::WaterDimer();
  const QZAtomBase* last = mol.GetAtom(5);
  ASSERT_TRUE(mol.DeleteAtom(mol.GetAtom(1)));
  EXPECT_EQ(mol.NumAtoms(), 5U);
  EXPECT_EQ(mol.AtomIndexBound(), 6U);
  EXPECT_EQ(mol.NumBonds(), 3U);
  EXPECT_EQ(mol.BondIndexBound(), 4U);
  EXPECT_EQ(mol.GetAtom(1), nullptr);
  EXPECT_EQ(mol.GetAtom(99), nullptr);
  EXPECT_EQ(last->GetIndex(), 5U);
  std::vector<double> coords = TestSupport::Coords(mol);
  EXPECT_EQ((std::vector<double>(coords.begin() + 3, coords.begin() + 6)),
            (std::vector<double>(3, 0.0)));
  coords[3] = 7.0;
  mol.SetCoords(coords.data());
  EXPECT_EQ(TestSupport::Coords(mol)[3], 0.0);

  const QZGraphMol copy = mol;
  EXPECT_EQ(copy.AtomIndexBound(), 6U);
  ExpectConsistent(copy);
  mol.Sweep();
  EXPECT_EQ(mol.AtomIndexBound(), 5U);
  EXPECT_EQ(mol.BondIndexBound(), 3U);
  EXPECT_EQ(last->GetIndex(), 4U);
  EXPECT_EQ(Elements(mol), "OHOHH");
  EXPECT_EQ(TestSupport::Coords(mol)[12], coords[15]);
  ExpectConsistent(mol);
}

TEST(Mol, CopyIsDeepAndMoveKeepsAtoms) {
  const unsigned int tag = QZSystem::QZGetTag("mol test");
  QZGraphMol original = TestSupport::Butane();
  original.SetData(tag, 1);
  original.GetAtom(2)->SetData(tag, std::string("atom"));
  original.GetBond(0)->SetData(tag, 2.5);
  QZSetSDData(original, "b", "1");
  QZSetSDData(original, "a", "2");
  original.SetEnergy(-3.0);
  QZGraphMol copy(static_cast<const QZMolBase&>(original));
  original.GetAtom(2)->SetData(tag, std::string("changed"));
  original.DeleteAtom(original.GetAtom(0));
  EXPECT_EQ(copy.NumAtoms(), 14U);
  EXPECT_EQ(*copy.GetAtom(2)->GetData<std::string>(tag), "atom");
  EXPECT_EQ(*copy.GetBond(0)->GetData<double>(tag), 2.5);
  EXPECT_EQ(*copy.GetData<int>(tag), 1);
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
  QZGraphMol mol = TestSupport::Water();
  QZGraphMol other = TestSupport::Water();
  QZAtomBase* o = mol.GetAtom(0);
  EXPECT_EQ(mol.AddBond(o, o), nullptr);
  EXPECT_EQ(mol.AddBond(mol.GetAtom(1), o), nullptr) << "a repeat, ends exchanged";
  EXPECT_EQ(mol.AddBond(mol.GetAtom(1), other.GetAtom(2)), nullptr);
  EXPECT_EQ(mol.AddBond(mol.GetAtom(1), mol.GetAtom(2), 4), nullptr);
  EXPECT_EQ(mol.AddBond(mol.GetAtom(1), nullptr), nullptr);
  EXPECT_FALSE(mol.DeleteAtom(other.GetAtom(0)));
  EXPECT_FALSE(mol.DeleteBond(other.GetBond(0)));
  const double place[3] = {1, 2, 3};
  EXPECT_FALSE(mol.SetCoords(other.GetAtom(0), place));
  EXPECT_FALSE(QZGraphMol().IsValid());
  EXPECT_EQ(o->GetDegree(), 2U);
  EXPECT_EQ(o->GetHeavyDegree(), 0U);
}

TEST(Mol, PerceptionFollowsEditsAndIgnoresCoordinates) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "CC=CC=CC"));
  EXPECT_FALSE(mol.GetBond(1)->IsInRing());
  QZBondBase* closing = mol.AddBond(mol.GetAtom(0), mol.GetAtom(5));
  EXPECT_TRUE(mol.GetBond(1)->IsInRing());
  EXPECT_FALSE(mol.GetBond(1)->IsAromatic());
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound(), 1.0);
  mol.SetCoords(coords.data());
  EXPECT_TRUE(mol.GetBond(1)->IsInRing());
  const QZGraphMol copy = mol;
  mol.DeleteBond(closing);
  EXPECT_FALSE(mol.GetBond(1)->IsInRing());
  EXPECT_TRUE(copy.GetBond(1)->IsInRing());

  QZSmilesToMol(mol, "c1ccccc1");
  EXPECT_TRUE(mol.GetBond(0)->IsAromatic());
  mol.DeleteAtom(mol.GetAtom(0));
  EXPECT_FALSE(mol.GetBond(2)->IsAromatic());
}

TEST(Mol, UnusualChemistryIsStillPerceived) {
  QZGraphMol mol;
  ASSERT_TRUE(QZSmilesToMol(mol, "c1ccccc1C"));
  QZAtomBase* carbon = mol.GetAtom(6);
  for (int i = 0; i < 3; ++i) mol.AddBond(carbon, mol.AddAtom(9));
  mol.AddAtom(150);
  EXPECT_TRUE(mol.GetBond(0)->IsAromatic()) << "beside a carbon with seven bonds";
  EXPECT_FALSE(QZLacksHydrogens(mol));
}

}  // namespace
