// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "adaptors/adaptor_support.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZSubsetAdaptor;

constexpr unsigned int kFixed = 0x4000;

auto EveryThirdFixed() {
  return AtomsWhere([](unsigned int i) { return i % 3 == 0; });
}

// Butane with a hole at atom 7.
QZChem::QZGraphMol WithHole() {
  auto mol = Butane();
  mol.DeleteAtom(mol.GetAtom(7));
  return mol;
}

TEST(Subset, DerivativesAreThoseOfTheAdaptedEnergy) {
  std::mt19937 rng(11);
  const auto mol = WithHole();
  for (int round = 0; round < 3; ++round) {
    const auto mask = rng() | 1U;
    QZSubsetAdaptor subset(*new ProbeFunc, /*own=*/true, /*restrictInteractions=*/round == 1);
    subset.Set(AtomsWhere([mask](unsigned int i) { return (mask >> i & 1U) != 0; }), kFixed);
    ASSERT_TRUE(subset.Setup(mol));
    const auto vars = StartVars(subset, Jittered(Coords(mol), 0.2, rng));
    EXPECT_EQ(CheckDerivatives(subset, vars), "") << "seed 11, mask " << mask;
    EXPECT_EQ(CheckHessian(subset, vars), "") << "seed 11, mask " << mask;
  }
}

TEST(Subset, HessianIsTheMovingPartOfTheDenseOneAssignedAndTheGradientIsAdded) {
  const auto mol = WithHole();
  const auto x = Coords(mol);
  ProbeFunc probe;
  QZSubsetAdaptor subset(probe, false, false);
  subset.Set(EveryThirdFixed(), kFixed);
  ASSERT_TRUE(subset.Setup(mol));
  const auto vars = StartVars(subset, x);
  std::vector<std::size_t> rows;  // full coordinate of each variable, found independently
  for (std::size_t i = 0; i < mol.AtomIndexBound(); ++i) {
    if (i % 3 == 0 || i == 7) continue;
    for (std::size_t k = 0; k < 3; ++k) rows.push_back(3 * i + k);
  }
  ASSERT_EQ(rows.size(), vars.size());
  const auto at = [](std::size_t r, std::size_t c) { return r * (r + 1) / 2 + c; };
  std::vector<double> dense(at(x.size(), 0), 0.0);
  std::vector<double> denseGrad(x.size(), 0.0);
  probe(x.data(), dense.data(), denseGrad.data());

  std::vector<double> hessian(at(vars.size(), 0), 99.0);
  std::vector<double> grad(vars.size(), 2.0);
  ASSERT_TRUE(subset(vars.data(), hessian.data(), grad.data()));
  ASSERT_TRUE(subset(vars.data(), hessian.data(), nullptr));
  subset(vars.data(), grad.data());
  for (std::size_t r = 0; r < rows.size(); ++r) {
    EXPECT_NEAR(grad[r], 2.0 + 2.0 * denseGrad[rows[r]], 1e-12);
    for (std::size_t c = 0; c <= r; ++c) {
      EXPECT_EQ(hessian[at(r, c)], dense[at(rows[r], rows[c])]) << r << ' ' << c;
    }
  }
}

TEST(Subset, FixedAtomsStayWhereTheLastGetVarFoundThem) {
  std::mt19937 rng(5);
  const auto mol = Butane();
  FieldFunc field;
  QZSubsetAdaptor subset(field, false, false);
  subset.Set(EveryThirdFixed(), kFixed);
  ASSERT_TRUE(subset.Setup(mol));
  for (int round = 0; round < 2; ++round) {
    const auto x = Jittered(Coords(mol), 0.5, rng);
    auto vars = StartVars(subset, x);
    std::vector<double> back(x.size(), -1.0);
    ASSERT_TRUE(subset.AdaptVar(back.data(), vars.data()));
    EXPECT_EQ(back, x);
    EXPECT_EQ(subset(vars.data()), field(x.data()));
    for (double& value : vars) value += 1.0;
    subset.AdaptVar(back.data(), vars.data());
    for (std::size_t i = 0; i < x.size(); ++i) EXPECT_EQ(back[i] - x[i] > 0.5, i / 3 % 3 != 0);
  }
}

TEST(Subset, OnlyTheFixedAtomsBitStaysInTheAdaptor) {
  FieldFunc field;
  QZSubsetAdaptor subset(field, false, false);
  const auto none = AtomsWhere([](unsigned int) { return false; });
  EXPECT_TRUE(subset.Set(EveryThirdFixed(), kFixed | 8U));
  EXPECT_TRUE(field.masks.empty());
  EXPECT_TRUE(subset.Set(none, 0x10000));
  EXPECT_EQ(field.masks, std::vector<unsigned int>({0x10000}));
  const auto mol = Butane();
  ASSERT_TRUE(subset.Setup(mol));
  EXPECT_EQ(subset.NumVar(), 27U);    // of 14 atoms 0, 3, 6, 9, 12 are fixed
  EXPECT_EQ(field.masks.size(), 1U);  // nothing restricted
  subset.ClearPredicates();
  EXPECT_EQ(field.clearedPredicates, 1);
  EXPECT_FALSE(subset.Setup(mol));
}

