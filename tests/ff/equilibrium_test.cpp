// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/equilibrium.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "qzchem/geometry.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using QZChem::QZAtomBase;

constexpr double kHydrogenEnd = 1.88;  // H-C-x, radians
constexpr double kCarbonChain = 1.95;

double Length(const QZChem::QZBondBase& bond) {
  return bond.GetBegin()->GetAtomicNumber() * bond.GetEnd()->GetAtomicNumber() == 36 ? 1.52 : 1.11;
}

// Lengths for all bonds; angles for all but H-x-H.
class AlkaneParams final : public QZEmptyFFParams {
 public:
  explicit AlkaneParams(std::string* asked) : asked_(asked) {}
  AlkaneParams* CreateCopy() const override { return new AlkaneParams(*this); }
  bool GetBondParams(QZInteractParams& record, const QZChem::QZBondBase* bond) const override {
    return record.Set(0, Length(*bond));
  }
  bool GetAngleParams(QZInteractParams& record,
                      const QZAtomBase* end1,
                      const QZAtomBase* centre,
                      const QZAtomBase* end2) const override {
    for (const auto* atom : {end1, centre, end2}) *asked_ += std::to_string(atom->GetIndex());
    *asked_ += " ";
    const unsigned int ends = end1->GetAtomicNumber() * end2->GetAtomicNumber();
    return ends > 1 && record.Set(0, ends == 36 ? kCarbonChain : kHydrogenEnd);
  }

 private:
  std::string* asked_;
};

double AngleAt(const QZChem::QZMolBase& mol, unsigned int i) {
  return QZChem::QZGetAngle(mol, mol.GetAtom(i - 1), mol.GetAtom(i), mol.GetAtom(i + 1));
}

TEST(Equilibrium, SetsEveryBondAndWithAnglesTheChainToo) {
  for (const bool angles : {false, true}) {
    std::string asked;
    auto mol = angles ? TestSupport::CarbonChain(6) : TestSupport::Butane();
    const double before = AngleAt(mol, 1);
    ResetBondsAnglesAtFFEquilibriumParams(mol, AlkaneParams(&asked), angles);
    for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
      EXPECT_NEAR(QZChem::QZGetDistance(mol, bond.GetBegin(), bond.GetEnd()), Length(bond), 1e-12);
    }
    EXPECT_EQ(asked.empty(), !angles);
    EXPECT_NEAR(AngleAt(mol, 1), angles ? kCarbonChain : before, 1e-12);
    EXPECT_TRUE(!angles || std::abs(AngleAt(mol, 4) - kCarbonChain) <= 1e-12);
  }
}

TEST(Equilibrium, AsksForAnglesInBondOrderAndMovesNothingWithoutParameters) {
  std::string asked;
  auto mol = TestSupport::Water();
  mol.AddBond(mol.AddAtom(1, -0.5, 0.0, 0.9), mol.GetAtom(0));
  const auto before = TestSupport::Coords(mol);
  ResetBondsAnglesAtFFEquilibriumParams(mol, QZEmptyFFParams(), /*resetAngles=*/true);
  EXPECT_EQ(TestSupport::Coords(mol), before);
  ResetBondsAnglesAtFFEquilibriumParams(mol, AlkaneParams(&asked), /*resetAngles=*/true);
  EXPECT_EQ(asked, "102 103 203 ");
}

}  // namespace
