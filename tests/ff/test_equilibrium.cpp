// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "molpotential/equilibrium.h"
#include "qzchem/geometry.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using QZChem::QZAtomBase;

constexpr double kCarbonCarbon = 1.52;
constexpr double kCarbonHydrogen = 1.11;
constexpr double kHydrogenEnd = 1.88;  // H-C-x, radians
constexpr double kCarbonChain = 1.95;

bool IsHydrogen(const QZAtomBase* atom) {
  return atom->GetAtomicNumber() == 1;
}

// Lengths for all bonds; angles for all but H-x-H.
class AlkaneParams final : public QZEmptyFFParams {
 public:
  explicit AlkaneParams(std::vector<std::array<unsigned int, 3>>* asked) : asked_(asked) {}
  AlkaneParams* CreateCopy() const override { return new AlkaneParams(*this); }
  bool GetBondParams(QZInteractParams& record, const QZChem::QZBondBase* bond) const override {
    const bool hydrogen = IsHydrogen(bond->GetBegin()) || IsHydrogen(bond->GetEnd());
    return record.Set(0, hydrogen ? kCarbonHydrogen : kCarbonCarbon);
  }
  bool GetAngleParams(QZInteractParams& record,
                      const QZAtomBase* end1,
                      const QZAtomBase* centre,
                      const QZAtomBase* end2) const override {
    asked_->push_back({end1->GetIndex(), centre->GetIndex(), end2->GetIndex()});
    if (IsHydrogen(end1) && IsHydrogen(end2)) return false;
    const bool hydrogen = IsHydrogen(end1) || IsHydrogen(end2);
    return record.Set(0, hydrogen ? kHydrogenEnd : kCarbonChain);
  }

 private:
  std::vector<std::array<unsigned int, 3>>* asked_;
};

TEST(Equilibrium, SetsEveryBondAndOnlyThoseWithoutAngles) {
  std::vector<std::array<unsigned int, 3>> asked;
  auto mol = TestSupport::Butane();
  const double before = QZChem::QZGetAngle(mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2));
  ResetBondsAnglesAtFFEquilibriumParams(mol, AlkaneParams(&asked), /*resetAngles=*/false);
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    const bool hydrogen = IsHydrogen(bond.GetBegin()) || IsHydrogen(bond.GetEnd());
    EXPECT_NEAR(QZChem::QZGetDistance(mol, bond.GetBegin(), bond.GetEnd()),
                hydrogen ? kCarbonHydrogen : kCarbonCarbon,
                1e-12);
  }
  EXPECT_NEAR(
      QZChem::QZGetAngle(mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2)), before, 1e-12);
  EXPECT_TRUE(asked.empty());
}

TEST(Equilibrium, AsksForAnglesInBondOrderAfterAllBonds) {
  std::vector<std::array<unsigned int, 3>> asked;
  auto mol = TestSupport::Water();
  mol.AddBond(mol.AddAtom(1, -0.5, 0.0, 0.9), mol.GetAtom(0));
  ResetBondsAnglesAtFFEquilibriumParams(mol, AlkaneParams(&asked), /*resetAngles=*/true);
  const std::vector<std::array<unsigned int, 3>> expected{{1, 0, 2}, {1, 0, 3}, {2, 0, 3}};
  EXPECT_EQ(asked, expected);

  auto chain = TestSupport::CarbonChain(6);
  ResetBondsAnglesAtFFEquilibriumParams(chain, AlkaneParams(&asked), /*resetAngles=*/true);
  for (unsigned int i = 1; i < 5; ++i) {
    const auto* centre = chain.GetAtom(i);
    EXPECT_NEAR(QZChem::QZGetAngle(chain, chain.GetAtom(i - 1), centre, chain.GetAtom(i + 1)),
                kCarbonChain,
                1e-12);
    EXPECT_NEAR(QZChem::QZGetDistance(chain, centre, chain.GetAtom(i + 1)), kCarbonCarbon, 1e-12);
  }
}

TEST(Equilibrium, WithoutParametersNothingMoves) {
  auto mol = TestSupport::Butane();
  const auto before = TestSupport::Coords(mol);
  ResetBondsAnglesAtFFEquilibriumParams(mol, QZEmptyFFParams(), /*resetAngles=*/true);
  EXPECT_EQ(TestSupport::Coords(mol), before);
}

}  // namespace
