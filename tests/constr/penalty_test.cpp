// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constr/constr_support.h"

namespace {

using namespace TestSupport;
using QZConstr::QZDihedralQuadPenalty;
using QZConstr::QZDistanceQuadPenalty;
using QZConstr::QZDistLimitPenalty;
using QZMolPotential::QZMolFunc2;

constexpr ContractOptions kInvariant{.rigidInvariant = true};

TEST(DistancePenalty, FulfilsTheContractInEitherOrderOfTheAtoms) {
  const unsigned int seed = 5201;
  std::mt19937 rng(seed);
  const auto mol = ButaneWithHole();
  for (const auto& [i, j] : {std::pair{0U, 1U}, {13U, 2U}, {3U, 8U}}) {
    const auto x = Jittered(Coords(mol), 0.2, rng);
    for (const double target : {0.0, 1.3, 4.0}) {
      EXPECT_EQ(
          CheckContract(
              [&] { return new QZDistanceQuadPenalty(Atom(mol, i), Atom(mol, j), target, 30.0); },
              mol,
              x,
              kInvariant),
          "")
          << i << " " << j << " seed " << seed;
    }
  }
}

TEST(DistancePenalty, AtTheTargetOnlyTheHessianAlongTheBondRemains) {
  const auto mol = LinearChain(2, 1.5);
  QZDistanceQuadPenalty f(Atom(mol, 1), Atom(mol, 0), 1.5, 10.0);
  EXPECT_EQ(f.NumVar(), 0u);
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 6u);
  std::vector<double> h(21, 0.0);
  std::vector<double> g(6, 0.0);
  ASSERT_TRUE(f(Coords(mol).data(), h.data(), g.data()));
  EXPECT_EQ(g, std::vector<double>(6, 0.0));
  for (std::size_t k = 0; k < h.size(); ++k) {
    // (0,0), (3,0) and (3,3): all else vanishes.
    EXPECT_DOUBLE_EQ(h[k], k == 0 || k == 9 ? 20.0 : k == 6 ? -20.0 : 0.0) << k;
  }
  std::vector<double> alone(21, 0.0);
  ASSERT_TRUE(f(Coords(mol).data(), alone.data(), nullptr));
  EXPECT_EQ(alone, h);
  f.Set_dist0(1.0);
  f.Set_k(2.0);
  EXPECT_DOUBLE_EQ(f(Coords(mol).data()), 0.5);
  ExpectComponent(f, "Distance Square Penalty", Coords(mol));
  f.Clear();
  EXPECT_EQ(f.NumVar(), 0u);
}

template <class F>
void ExpectAtomsAreSought(F make, const std::string& warning) {
  auto mol = Butane();
  const auto f = make(mol);
  mol.SetTitle("short");
  mol.DeleteAtom(mol.GetAtom(2));
  MessageCapture messages;
  EXPECT_FALSE(f->Setup(mol));
  EXPECT_EQ(messages.Warnings(), std::vector<std::string>{warning});
  EXPECT_TRUE(f->Setup(Butane()));
}

TEST(Penalties, MissingAndRepeatedAtomsAreRefusedInWords) {
  const std::string distance = "Distance to be constrained does not occur in molecule short";
  ExpectAtomsAreSought(
      [](const auto& m) {
        return std::make_unique<QZDistanceQuadPenalty>(Atom(m, 0), Atom(m, 2), 1.0, 1.0);
      },
      distance);
  ExpectAtomsAreSought(
      [](const auto& m) {
        return std::make_unique<QZDistLimitPenalty>(Atom(m, 2), Atom(m, 0), 1.0, 2.0, 1.0);
      },
      distance);
  ExpectAtomsAreSought(
      [](const auto& m) {
        return std::make_unique<QZDihedralQuadPenalty>(
            Atom(m, 0), Atom(m, 1), Atom(m, 2), Atom(m, 3), 1.0, 1.0);
      },
      "Dihedral angle to be constrained does not occur in molecule short");
  const auto mol = Butane();
  const auto water = Water();
  MessageCapture messages;
  EXPECT_FALSE(QZDistanceQuadPenalty(Atom(mol, 3), Atom(mol, 3), 1.0, 1.0).Setup(mol));
  QZDihedralQuadPenalty dihedral(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3), 1.0, 1.0);
  messages.Clear();
  EXPECT_FALSE(dihedral.Setup(water));
  EXPECT_EQ(messages.Warnings(),
            std::vector<std::string>{
                "Can't apply a dihedral square penalty to molecules with less than 4 atoms"});
}

TEST(DistanceBand, FulfilsTheContractOnEverySide) {
  const unsigned int seed = 5301;
  std::mt19937 rng(seed);
  const auto mol = ButaneWithHole();
  const auto x = Jittered(Coords(mol), 0.1, rng);
  // Inside, below, above, and with the limits crossed.
  for (const auto& [lower, upper] :
       {std::pair{0.5, 3.0}, {2.0, 3.0}, {0.2, 0.9}, {4.0, 0.3}, {1.2, 1.2}}) {
    EXPECT_EQ(
        CheckContract(
            [&] { return new QZDistLimitPenalty(Atom(mol, 2), Atom(mol, 1), lower, upper, 25.0); },
            mol,
            x,
            kInvariant),
        "")
        << lower << " " << upper << " seed " << seed;
  }
}

