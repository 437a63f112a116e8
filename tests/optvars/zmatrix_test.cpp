// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/zmatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "molpotential/optvarfunc.h"
#include "optvars/data_molecules.h"
#include "qzchem/geometry.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZMolPotential::QZOptVarFunc;
using QZMolPotential::QZZmatAdaptor;
using TestSupport::Coords;
using TestSupport::ProbeFunc;

std::vector<double> RoundTrip(QZZmatAdaptor& adaptor, const std::vector<double>& x) {
  std::vector<double> vars(adaptor.NumOptVar());
  adaptor.FuncVarToOptVar(x.data(), vars.data());
  std::vector<double> back(x.size());
  adaptor.OptVarToFuncVar(vars.data(), back.data());
  return back;
}

// Variables: r1; r2, θ2; then r, θ, φ of atom k from 3k - 6 on.
bool HasStraightAngle(QZZmatAdaptor& adaptor, const std::vector<double>& x) {
  std::vector<double> vars(adaptor.NumOptVar());
  adaptor.FuncVarToOptVar(x.data(), vars.data());
  for (std::size_t i = 4; i < vars.size(); i += 3) {
    if (vars[i] > std::numbers::pi - 0.001) return true;
  }
  return false;
}

TEST(Zmatrix, RoundTripsEveryMoleculeAndItsJitteredGeometries) {
  std::mt19937 rng(11);
  unsigned int exact = 0;
  for (const auto& mol : TestOptVars::DataMolecules()) {
    QZZmatAdaptor adaptor;
    ASSERT_TRUE(adaptor.Setup(mol));
    ASSERT_EQ(adaptor.NumOptVar(), 3 * mol.NumAtoms() - 6);
    for (const double amplitude : {0.0, 0.02, 0.3}) {
      const auto x = TestSupport::Jittered(Coords(mol), amplitude, rng);
      // An angle within 0.001 of straight loses its dihedral, and with it up to that angle.
      const bool straight = HasStraightAngle(adaptor, x);
      exact += straight ? 0 : 1;
      const double off = TestOptVars::Deviation(x, RoundTrip(adaptor, x));
      EXPECT_TRUE(off <= (straight ? 1e-3 : 1e-9))
          << mol.GetTitle() << " " << amplitude << ": " << off;
    }
  }
  EXPECT_GE(exact, 40u);
}

TEST(Zmatrix, BondsAreToTheNearestEarlierAtom) {
  auto molecules = TestOptVars::DataMolecules();
  std::mt19937 rng(12);
  std::uniform_real_distribution<double> wide(-60.0, 60.0);
  auto& gas = molecules.emplace_back();  // sparser than any search cell
  for (int i = 0; i < 200; ++i) gas.AddAtom(18, wide(rng), wide(rng), wide(rng));
  for (const auto& mol : molecules) {
    QZZmatAdaptor adaptor;
    adaptor.Setup(mol);
    const auto x = Coords(mol);
    std::vector<double> vars(adaptor.NumOptVar());
    adaptor.FuncVarToOptVar(x.data(), vars.data());
    for (std::size_t k = 3; k < mol.NumAtoms(); ++k) {
      double nearest = 1e9;
      for (std::size_t j = 0; j < k; ++j) {
        nearest = std::min(
            nearest,
            std::hypot(
                x[3 * k] - x[3 * j], x[3 * k + 1] - x[3 * j + 1], x[3 * k + 2] - x[3 * j + 2]));
      }
      EXPECT_NEAR(vars[3 * k - 6], nearest, 1e-12) << mol.GetTitle() << k;
    }
  }
}

TEST(Zmatrix, SmallAndScatteredMoleculesRoundTrip) {
  for (const unsigned int n : {1u, 2u, 3u, 5u}) {
    const auto mol = TestSupport::CarbonChain(n);
    QZZmatAdaptor adaptor;
    ASSERT_TRUE(adaptor.Setup(mol));
    EXPECT_EQ(adaptor.NumFuncVar(), 3 * n);
    EXPECT_EQ(adaptor.NumOptVar(), n > 2 ? 3 * n - 6 : 1);
    EXPECT_LE(TestOptVars::Deviation(Coords(mol), RoundTrip(adaptor, Coords(mol))), 1e-9) << n;
    ProbeFunc energy;
    energy.Setup(mol);
    QZOptVarFunc function(energy, adaptor);
    std::vector<double> vars(adaptor.NumOptVar());
    adaptor.FuncVarToOptVar(Coords(mol).data(), vars.data());
    EXPECT_EQ(TestSupport::CheckDerivatives(function, vars), "") << n;
  }
  QZChem::QZGraphMol apart;  // fragments of three atoms, far beyond any bond
  for (int i = 0; i < 9; ++i) apart.AddAtom(6, 300.0 * (i / 3) + i % 3, 0.7 * (i % 2), 0.1 * i * i);
  QZZmatAdaptor adaptor;
  ASSERT_TRUE(adaptor.Setup(apart));
  EXPECT_LE(TestOptVars::Deviation(Coords(apart), RoundTrip(adaptor, Coords(apart))), 1e-9);
}

