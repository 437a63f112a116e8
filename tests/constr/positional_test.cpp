// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/constr_support.h"

namespace {

using namespace TestSupport;
using QZConstr::QZHarmonicPotential;
using QZConstr::QZPowerPotential;

constexpr unsigned int kBit = 0x10000;

// A predicate that counts how many of its kind live.
class Counted final : public QZSystem::QZUnaryPredicate<QZChem::QZAtomBase> {
 public:
  explicit Counted(unsigned int below) : below_(below) { ++living; }
  Counted(const Counted& other) : QZUnaryPredicate(other), below_(other.below_) { ++living; }
  Counted& operator=(const Counted&) = delete;
  ~Counted() override { --living; }
  bool operator()(const QZChem::QZAtomBase& atom) const override {
    return atom.GetIndex() < below_;
  }
  Counted* CreateCopy() const override { return new Counted(*this); }

  static inline int living = 0;

 private:
  unsigned int below_;
};

TEST(Positional, FulfilsTheContractInsideAndOutsideAndAroundHoles) {
  const unsigned int seed = 5101;
  std::mt19937 rng(seed);
  const auto mol = ButaneWithHole();
  for (const double exponent : {2.0, 1.0, 3.0, 2.5, 4.0}) {
    for (const double width : {0.0, 0.3, 2.0}) {
      const auto make = [=] { return new QZPowerPotential(width, 7.0, exponent); };
      EXPECT_EQ(CheckContract(make, mol, Jittered(Coords(mol), 0.5, rng)), "")
          << "exponent " << exponent << " width " << width << " seed " << seed;
    }
  }
}

TEST(Positional, EnergyAndGradientAreTheClosedForm) {
  QZChem::QZGraphMol mol;
  mol.AddAtom(6, 1.0, 2.0, 3.0);
  QZPowerPotential power(0.5, 4.0, 3.0);
  ASSERT_TRUE(power.Setup(mol));
  const double x[3] = {1.0, 2.0, 5.0};  // 1.5 Å outside
  double g[3] = {1.0, 1.0, 1.0};
  EXPECT_NEAR(power(x, g), 4.0 * std::pow(1.5, 3), 1e-12);
  EXPECT_NEAR(g[2], 1.0 + 3 * 4.0 * 1.5 * 1.5, 1e-12);
  EXPECT_EQ(g[0], 1.0);
  QZHarmonicPotential harmonic(/*kc=*/4.0, /*dc=*/0.0);
  ASSERT_TRUE(harmonic.Setup(mol));
  double h[3] = {};
  EXPECT_DOUBLE_EQ(harmonic(x, h), 16.0);
  EXPECT_DOUBLE_EQ(h[2], 16.0);
  // At the reference point itself nothing divides by zero.
  const double start[3] = {1.0, 2.0, 3.0};
  double none[3] = {};
  EXPECT_EQ(harmonic(start, none), 0.0);
  EXPECT_EQ(none[0], 0.0);
}

TEST(Positional, TheSphereItselfIsInside) {
  QZChem::QZGraphMol mol;
  mol.AddAtom(6);
  // Exponent 0 makes the smallest step outside visible.
  QZPowerPotential step(0.75, 1.0, 0.0);
  ASSERT_TRUE(step.Setup(mol));
  const double on[3] = {0.0, 0.75, 0.0};
  const double outside[3] = {0.0, std::nextafter(0.75, 1.0), 0.0};
  EXPECT_EQ(step(on), 0.0);
  EXPECT_EQ(step(outside), 1.0);
  const double lost[3] = {std::nan(""), 0.0, 0.0};
  QZHarmonicPotential harmonic(1.0, 0.75);
  ASSERT_TRUE(harmonic.Setup(mol));
  EXPECT_TRUE(std::isnan(harmonic(lost)));
}

TEST(Positional, ExponentTwoAgreesWithThePowerToTheLastPlaces) {
  const unsigned int seed = 5102;
  std::mt19937 rng(seed);
  const auto mol = Butane();
  QZPowerPotential square(0.1, 3.0, 2.0);
  ASSERT_TRUE(square.Setup(mol));
  const auto start = Coords(mol);
  for (int round = 0; round < 50; ++round) {
    const auto x = Jittered(start, 0.4, rng);
    std::vector<double> g(x.size(), 0.0);
    double energy = 0.0;
    std::vector<double> reference(x.size(), 0.0);
    for (std::size_t i = 0; i < x.size(); i += 3) {
      const double d[3] = {x[i] - start[i], x[i + 1] - start[i + 1], x[i + 2] - start[i + 2]};
      const double r = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
      if (r * r <= 0.01) continue;
      energy += 3.0 * std::pow(r - 0.1, 2.0);
      for (std::size_t k = 0; k < 3; ++k) {
        reference[i + k] = 2.0 * 3.0 * std::pow(r - 0.1, 1.0) / r * d[k];
      }
    }
    EXPECT_TRUE(std::abs(square(x.data(), g.data()) - energy) <= 4e-15 * energy) << seed;
    for (std::size_t i = 0; i < x.size(); ++i) {
      ASSERT_TRUE(std::abs(g[i] - reference[i]) <= 1e-15 * std::max(1.0, std::abs(reference[i])));
    }
  }
}

TEST(Positional, SettersActOnExistingRestraintsAndConformationMovesThem) {
  const auto mol = ButaneWithHole();
  QZHarmonicPotential f(2.0, 0.5);
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 3 * mol.NumAtoms());
  EXPECT_LT(f.NumVar(), 3 * mol.AtomIndexBound());
  auto x = Coords(mol);
  x[0] += 1.0;
  EXPECT_DOUBLE_EQ(f(x.data()), 2.0 * 0.25);
  f.Set_kc(4.0);
  f.Set_dc(0.25);
  EXPECT_DOUBLE_EQ(f(x.data()), 4.0 * 0.5625);
  EXPECT_EQ(f.Get_kc(), 4.0);
  EXPECT_EQ(f.Get_dc(), 0.25);
  ASSERT_TRUE(f.SetupConf(x.data()));
  EXPECT_EQ(f(x.data()), 0.0);
  ExpectComponent(f, "Constraint Potential", Coords(mol));
  QZPowerPotential power;
  EXPECT_EQ(power.GetWidth(), 2.5);
  EXPECT_EQ(power.GetStrength(), 50.0);
  EXPECT_EQ(power.GetExponent(), 2.0);
  ASSERT_TRUE(power.Setup(mol));
  power.SetWidth(0.0);
  power.SetStrength(1.0);
  power.SetExponent(3.0);
  EXPECT_DOUBLE_EQ(power(Coords(mol).data()), 0.0);
  x = Coords(mol);
  x[4] += 2.0;
  EXPECT_DOUBLE_EQ(power(x.data()), 8.0);
  const std::unique_ptr<QZPowerPotential> copy(power.CreateCopy());
  EXPECT_EQ(copy->GetExponent(), 3.0);
  copy->SetExponent(2.0);
  EXPECT_DOUBLE_EQ((*copy)(x.data()), 4.0);
  EXPECT_DOUBLE_EQ(power(x.data()), 8.0);
}