TEST(DistanceBand, LimitsBelongToTheBandAndClosedFormsHoldBeyond) {
  const auto mol = LinearChain(2, 1.5);
  const auto x = Coords(mol);
  QZDistLimitPenalty f(Atom(mol, 0), Atom(mol, 1), 1.5, 2.0, 10.0);
  ASSERT_TRUE(f.Setup(mol));
  const auto touched = [&] {
    std::vector<double> h(21, 0.0);
    std::vector<double> g(6, 0.0);
    EXPECT_TRUE(f(x.data(), h.data(), g.data()));
    return h != std::vector<double>(21, 0.0) || g != std::vector<double>(6, 0.0);
  };
  EXPECT_EQ(f(x.data()), 0.0);
  EXPECT_FALSE(touched());
  f.SetLowerLimit(std::nextafter(1.5, 2.0));
  EXPECT_TRUE(touched());
  f.SetLowerLimit(1.0);
  f.SetUpperLimit(1.5);
  EXPECT_FALSE(touched());
  f.SetUpperLimit(1.25);
  EXPECT_DOUBLE_EQ(f(x.data()), 10.0 * 0.0625);
  f.SetLowerLimit(2.0);  // above the upper limit: the lower wall comes first
  EXPECT_DOUBLE_EQ(f(x.data()), 10.0 * 0.25);
  f.Set_k(1.0);
  ExpectComponent(f, "Distance Limit Penalty", x);
  EXPECT_EQ(f.NumVar(), 6u);
}

TEST(DistanceBand, OfNoWidthIsTheSquarePenalty) {
  const auto mol = Butane();
  const auto x = Coords(mol);
  QZDistLimitPenalty band(Atom(mol, 3), Atom(mol, 0), 2.2, 2.2, 8.0);
  QZDistanceQuadPenalty square(Atom(mol, 3), Atom(mol, 0), 2.2, 8.0);
  std::vector<double> h(x.size() * (x.size() + 1) / 2, 0.0);
  std::vector<double> g(x.size(), 0.0);
  auto h2 = h;
  auto g2 = g;
  ASSERT_TRUE(band(x.data(), h.data(), g.data()));
  ASSERT_TRUE(square(x.data(), h2.data(), g2.data()));
  EXPECT_EQ(h, h2);
  EXPECT_EQ(g, g2);
  EXPECT_EQ(band(x.data()), square(x.data()));
}

TEST(DihedralPenalty, FulfilsTheContractForAnyOrderOfIndicesAndNearDegenerateShapes) {
  const unsigned int seed = 5202;
  std::mt19937 rng(seed);
  const auto mol = ButaneWithHole();
  for (const auto& a : {std::array{0U, 1U, 2U, 3U}, {9U, 2U, 1U, 0U}, {13U, 3U, 2U, 8U}}) {
    const auto make = [&] {
      return new QZDihedralQuadPenalty(
          Atom(mol, a[0]), Atom(mol, a[1]), Atom(mol, a[2]), Atom(mol, a[3]), 2.1, 12.0);
    };
    EXPECT_EQ(CheckContract(make, mol, Jittered(Coords(mol), 0.2, rng), kInvariant), "") << seed;
  }
  const auto chain = CarbonChain(4);
  QZDihedralQuadPenalty f(
      Atom(chain, 3), Atom(chain, 2), Atom(chain, 1), Atom(chain, 0), kPi / 3.0, 5.0);
  ASSERT_TRUE(f.Setup(chain));
  EXPECT_EQ(f.NumVar(), 12u);
  for (const double phi : {0.0, 1e-9, 1e-5, kPi / 2.0, kPi - 1e-7, kPi}) {
    EXPECT_EQ(CheckDerivatives(f, Dihedral(phi)), "") << phi;
    EXPECT_EQ(CheckHessian(f, Dihedral(phi)), "") << phi;
  }
  auto bent = Dihedral(2.0);  // a-b-c one degree off the line
  bent[0] = -1.4;
  bent[1] = 0.025;
  EXPECT_EQ(CheckHessian(f, bent, {.step = 1e-6}), "");
}

TEST(DihedralPenalty, IsOnTheCosineSoTheSignOfTheTargetDoesNotMatter) {
  const auto mol = CarbonChain(4);
  QZDihedralQuadPenalty f(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3), kPi / 3.0, 6.0);
  ASSERT_TRUE(f.Setup(mol));
  for (const double phi : {0.0, 0.4, -0.4, kPi / 3.0, -kPi / 3.0, 2.0, kPi}) {
    const double off = std::cos(phi) - 0.5;
    EXPECT_NEAR(f(Dihedral(phi).data()), 6.0 * off * off, 1e-13);
  }
  f.Set_alpha0(kPi / 2.0);
  f.Set_k(2.0);
  EXPECT_NEAR(f(Dihedral(kPi).data()), 2.0, 1e-14);
  EXPECT_EQ(f.Get_alpha0(), kPi / 2.0);
  ExpectComponent(f, "Dihedral Square Penalty", Dihedral(0.3));
}

TEST(DihedralPenalty, AtomsInLineAndNaNAddNothing) {
  const auto mol = LinearChain(4, 1.4);
  QZDihedralQuadPenalty f(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3), 1.0, 6.0);
  ASSERT_TRUE(f.Setup(mol));
  auto lost = Dihedral(1.0);
  lost[4] = std::nan("");
  for (const auto& x : {Coords(mol), lost}) {
    std::vector<double> h(78, 0.0);
    std::vector<double> g(12, 0.0);
    EXPECT_EQ(f(x.data()), 0.0);
    EXPECT_EQ(f(x.data(), g.data()), 0.0);
    EXPECT_TRUE(f(x.data(), h.data(), g.data()));
    EXPECT_EQ(g, std::vector<double>(12, 0.0));
    EXPECT_EQ(h, std::vector<double>(78, 0.0));
  }
}

}  // namespace
