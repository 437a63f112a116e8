// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/zmatrix.h"

#include <algorithm>

#include "coordinates/tree/bound.h"

namespace {

using namespace TestOptVars;
using QZMolPotential::QZZmatAdaptor;
using TestSupport::CheckDerivatives;
using TestSupport::Coords;
using TestSupport::Deviation;
using TestSupport::Jittered;
using Zmatrix = Bound<QZZmatAdaptor>;

double DistanceOf(const Values& x, std::size_t i, std::size_t j) {
  return std::hypot(x[3 * i] - x[3 * j], x[3 * i + 1] - x[3 * j + 1], x[3 * i + 2] - x[3 * j + 2]);
}

TEST(Zmatrix, RoundTripsEveryMoleculeAndItsJitteredGeometries) {
  std::mt19937 rng(11);
  unsigned int exact = 0;
  for (const auto& mol : TestSupport::DataMolecules()) {
    Zmatrix z(mol);
    ASSERT_EQ(z.adaptor.NumOptVar(), 3 * mol.NumAtoms() - 6);
    for (const double amplitude : {0.0, 0.02, 0.3}) {
      const auto x = Jittered(Coords(mol), amplitude, rng);
      const auto vars = z.Vars(x);
      // An angle within 0.001 of straight loses its dihedral, and with it up to that angle.
      // Variables: r1; r2, θ2; then r, θ, φ of atom k from 3k - 6 on.
      bool straight = false;
      for (std::size_t i = 4; i < vars.size(); i += 3) {
        straight = straight || vars[i] > std::numbers::pi - 0.001;
      }
      exact += straight ? 0 : 1;
      EXPECT_LE(Deviation(x, z.Coords(vars)), straight ? 1e-3 : 1e-9)
          << mol.GetTitle() << " " << amplitude << ", seed 11";
    }
  }
  EXPECT_GE(exact, 40u);
}

TEST(Zmatrix, BondsAreToTheNearestEarlierAtom) {
  auto molecules = TestSupport::DataMolecules();
  molecules.push_back(TestSupport::LinearChain(30, 40.0));  // sparser than any search cell
  for (const auto& mol : molecules) {
    Zmatrix z(mol);
    for (std::size_t k = 3; k < mol.NumAtoms(); ++k) {
      double nearest = 1e9;
      for (std::size_t j = 0; j < k; ++j) nearest = std::min(nearest, DistanceOf(z.x, k, j));
      EXPECT_NEAR(z.vars[3 * k - 6], nearest, 1e-12) << mol.GetTitle() << k;
    }
  }
}

TEST(Zmatrix, SmallMoleculesRoundTrip) {
  for (const unsigned int n : {1u, 2u, 3u, 5u}) {
    Zmatrix z(TestSupport::CarbonChain(n));
    EXPECT_EQ(z.adaptor.NumOptVar(), n > 2 ? 3 * n - 6 : 1);
    EXPECT_LE(Deviation(z.x, z.Coords(z.vars)), 1e-9) << n;
    EXPECT_EQ(CheckDerivatives(z.function, z.vars), "") << n;
  }
}

TEST(Zmatrix, ALineOfAtomsKeepsItsDistancesAndHasNoGradientInItsDihedrals) {
  Zmatrix z(TestSupport::LinearChain(6, 1.3));
  const auto back = z.Coords(z.vars);
  for (std::size_t i = 1; i < 6; ++i) EXPECT_NEAR(DistanceOf(back, i, i - 1), 1.3, 1e-12);
  std::mt19937 rng(5);
  Values grad(z.vars.size(), -7.0);
  z.adaptor.FuncGradToOptGrad(back.data(), Jittered(z.x, 1.0, rng).data(), grad.data());
  EXPECT_EQ(grad[5], 0.0);
}

TEST(Zmatrix, GradientIsThatOfTheEnergyInItsVariables) {
  std::mt19937 rng(3);
  for (const char* name : {"butane", "aspirin", "ibuprofen", "cyanoalkyne", "water_cluster"}) {
    Zmatrix z(TestSupport::DataMolecule(name));
    const auto x = Jittered(z.x, 0.15, rng);
    const auto vars = z.Vars(x);
    EXPECT_EQ(CheckDerivatives(z.function, vars), "") << name << ", seed 3";
    EXPECT_NEAR(z.function(vars.data()), z.energy(x.data()), 1e-9);
  }
}

TEST(Zmatrix, GradientHoldsWhereAnglesPassZeroAndStraight) {
  std::mt19937 rng(4);
  auto mol = TestSupport::CarbonChain(6);
  mol.SetCoords(Jittered(Coords(mol), 0.2, rng).data());
  Zmatrix z(mol);
  for (const std::size_t angle : {2u, 4u, 7u}) {
    for (const double value : {-0.4, 3.1409, 3.3}) {
      auto vars = z.Vars(z.x);
      vars[angle] = value;
      EXPECT_EQ(CheckDerivatives(z.function, vars), "") << angle << ": " << value;
    }
  }
}

TEST(Zmatrix, FixedAtomsTakeTheirVariablesOut) {
  Zmatrix z(TestSupport::DataMolecule("caffeine"));
  const auto all = static_cast<unsigned int>(z.vars.size());
  std::vector<int> fixed(z.mol.NumAtoms(), 0);
  int* entries = fixed.data();
  int* none = nullptr;
  // One atom alone fixes no internal variable, eight as many as they have among them.
  for (const auto& [first, last, free] :
       {std::tuple{4, 5, all}, {0, 8, all - 18}, {0, int(z.mol.NumAtoms()), 0u}}) {
    std::fill(fixed.begin() + first, fixed.begin() + last, -1);
    z.adaptor.FixAtoms(entries);
    z.adaptor.FixAtoms(none);
    ASSERT_EQ(z.adaptor.NumOptVar(), free);
    EXPECT_EQ(CheckDerivatives(z.function, z.Vars(z.x)), "") << free;
  }
}

TEST(Zmatrix, CopiesAreIndependentAndHolesOverflowNothing) {
  Zmatrix z(TestSupport::Water());
  QZZmatAdaptor copy(z.adaptor);
  z.Coords({1.1, 1.2, 1.7});
  Values kept(9);
  ASSERT_TRUE(copy.GetAdaptedVariables(kept.data()));
  EXPECT_LE(Deviation(kept, z.x), 1e-12);

  auto holed = TestSupport::Butane();
  holed.DeleteAtom(holed.GetAtom(2));
  ASSERT_TRUE(copy.Setup(holed));
  EXPECT_EQ(copy.NumFuncVar(), 3 * holed.NumAtoms());
  Values x(copy.NumFuncVar());
  ASSERT_TRUE(copy.GetAdaptedVariables(x.data()));
  EXPECT_FALSE(copy.Setup(QZChem::QZGraphMol()));
}

}  // namespace