TEST(Zmatrix, ALineOfAtomsKeepsItsDistancesAndItsDihedralsComeBackWhenItBends) {
  const auto line = TestSupport::LinearChain(6, 1.3);
  QZZmatAdaptor adaptor;
  ASSERT_TRUE(adaptor.Setup(line));
  const auto back = RoundTrip(adaptor, Coords(line));
  for (std::size_t i = 1; i < 6; ++i) {
    EXPECT_NEAR(std::hypot(back[3 * i] - back[3 * i - 3],
                           back[3 * i + 1] - back[3 * i - 2],
                           back[3 * i + 2] - back[3 * i - 1]),
                1.3,
                1e-12);
  }
  // Variables: r1; r2, θ2; r, θ, φ of atoms 3, 4, 5. The undefined dihedrals have no gradient.
  std::vector<double> vars(adaptor.NumOptVar());
  adaptor.FuncVarToOptVar(Coords(line).data(), vars.data());
  EXPECT_EQ(vars[5], 0.0);
  std::vector<double> cartGrad(18, 1.0);
  std::vector<double> grad(adaptor.NumOptVar(), -7.0);
  adaptor.FuncGradToOptGrad(back.data(), cartGrad.data(), grad.data());
  EXPECT_EQ(grad[5], 0.0);
  vars[2] = 1.9;
  vars[4] = 2.0;
  vars[5] = 0.8;
  std::vector<double> bent(18);
  adaptor.OptVarToFuncVar(vars.data(), bent.data());
  for (std::size_t i = 0; i < cartGrad.size(); ++i) cartGrad[i] = std::cos(double(i));
  adaptor.FuncGradToOptGrad(bent.data(), cartGrad.data(), grad.data());
  EXPECT_NE(grad[5], 0.0);
}

TEST(Zmatrix, GradientIsThatOfTheEnergyInItsVariables) {
  std::mt19937 rng(3);
  for (const char* name : {"butane", "aspirin", "cyanoalkyne", "water_cluster"}) {
    const auto mol = TestOptVars::DataMolecule(name);
    ProbeFunc energy;
    ASSERT_TRUE(energy.Setup(mol));
    QZZmatAdaptor adaptor;
    ASSERT_TRUE(adaptor.Setup(mol));
    QZOptVarFunc function(energy, adaptor);
    std::vector<double> vars(adaptor.NumOptVar());
    const auto x = TestSupport::Jittered(Coords(mol), 0.15, rng);
    adaptor.FuncVarToOptVar(x.data(), vars.data());
    EXPECT_EQ(TestSupport::CheckDerivatives(function, vars), "") << name;
    EXPECT_NEAR(function(vars.data()), energy(x.data()), 1e-9);
  }
}

TEST(Zmatrix, GradientHoldsWhereAnglesPassZeroAndStraight) {
  std::mt19937 rng(4);
  auto mol = TestSupport::CarbonChain(6);
  mol.SetCoords(TestSupport::Jittered(Coords(mol), 0.2, rng).data());
  ProbeFunc energy;
  energy.Setup(mol);
  QZZmatAdaptor adaptor;
  adaptor.Setup(mol);
  QZOptVarFunc function(energy, adaptor);
  std::vector<double> vars(adaptor.NumOptVar());
  for (const std::size_t angle : {2u, 4u, 7u}) {
    for (const double value : {-0.4, 3.1409, 3.3}) {
      adaptor.FuncVarToOptVar(Coords(mol).data(), vars.data());
      vars[angle] = value;
      EXPECT_EQ(TestSupport::CheckDerivatives(function, vars), "") << angle << ": " << value;
    }
  }
}

