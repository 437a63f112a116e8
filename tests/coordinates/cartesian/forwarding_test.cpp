// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>

#include "coordinates/cartesian/adaptor_support.h"

namespace {

using namespace TestSupport;
using namespace QZMolPotential;
using QZChem::QZAtomBase;
using QZChem::QZBondBase;
using QZSystem::QZBinaryTrue;
using QZSystem::QZUnaryTrue;

TEST(Adaptors, SelectionsAndConformationsReachTheFunction) {
  const auto mol = Water();
  for (const auto& kind : AdaptorKinds()) {
    SCOPED_TRACE(kind.name);
    ProbeFunc probe;
    const auto adaptor = kind.make(probe, false);
    EXPECT_TRUE(adaptor->Set(QZUnaryTrue<QZAtomBase>(), 1));
    EXPECT_TRUE(adaptor->Set(QZUnaryTrue<QZBondBase>(), 2));
    EXPECT_TRUE((adaptor->Set(QZBinaryTrue<QZAtomBase, QZAtomBase>(), 3)));
    EXPECT_TRUE((adaptor->Set(QZBinaryTrue<QZBondBase, QZBondBase>(), 4)));
    const std::vector<ProbeFunc::Call> calls{
        {"atom", 1}, {"bond", 2}, {"atom pair", 3}, {"bond pair", 4}};
    EXPECT_EQ(probe.Calls(), calls);
    FieldFunc field(1.0, 0.0);
    EXPECT_TRUE(adaptor->SetMolFunc(field, false) && adaptor->Setup(mol));
    const std::vector<double> x(9, 1.0);
    EXPECT_TRUE(adaptor->SetupConf(x.data()));
    EXPECT_EQ(field(x.data()), 0.0);
  }
}

TEST(Adaptors, GradientsAreExactAfterEverySetup) {
  std::mt19937 rng(41);
  const auto mol = WaterDimer();
  const auto x = Jittered(Coords(mol), 0.1, rng);
  for (const auto& kind : AdaptorKinds()) {
    SCOPED_TRACE(kind.name + ", seed 41");
    ProbeFunc probe;
    FieldFunc field(2.0, 0.1);
    const auto adaptor = kind.make(probe, false);
    for (QZMolFunc1* func : std::initializer_list<QZMolFunc1*>{&probe, &field}) {
      ASSERT_TRUE(adaptor->Setup(Water()));
      adaptor->Clear();
      ASSERT_TRUE(adaptor->SetMolFunc(*func, false));
      ASSERT_TRUE(adaptor->Setup(mol));
      auto vars = StartVars(*adaptor, x);
      const double off = (*adaptor)(vars.data()) - (*func)(x.data());
      EXPECT_TRUE(func == &field || std::abs(off) <= 1e-12) << off;
      vars = Jittered(vars, 0.8, rng);
      if (kind.name == "subset") {  // handed a function as one without a Hessian
        EXPECT_EQ(CheckDerivatives(*adaptor, vars), "the Hessian call failed");
      } else {
        EXPECT_EQ(CheckOverwriting(*adaptor, vars), "");
      }
    }
  }
}

TEST(Adaptors, OwnedFunctionsDieOnce) {
  auto kinds = AdaptorKinds();
  kinds.push_back(KindOf<QZRedundantInterAdaptor>("redundant", false));
  EXPECT_FALSE(QZRedundantInterAdaptor().Setup(Water()));  // has none yet
  for (const auto& kind : kinds) {
    SCOPED_TRACE(kind.name);
    ProbeFunc kept;
    {
      const auto adaptor = kind.make(*new ProbeFunc, true);
      EXPECT_EQ(ProbeFunc::Living(), 2);
      EXPECT_TRUE(adaptor->SetMolFunc(*new ProbeFunc, true));
      EXPECT_EQ(ProbeFunc::Living(), 2);
      ASSERT_TRUE(adaptor->Setup(WaterDimer()));
      EXPECT_TRUE(adaptor->SetMolFunc(kept, false));
      EXPECT_EQ(&adaptor->GetMolFunc(), &kept);
      EXPECT_EQ(ProbeFunc::Living(), 1);
    }
    EXPECT_EQ(ProbeFunc::Living(), 1);
  }
}

TEST(Adaptors, SetupRefusesInvalidMoleculesFailingFunctionsAndForQuaternionsHoles) {
  auto holed = WaterDimer();
  holed.DeleteAtom(holed.GetAtom(2));
  for (const auto& kind : AdaptorKinds()) {
    SCOPED_TRACE(kind.name);
    MessageCapture messages;
    ProbeFunc probe;
    const auto adaptor = kind.make(probe, false);
    EXPECT_FALSE(adaptor->Setup(QZChem::QZGraphMol()));
    probe.FailSetup(true);
    EXPECT_FALSE(adaptor->Setup(WaterDimer()));
    probe.FailSetup(false);
    EXPECT_TRUE(messages.All().empty());
    EXPECT_EQ(adaptor->Setup(holed), !kind.rigid());
    EXPECT_EQ(messages.Warnings().size(), kind.rigid() ? 1U : 0U);
    auto swept = holed;
    swept.Sweep();
    EXPECT_TRUE(adaptor->Setup(swept));
  }
}

// A rigid body has no interactions that change; the other kinds hold the atoms of even index.
TEST(Adaptors, RestrictionKeepsTheInteractionsThatChange) {
  const auto mol = Butane();
  auto kinds = AdaptorKinds(/*restrictInteractions=*/true);
  kinds.back() = KindOf<QZRedundantInterAdaptor>("redundant", true);
  for (const auto& kind : kinds) {
    SCOPED_TRACE(kind.name);
    const auto moves = [&](const QZAtomBase& a) { return !kind.rigid() && a.GetIndex() % 2 != 0; };
    const auto touched = [&](const QZBondBase& b) {
      return moves(*b.GetBegin()) || moves(*b.GetEnd());
    };
    ProbeFunc probe;
    ASSERT_TRUE(kind.make(probe, false)->Setup(mol));
    std::vector<ProbeFunc::Call> calls{
        {"bond", 8}, {"atom pair", 5}, {"bond pair", 48}, {"atom", 192}};
    if (kind.rigid()) std::rotate(calls.begin() + 1, calls.begin() + 2, calls.end());
    EXPECT_EQ(probe.Calls(), calls);
    for (auto& a : QZSystem::QZRange(mol.GetAtoms())) {
      EXPECT_EQ((*probe.atom)(a), moves(a));
      EXPECT_EQ((*probe.atomPair)(a, *mol.GetAtom(0)), moves(a));
      EXPECT_EQ((*probe.atomPair)(*mol.GetAtom(0), a), moves(a));
    }
    for (auto& a : QZSystem::QZRange(mol.GetBonds())) {
      EXPECT_EQ((*probe.bond)(a), touched(a));
      for (auto& b : QZSystem::QZRange(mol.GetBonds())) {
        EXPECT_EQ((*probe.bondPair)(a, b), touched(a) || touched(b));
      }
    }
  }
}

}  // namespace
