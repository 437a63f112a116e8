// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "molpotential/interaction.h"
#include "molpotential/interactparams.h"
#include "qzchem/mol.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using QZChem::QZAtomBase;
using QZChem::QZBondBase;
using TestSupport::MessageCapture;

constexpr unsigned int kNoIndex = std::numeric_limits<unsigned int>::max();

// The indices of the atoms that select a record, as digits.
std::string Selecting(const auto& record) {
  std::string digits;
  for (unsigned int i = 0; i < 5; ++i) {
    const auto isIt = TestSupport::AtomsWhere([i](unsigned int atom) { return atom == i; });
    if (record.IsValid(isIt)) digits += std::to_string(i);
  }
  return digits;
}

// A four-membered chain 0-1-2-3 with the middle bond drawn backwards, and a branch 4 on 1.
struct Chain : testing::Test {
  Chain() {
    for (auto*& atom : atoms) atom = mol.AddAtom(6);
    b01 = mol.AddBond(atoms[0], atoms[1]);
    b21 = mol.AddBond(atoms[2], atoms[1]);
    b23 = mol.AddBond(atoms[2], atoms[3]);
    b14 = mol.AddBond(atoms[1], atoms[4]);
  }
  QZChem::QZGraphMol mol;
  QZAtomBase* atoms[5];
  QZBondBase* b01;
  QZBondBase* b21;
  QZBondBase* b23;
  QZBondBase* b14;
};

TEST_F(Chain, BendFindsItsApexWhicheverWayTheBondsPoint) {
  const QZBendParams bend(b21, b01);
  EXPECT_TRUE(bend.IsValid());
  EXPECT_TRUE(bend.IsAngle(atoms[0], atoms[1], atoms[2]));
  EXPECT_FALSE(bend.IsAngle(atoms[1], atoms[0], atoms[2]));
  EXPECT_EQ(bend.GetAtomIndex1(), 2U);
  EXPECT_EQ(bend.GetAtomIndex2(), 1U);
  EXPECT_EQ(QZBendParams(b21, b23).GetAtomIndex2(), 2U) << "shared begin";
  EXPECT_EQ(QZBendParams(b01, b14).GetAtomIndex2(), 1U) << "bond2's begin is bond1's end";
  EXPECT_EQ(Selecting(bend), "012");
  EXPECT_TRUE(bend.IsValid(QZSystem::QZMakeBinaryPredicate<QZBondBase, QZBondBase>(
      [this](const QZBondBase& a, const QZBondBase& b) { return &a == b21 && &b == b01; })));
}

TEST_F(Chain, BrokenRecordsWarnAndDropOutOfEverySelection) {
  MessageCapture messages;
  const QZBendParams bend(b01, b23);
  EXPECT_EQ(messages.Warnings(), std::vector<std::string>{"Invalid Angle in QZBendParams"});
  EXPECT_FALSE(bend.IsValid());
  EXPECT_EQ(Selecting(bend), "");
  EXPECT_FALSE(bend.IsValid(QZSystem::QZBinaryTrue<QZBondBase, QZBondBase>()));
  EXPECT_FALSE(bend.IsAngle(nullptr, nullptr, nullptr));
  EXPECT_EQ(bend.GetAtomIndex2(), kNoIndex);
  messages.Clear();
  for (const auto& torsion : {QZTorsionParams(b21, atoms[0], atoms[4]),  // not bonded
                              QZTorsionParams(b21, atoms[0], atoms[1]),  // on the bond
                              QZTorsionParams(nullptr, atoms[0], atoms[3])}) {
    EXPECT_FALSE(torsion.IsValid());
    EXPECT_EQ(Selecting(torsion), "");
    EXPECT_FALSE(torsion.IsValid(QZSystem::QZUnaryTrue<QZBondBase>()));
    EXPECT_EQ(torsion.GetAtomIndex3(), kNoIndex);
  }
  EXPECT_EQ(messages.Warnings(),
            std::vector<std::string>(3, "Invalid Dihedral in QZTorsionParams"));
}

TEST_F(Chain, TorsionOrdersItsCentreByTheEndAtoms) {
  const QZTorsionParams torsion(b21, atoms[0], atoms[3]);
  EXPECT_TRUE(torsion.IsValid());
  EXPECT_EQ(torsion.GetAtomIndex1(), 0U);
  EXPECT_EQ(torsion.GetAtomIndex2(), 1U);
  EXPECT_EQ(torsion.GetAtomIndex3(), 2U);
  EXPECT_EQ(torsion.GetAtomIndex4(), 3U);
  const auto& a = atoms;
  EXPECT_TRUE(torsion.IsTorsion(a[0], a[1], a[2], a[3]));
  EXPECT_TRUE(torsion.IsTorsion(a[3], a[2], a[1], a[0]));
  EXPECT_TRUE(torsion.IsTorsion(a[0], a[2], a[1], a[3])) << "the middle pair in either order";
  EXPECT_FALSE(torsion.IsTorsion(a[4], a[1], a[2], a[3]));
  EXPECT_EQ(Selecting(torsion), "0123");
  for (const auto* bond : {b21, b23}) {
    EXPECT_EQ(torsion.IsValid(QZSystem::QZMakeUnaryPredicate<QZBondBase>(
                  [bond](const QZBondBase& b) { return &b == bond; })),
              bond == b21);
  }
}

TEST_F(Chain, StretchPairAndOutOfPlaneSelectByAnyAtom) {
  const QZVdwParams pair(atoms[3], atoms[0]);
  EXPECT_TRUE(pair.IsPair(atoms[0], atoms[3]));
  EXPECT_FALSE(pair.IsPair(atoms[0], atoms[0]));
  EXPECT_TRUE(pair.IsValid(QZSystem::QZMakeBinaryPredicate<QZAtomBase, QZAtomBase>(
      [](const QZAtomBase& a, const QZAtomBase& b) { return a.GetIndex() > b.GetIndex(); })));
  EXPECT_EQ(Selecting(pair), "03");
  EXPECT_EQ(Selecting(QZStretchParams(b21)), "12");
  EXPECT_EQ(Selecting(QZOutOfPlaneParams(atoms[0], atoms[1], atoms[2], atoms[4])), "0124");
}

TEST(Interaction, CopiesAreDeepAndScalingReachesEveryNumber) {
  auto water = TestSupport::Water();
  double values[2] = {1.0, -2.0};
  std::vector<QZAtomBase*> atoms{water.GetAtom(2), water.GetAtom(0)};
  QZInteraction original(*new QZInteractImpl("term", 3.0, 2, values, atoms));
  values[0] = 99.0;
  atoms.clear();
  QZInteraction copy(original);
  *copy.GetImpl() *= 2.0;
  EXPECT_EQ(copy.GetValues(values), 6.0);
  EXPECT_EQ(values[1], -4.0);
  EXPECT_EQ(original.GetValues(values), 3.0);
  EXPECT_EQ(values[0], 1.0);
  original = copy;
  EXPECT_EQ(original.GetValues(nullptr), 6.0);
  ASSERT_EQ(original.NumAtoms(), 2U);
  const std::unique_ptr<QZSystem::QZIterBase<QZAtomBase>> it(original.GetAtoms());
  EXPECT_EQ(&**it, water.GetAtom(2));
}

}  // namespace