// The quotient of rebuilt coordinates: an independent way to the same Jacobian.
TEST(Zmatrix, GradientAgreesWithTheDifferenceQuotientOfTheCoordinates) {
  const auto mol = TestOptVars::DataMolecule("ibuprofen");
  QZZmatAdaptor adaptor;
  ASSERT_TRUE(adaptor.Setup(mol));
  std::vector<double> vars(adaptor.NumOptVar());
  adaptor.FuncVarToOptVar(Coords(mol).data(), vars.data());
  std::vector<double> x(adaptor.NumFuncVar());
  adaptor.OptVarToFuncVar(vars.data(), x.data());
  std::mt19937 rng(5);
  std::vector<double> cartGrad =
      TestSupport::Jittered(std::vector<double>(x.size(), 0.0), 1.0, rng);
  std::vector<double> grad(vars.size());
  adaptor.FuncGradToOptGrad(nullptr, cartGrad.data(), grad.data());
  std::vector<double> moved(x.size());
  for (std::size_t i = 0; i < vars.size(); ++i) {
    const double value = vars[i];
    vars[i] += 1e-7;
    adaptor.OptVarToFuncVar(vars.data(), moved.data());
    vars[i] = value;
    double quotient = 0.0;
    for (std::size_t j = 0; j < x.size(); ++j) quotient += (moved[j] - x[j]) / 1e-7 * cartGrad[j];
    EXPECT_NEAR(grad[i], quotient, 1e-5 * std::max(1.0, std::abs(quotient))) << i;
  }
}

TEST(Zmatrix, FixedAtomsTakeTheirVariablesOut) {
  const auto mol = TestOptVars::DataMolecule("caffeine");
  ProbeFunc energy;
  energy.Setup(mol);
  QZZmatAdaptor adaptor;
  adaptor.Setup(mol);
  const unsigned int all = adaptor.NumOptVar();
  std::vector<int> fixed(mol.NumAtoms(), 0);
  fixed[4] = -1;
  int* entries = fixed.data();
  adaptor.FixAtoms(entries);
  EXPECT_EQ(adaptor.NumOptVar(), all) << "one atom alone fixes no internal variable";
  int* none = nullptr;
  for (unsigned int i = 0; i < 8; ++i) fixed[i] = -1;
  adaptor.FixAtoms(entries);
  adaptor.FixAtoms(none);
  EXPECT_EQ(adaptor.NumOptVar(), all - 18);
  std::vector<double> vars(adaptor.NumOptVar());
  adaptor.FuncVarToOptVar(Coords(mol).data(), vars.data());
  QZOptVarFunc function(energy, adaptor);
  EXPECT_EQ(TestSupport::CheckDerivatives(function, vars), "");
  std::ranges::fill(fixed, -1);
  adaptor.FixAtoms(entries);
  EXPECT_EQ(adaptor.NumOptVar(), 0u);
}

TEST(Zmatrix, ReportsItsTableAndCopiesAreIndependent) {
  const auto mol = TestSupport::Water();
  QZZmatAdaptor adaptor;
  TestSupport::MessageCapture messages;
  adaptor.GetAdaptedVariables(mol, nullptr);
  EXPECT_EQ(messages.Warnings(),
            std::vector<std::string>{"QZZmatAdaptor has not been setup propely"});
  adaptor.Setup(mol);
  testing::internal::CaptureStdout();
  std::vector<double> current(3);
  adaptor.GetAdaptedVariables(mol, current.data());
  const double r = std::hypot(0.586, 0.757);
  char line[80];
  std::snprintf(line, sizeof line, "H   %10.5f\n", r);
  EXPECT_NEAR(current[0], r, 1e-12);
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(text.find("\nInternal Z-matrix coordinates:\natom  distance   angle     dihedral\n"
                      "        [A]      [deg]      [deg]\nO"),
            0u)
      << text;
  EXPECT_NE(text.find(line), std::string::npos) << text;

  auto original = std::make_unique<QZZmatAdaptor>(adaptor);
  QZZmatAdaptor copy(*original);
  const double vars[3] = {1.1, 1.2, 1.7};
  std::vector<double> x(9);
  original->OptVarToFuncVar(vars, x.data());
  original.reset();
  std::vector<double> kept(9);
  ASSERT_TRUE(copy.GetAdaptedVariables(kept.data()));
  EXPECT_LE(TestOptVars::Deviation(kept, Coords(mol)), 1e-12);
  EXPECT_FALSE(copy.OptGradToFuncGrad(vars, x.data()));
}

TEST(Zmatrix, HolesInTheIndicesOverflowNothing) {
  auto mol = TestSupport::Butane();
  mol.DeleteAtom(mol.GetAtom(2));
  QZZmatAdaptor adaptor;
  ASSERT_TRUE(adaptor.Setup(mol));
  EXPECT_EQ(adaptor.NumFuncVar(), 3 * mol.NumAtoms());
  std::vector<double> x(adaptor.NumFuncVar());
  ASSERT_TRUE(adaptor.GetAdaptedVariables(x.data()));
  EXPECT_FALSE(adaptor.Setup(QZChem::QZGraphMol()));
}

}  // namespace
