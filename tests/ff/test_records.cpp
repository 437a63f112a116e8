// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <stdexcept>
#include <vector>

#include "molpotential/ffparams.h"
#include "molpotential/interaction.h"
#include "molpotential/interactparams.h"
#include "qzchem/mol.h"
#include "support/capture.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using QZChem::QZAtomBase;
using QZChem::QZBondBase;
using TestSupport::MessageCapture;

constexpr const char* kOutOfRange = "array index passed to QZInteractParams out of range";
constexpr unsigned int kNoIndex = std::numeric_limits<unsigned int>::max();

auto IsAtom(unsigned int index) {
  return QZSystem::QZMakeUnaryPredicate<QZAtomBase>(
      [index](const QZAtomBase& atom) { return atom.GetIndex() == index; });
}
auto IsBond(const QZBondBase* wanted) {
  return QZSystem::QZMakeUnaryPredicate<QZBondBase>(
      [wanted](const QZBondBase& bond) { return &bond == wanted; });
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

TEST(InteractParams, OnlyTheSubscriptThrowsOutOfRange) {
  MessageCapture messages;
  QZInteractParams record;
  EXPECT_TRUE(record.Set(9, 4.0));
  EXPECT_EQ(record[9], 4.0);
  record[0] = -1.0;
  EXPECT_TRUE(record.SetList(3, {1.0, 2.0}));
  EXPECT_TRUE(messages.All().empty());
  EXPECT_EQ(record.Get(10), 0.0);
  EXPECT_FALSE(record.Set(10, 1.0));
  EXPECT_TRUE(record.GetList(4).empty());
  EXPECT_FALSE(record.SetList(4, {1.0}));
  EXPECT_EQ(messages.Warnings(), std::vector<std::string>(4, kOutOfRange));
  EXPECT_THROW(record[10], std::out_of_range);
  EXPECT_EQ(messages.At(QZSystem::QZErrorLevel::Error), std::vector<std::string>{kOutOfRange});
  const QZInteractParams copy = record;
  record.Clear();
  EXPECT_EQ(record.Get(0), 0.0);
  EXPECT_EQ(record.GetList(3).size(), 2U) << "the lists stay";
  EXPECT_EQ(copy.Get(9), 4.0);
}

TEST_F(Chain, BendFindsItsApexWhicheverWayTheBondsPoint) {
  const QZBendParams bend(b21, b01);
  EXPECT_TRUE(bend.IsValid());
  EXPECT_EQ(bend.GetAtomIndex1(), 2U);
  EXPECT_EQ(bend.GetAtomIndex2(), 1U);
  EXPECT_EQ(bend.GetAtomIndex3(), 0U);
  EXPECT_TRUE(bend.IsAngle(atoms[0], atoms[1], atoms[2]));
  EXPECT_FALSE(bend.IsAngle(atoms[1], atoms[0], atoms[2]));
  EXPECT_EQ(QZBendParams(b21, b23).GetAtomIndex2(), 2U) << "shared begin";
  EXPECT_EQ(QZBendParams(b01, b14).GetAtomIndex2(), 1U) << "bond2's begin is bond1's end";
  for (unsigned int i = 0; i < 5; ++i) EXPECT_EQ(bend.IsValid(IsAtom(i)), i <= 2) << i;
  EXPECT_TRUE(bend.IsValid(QZSystem::QZMakeBinaryPredicate<QZBondBase, QZBondBase>(
      [this](const QZBondBase& a, const QZBondBase& b) { return &a == b21 && &b == b01; })));
}

TEST_F(Chain, BrokenRecordsWarnAndDropOutOfEverySelection) {
  MessageCapture messages;
  const QZBendParams bend(b01, b23);
  const QZTorsionParams notBonded(b21, atoms[0], atoms[4]);
  const QZTorsionParams onTheBond(b21, atoms[0], atoms[1]);
  const QZTorsionParams missing(nullptr, atoms[0], atoms[3]);
  EXPECT_EQ(messages.Warnings(),
            (std::vector<std::string>{"Invalid Angle in QZBendParams",
                                      "Invalid Dihedral in QZTorsionParams",
                                      "Invalid Dihedral in QZTorsionParams",
                                      "Invalid Dihedral in QZTorsionParams"}));
  EXPECT_FALSE(bend.IsValid());
  EXPECT_FALSE(bend.IsValid(QZSystem::QZUnaryTrue<QZAtomBase>()));
  EXPECT_FALSE(bend.IsValid(QZSystem::QZBinaryTrue<QZBondBase, QZBondBase>()));
  EXPECT_FALSE(bend.IsAngle(nullptr, nullptr, nullptr));
  EXPECT_EQ(bend.GetAtomIndex2(), kNoIndex);
  for (const auto* torsion : {&notBonded, &onTheBond, &missing}) {
    EXPECT_FALSE(torsion->IsValid());
    EXPECT_FALSE(torsion->IsValid(QZSystem::QZUnaryTrue<QZAtomBase>()));
    EXPECT_FALSE(torsion->IsValid(QZSystem::QZUnaryTrue<QZBondBase>()));
    EXPECT_EQ(torsion->GetAtomIndex1(), 0U);
    EXPECT_EQ(torsion->GetAtomIndex3(), kNoIndex);
  }
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
  for (unsigned int i = 0; i < 5; ++i) EXPECT_EQ(torsion.IsValid(IsAtom(i)), i <= 3) << i;
  EXPECT_TRUE(torsion.IsValid(IsBond(b21)));
  EXPECT_FALSE(torsion.IsValid(IsBond(b23)));
}

TEST_F(Chain, StretchPairAndOutOfPlaneSelectByAnyAtom) {
  const QZStretchParams stretch(b21);
  EXPECT_EQ(stretch.GetAtomIndex1(), 2U);
  EXPECT_EQ(stretch.GetAtomIndex2(), 1U);
  EXPECT_TRUE(stretch.IsBond(b21));
  EXPECT_TRUE(stretch.IsValid(IsBond(b21)));
  const QZVdwParams pair(atoms[3], atoms[0]);
  EXPECT_TRUE(pair.IsPair(atoms[0], atoms[3]));
  EXPECT_FALSE(pair.IsPair(atoms[0], atoms[0]));
  EXPECT_TRUE(pair.IsValid(QZSystem::QZMakeBinaryPredicate<QZAtomBase, QZAtomBase>(
      [](const QZAtomBase& a, const QZAtomBase& b) { return a.GetIndex() > b.GetIndex(); })));
  const QZOutOfPlaneParams plane(atoms[0], atoms[1], atoms[2], atoms[4]);
  EXPECT_EQ(plane.GetAtomIndex4(), 4U);
  for (unsigned int i = 0; i < 5; ++i) {
    EXPECT_EQ(stretch.IsValid(IsAtom(i)), i == 1 || i == 2) << i;
    EXPECT_EQ(pair.IsValid(IsAtom(i)), i == 0 || i == 3) << i;
    EXPECT_EQ(plane.IsValid(IsAtom(i)), i != 3) << i;
  }
}

TEST(EmptyParams, HaveNothingForAnyTerm) {
  auto water = TestSupport::Water();
  const QZEmptyFFParams empty;
  const std::unique_ptr<QZFFParams> params(empty.CreateCopy());
  QZInteractParams record;
  const auto* o = water.GetAtom(0);
  EXPECT_FALSE(params->PrepMol(water, true, true));
  EXPECT_FALSE(params->GetBondParams(record, water.GetBond(0)));
  EXPECT_FALSE(params->GetAngleParams(record, water.GetAtom(1), o, water.GetAtom(2)));
  EXPECT_FALSE(params->HasParams(water));
  EXPECT_EQ(params->GetAtomType(o), 0U);
  EXPECT_STREQ(params->GetAtomTypeName(o), "");
  EXPECT_EQ(params->GetPartialCharge(o), 0.0);
  EXPECT_STREQ(params->GetName(), "");
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
  double out[2];
  EXPECT_EQ(copy.GetValues(out), 6.0);
  EXPECT_EQ(out[1], -4.0);
  EXPECT_EQ(original.GetValues(out), 3.0);
  EXPECT_EQ(out[0], 1.0);
  original = copy;
  EXPECT_EQ(original.GetValues(nullptr), 6.0);
  EXPECT_STREQ(original.GetName(), "term");
  ASSERT_EQ(original.NumAtoms(), 2U);
  const std::unique_ptr<QZSystem::QZIterBase<QZAtomBase>> it(original.GetAtoms());
  EXPECT_EQ(&**it, water.GetAtom(2));
  QZInteraction bare(*new QZInteractImpl("bare", 5.0, 0, nullptr, {}));
  *bare.GetImpl() *= 2.0;
  EXPECT_EQ(bare.GetValues(out), 10.0);
  EXPECT_EQ(bare.NumValues(), 0U);
}

}  // namespace