TEST(Positional, SelectionIsCopiedReplacedAndFreed) {
  const auto mol = Butane();
  {
    QZHarmonicPotential f(1.0, 0.0);
    EXPECT_TRUE(f.Set(Counted(2), 0x4000));
    EXPECT_EQ(f.GetPred(), nullptr);
    EXPECT_TRUE(f.Set(Counted(9), kBit));
    EXPECT_TRUE(f.Set(Counted(2), kBit | 1U));
    EXPECT_TRUE(f.Set(*f.GetPred(), kBit));
    EXPECT_EQ(Counted::living, 1);
    EXPECT_FALSE(f.Set(QZSystem::QZUnaryTrue<QZChem::QZBondBase>(), kBit));
    ASSERT_TRUE(f.Setup(mol));
    auto x = Coords(mol);
    for (double& value : x) value += 1.0;
    EXPECT_DOUBLE_EQ(f(x.data()), 6.0);  // two atoms, moved by sqrt(3)
    QZHarmonicPotential other(f);
    other = f;
    EXPECT_EQ(Counted::living, 2);
    f.ClearPredicates();
    EXPECT_EQ(f.GetPred(), nullptr);
    EXPECT_DOUBLE_EQ(f(x.data()), 6.0);  // until the next Setup
    ASSERT_TRUE(f.Setup(mol));
    EXPECT_DOUBLE_EQ(f(x.data()), 3.0 * mol.NumAtoms());
    ASSERT_TRUE(other.Setup(mol));
    EXPECT_DOUBLE_EQ(other(x.data()), 6.0);
    other.Clear();
    EXPECT_EQ(other.NumVar(), 0u);
    EXPECT_EQ(other(x.data()), 0.0);
    EXPECT_NE(other.GetPred(), nullptr);
    other.Set(Counted(0), kBit);
    EXPECT_TRUE(other.Setup(mol));
    EXPECT_EQ(other(x.data()), 0.0);
  }
  EXPECT_EQ(Counted::living, 0);
}

}  // namespace
