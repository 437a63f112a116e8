// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/torsionangle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "qzchem/geometry.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZConstr::QZTorsionAngleRestraint;
using TestSupport::Coords;

TEST(TorsionAngleRestraint, KeepsTheContractAtEveryAngle) {
  auto mol = TestSupport::Butane();
  std::mt19937 rng(7);
  for (const double degrees : {-179.9, -120.0, -0.001, 0.0, 0.001, 65.0, 179.9}) {
    QZChem::QZSetTorsion(mol,
                         mol.GetAtom(0),
                         mol.GetAtom(1),
                         mol.GetAtom(2),
                         mol.GetAtom(3),
                         degrees * std::numbers::pi / 180.0);
    const auto make = [] {
      auto* restraint = new QZTorsionAngleRestraint(3.0, 0.4);
      restraint->SetTorsion(0, 1, 2, 3);
      return restraint;
    };
    TestSupport::ContractOptions options;
    options.rigidInvariant = true;
    EXPECT_EQ(TestSupport::CheckContract(make, mol, Coords(mol), options), "") << degrees;
    const auto jittered = TestSupport::Jittered(Coords(mol), 0.2, rng);
    EXPECT_EQ(TestSupport::CheckContract(make, mol, jittered, options), "") << degrees;
  }
}

TEST(TorsionAngleRestraint, TellsTheSignAndTakesTheShortWayRound) {
  auto mol = TestSupport::Butane();
  const double phi =
      QZChem::QZGetTorsion(mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2), mol.GetAtom(3));
  ASSERT_GT(std::abs(phi), 0.5);
  QZTorsionAngleRestraint restraint(2.0, phi);
  restraint.SetTorsion(0, 1, 2, 3);
  ASSERT_TRUE(restraint.Setup(mol));
  const auto x = Coords(mol);
  EXPECT_NEAR(restraint(x.data()), 0.0, 1e-24);
  restraint.Set_phi0(-phi);
  EXPECT_NEAR(restraint(x.data()), 2.0 * 4.0 * phi * phi, 1e-9);
  restraint.Set_phi0(phi + 2.0 * std::numbers::pi - 0.1);
  EXPECT_NEAR(restraint(x.data()), 2.0 * 0.01, 1e-9);
}

TEST(TorsionAngleRestraint, AtomsInLineGiveNoGradientAndMissingAtomsNoSetup) {
  const auto line = TestSupport::LinearChain(4, 1.2);
  QZTorsionAngleRestraint restraint(2.0, 1.0);
  restraint.SetTorsion(0, 1, 2, 3);
  ASSERT_TRUE(restraint.Setup(line));
  const auto x = Coords(line);
  std::vector<double> grad(x.size(), 0.0);
  EXPECT_NEAR(restraint(x.data(), grad.data()), 2.0, 1e-12);
  for (const double g : grad) EXPECT_EQ(g, 0.0);
  TestSupport::MessageCapture messages;
  restraint.SetTorsion(0, 1, 2, 9);
  EXPECT_FALSE(restraint.Setup(line));
  EXPECT_EQ(messages.Warnings().size(), 1u);
}

}  // namespace