TEST(Subset, RestrictionKeepsInteractionsOfMovingAtoms) {
  const auto mol = Butane();
  FieldFunc field;
  QZSubsetAdaptor subset(field, false, true);
  const auto moves = [](unsigned int i) { return i == 0 || i == 5; };
  subset.Set(AtomsWhere([moves](unsigned int i) { return !moves(i); }), kFixed);
  ASSERT_TRUE(subset.Setup(mol));
  EXPECT_EQ(field.masks, std::vector<unsigned int>({8, 5, 48, 192}));
  const auto touched = [&](const QZChem::QZBondBase& b) {
    return moves(b.GetBegin()->GetIndex()) || moves(b.GetEnd()->GetIndex());
  };
  for (auto& a : QZSystem::QZRange(mol.GetAtoms())) {
    EXPECT_EQ((*field.atom)(a), moves(a.GetIndex()));
    for (auto& b : QZSystem::QZRange(mol.GetAtoms())) {
      EXPECT_EQ((*field.atomPair)(a, b), moves(a.GetIndex()) || moves(b.GetIndex()));
    }
  }
  for (auto& a : QZSystem::QZRange(mol.GetBonds())) {
    EXPECT_EQ((*field.bond)(a), touched(a));
    for (auto& b : QZSystem::QZRange(mol.GetBonds())) {
      EXPECT_EQ((*field.bondPair)(a, b), touched(a) || touched(b));
    }
  }
}

TEST(Subset, BondPredicateAsksTheEndAtomOnlyWhenNeeded) {
  auto asked = std::make_shared<std::vector<unsigned int>>();
  auto pred = std::make_unique<QZMolPotential::BondPred>(AtomsWhere([asked](unsigned int i) {
    asked->push_back(i);
    return i == 1;
  }));
  std::unique_ptr<BondPredicate> copy(pred->CreateCopy());
  pred.reset();
  const auto mol = CarbonChain(4);  // bonds 0-1, 1-2, 2-3
  EXPECT_TRUE((*copy)(*mol.GetBond(0)));
  EXPECT_TRUE((*copy)(*mol.GetBond(1)));
  EXPECT_FALSE((*copy)(*mol.GetBond(2)));
  EXPECT_EQ(*asked, std::vector<unsigned int>({0, 1, 1, 2, 3}));
}

TEST(Subset, SetupRefusesWhatItCannotBind) {
  const auto mol = Butane();
  auto* probe = new ProbeFunc;
  QZSubsetAdaptor subset(*probe, true, false);
  MessageCapture messages;
  EXPECT_FALSE(subset.Setup(mol));  // no predicate
  subset.Set(EveryThirdFixed(), kFixed);
  EXPECT_FALSE(subset.Setup(QZChem::QZGraphMol()));
  double x[42] = {};
  EXPECT_FALSE(subset.AdaptVar(x, x));
  EXPECT_FALSE(subset.AdaptGrad(x, x));
  EXPECT_FALSE(subset.AdaptHessian(x, x));
  EXPECT_EQ(probe->SetupCount(), 0);
  probe->FailSetup(true);
  EXPECT_FALSE(subset.Setup(mol));
  probe->FailSetup(false);
  subset.Set(AtomsWhere([](unsigned int) { return false; }), kFixed);
  EXPECT_FALSE(subset.Setup(mol));  // none fixed
  subset.Set(AtomsWhere([](unsigned int) { return true; }), kFixed);
  EXPECT_TRUE(subset.Setup(mol));  // all fixed
  EXPECT_EQ(subset.NumVar(), 0U);
  EXPECT_TRUE(messages.All().empty());
}

TEST(Subset, HessianFollowsTheFunctionThatIsSet) {
  const auto mol = Butane();
  QZMolPotential::QZMolFunc1* levelOne = new ProbeFunc;
  QZSubsetAdaptor subset(*levelOne, true, false);
  subset.Set(EveryThirdFixed(), kFixed);
  ASSERT_TRUE(subset.Setup(mol));
  const auto vars = StartVars(subset, Coords(mol));
  std::vector<double> h(vars.size() * (vars.size() + 1) / 2, 0.0);
  std::vector<double> g(vars.size(), 0.0);
  EXPECT_FALSE(subset(vars.data(), h.data(), g.data()));
  auto* levelTwo = new ProbeFunc;
  levelTwo->Setup(mol);
  EXPECT_TRUE(subset.SetMolFunc2(*levelTwo, true));
  EXPECT_EQ(ProbeFunc::Living(), 1);
  EXPECT_EQ(CheckHessian(subset, vars), "");
  EXPECT_TRUE(subset.SetMolFunc(*levelTwo, true));  // the same object, now as level 1
  EXPECT_EQ(ProbeFunc::Living(), 1);
  EXPECT_FALSE(subset(vars.data(), h.data(), g.data()));
}

TEST(Subset, HundredThousandAtomsAtLevelOne) {
  auto mol = LinearChain(100000, 1.5);
  FieldFunc field;
  QZSubsetAdaptor subset(field, false, true);
  subset.Set(AtomsWhere([](unsigned int i) { return i >= 10; }), kFixed);
  ASSERT_TRUE(subset.Setup(mol));
  const auto vars = StartVars(subset, Coords(mol));
  std::vector<double> grad(30, 0.0);
  std::vector<double> full(300000, 0.0);
  EXPECT_EQ(subset(vars.data(), grad.data()), field(Coords(mol).data(), full.data()));
  full.resize(30);
  EXPECT_EQ(grad, full);
}

}  // namespace
