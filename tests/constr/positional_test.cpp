// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/constr_support.h"

namespace {

using namespace TestSupport;
using QZConstr::QZHarmonicPotential;
using QZConstr::QZPowerPotential;

constexpr unsigned int kBit = 0x10000;

auto Below(unsigned int bound) {
  return AtomsWhere([bound](unsigned int i) { return i < bound; });
}

TEST(Positional, FulfilsTheContractInsideAndOutsideAndAroundHoles) {
  std::mt19937 rng(5101);
  const auto mol = ButaneWithHole();
  for (const double exponent : {2.0, 1.0, 3.0, 2.5, 4.0}) {
    for (const double width : {0.0, 0.3, 2.0}) {
      const auto make = [=] { return new QZPowerPotential(width, 7.0, exponent); };
      EXPECT_EQ(CheckContract(make, mol, Jittered(Coords(mol), 0.5, rng), /*rigidInvariant=*/false),
                "")
          << "exponent " << exponent << " width " << width << " seed 5101";
    }
  }
}

TEST(Positional, EnergyAndGradientAreTheClosedForm) {
  QZChem::QZGraphMol mol;
  mol.AddAtom(6, 1.0, 2.0, 3.0);
  QZPowerPotential cubic(0.5, 4.0, 3.0);
  QZHarmonicPotential harmonic(/*kc=*/4.0, /*dc=*/0.0);
  const struct {
    QZMolPotential::QZMolFunc1& f;
    double z, energy, slope;
  } cases[] = {{cubic, 5.0, 4.0 * std::pow(1.5, 3), 3 * 4.0 * 1.5 * 1.5},  // 1.5 Å outside
               {harmonic, 5.0, 16.0, 16.0},
               {harmonic, 3.0, 0.0, 0.0}};  // nothing divides by zero
  for (const auto& c : cases) {
    ASSERT_TRUE(c.f.Setup(mol));
    const double x[3] = {1.0, 2.0, c.z};
    double g[3] = {};
    EXPECT_NEAR(c.f(x, g), c.energy, 1e-12) << c.z;
    EXPECT_NEAR(g[2], c.slope, 1e-12) << c.z;
  }
}

TEST(Positional, ConformationMovesTheReferenceAndCopiesAreIndependent) {
  const auto mol = ButaneWithHole();
  QZPowerPotential f(0.5, 2.0, 3.0);
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 3 * mol.NumAtoms());
  auto x = Coords(mol);
  x[4] += 2.5;
  EXPECT_DOUBLE_EQ(f(x.data()), 16.0);
  const std::unique_ptr<QZPowerPotential> copy(f.CreateCopy());
  copy->SetExponent(2.0);
  copy->SetWidth(1.5);
  copy->SetStrength(5.0);
  ASSERT_TRUE(f.SetupConf(x.data()));
  EXPECT_EQ(f(x.data()), 0.0);
  EXPECT_DOUBLE_EQ((*copy)(x.data()), 5.0);
}

TEST(Positional, SelectionIsCopiedAndReplaced) {
  const auto mol = Butane();
  auto x = Coords(mol);
  for (double& value : x) value += 1.0;
  QZHarmonicPotential f(1.0, 0.0);
  EXPECT_TRUE(f.Set(Below(9), kBit));
  EXPECT_TRUE(f.Set(Below(2), kBit | 1U));
  EXPECT_TRUE(f.Set(*f.GetPred(), kBit));
  QZHarmonicPotential other(1.0, 2.0);
  other = f;
  f.ClearPredicates();
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_DOUBLE_EQ(f(x.data()), 3.0 * mol.NumAtoms());  // each moved by sqrt(3)
  ASSERT_TRUE(other.Setup(mol));
  EXPECT_DOUBLE_EQ(other(x.data()), 6.0);
}

}  // namespace
