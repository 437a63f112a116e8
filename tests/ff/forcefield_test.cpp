// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "molpotential/molpotential.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using TestSupport::ProbeFunc;

// 1, with a name (null: without terms); what fails and whether it can be copied is set.
class Labelled final : public QZMolFunc2 {
 public:
  explicit Labelled(const char* name) : name_(name) {}
  using QZMolFunc2::operator();
  unsigned int NumVar() const override { return 9; }
  bool Setup(const QZChem::QZMolBase&) override { return true; }
  bool SetupConf(const double*) override { return works; }
  double operator()(const double*) override { return 1.0; }
  double operator()(const double*, double*) override { return 1.0; }
  bool operator()(const double*, double*, double*) override {
    ++hessianCalls;
    return works;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    if (name_ == nullptr) return nullptr;
    return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{name_, 1.0}});
  }
  QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase&,
                                                       const double*,
                                                       unsigned int selector) const override {
    if (name_ == nullptr || selector == 0) return nullptr;
    return new QZSystem::QZVectorIter<QZInteraction>(
        {QZInteraction(*new QZInteractImpl(name_, selector, 0, nullptr, {}))});
  }
  Labelled* CreateCopy() const override { return copyable ? new Labelled(*this) : nullptr; }

  std::shared_ptr<int> alive = std::make_shared<int>();  // shared with its copies
  bool works = true;
  bool copyable = true;
  int hessianCalls = 0;

 private:
  const char* name_;
};

TEST(ForceField, FulfilsTheContractOfAFunction) {
  const auto mol = TestSupport::Butane();
  const auto make = []() -> QZMolFunc1* {
    auto* ff = new QZGenericFF2;
    ff->Add(*new ProbeFunc, /*own=*/true);
    ff->Add(static_cast<QZMolFunc2&>(*new ProbeFunc), /*own=*/true);
    return ff;
  };
  EXPECT_EQ(TestSupport::CheckContract(make, mol, TestSupport::Coords(mol)), "");
  EXPECT_EQ(ProbeFunc::Living(), 0);
}

TEST(ForceField, HoldsEachComponentOnceAndDeletesWhatItOwns) {
  ProbeFunc kept;
  QZGenericFF outer;
  {
    QZGenericFF ff;
    auto* owned = new ProbeFunc;
    auto* other = new ProbeFunc;
    EXPECT_TRUE(ff.Add(*owned, /*own=*/true));
    EXPECT_FALSE(ff.Add(*owned, /*own=*/false));
    EXPECT_TRUE(ff.Add(kept, /*own=*/false));
    EXPECT_TRUE(ff.Add(*other, /*own=*/true));
    EXPECT_FALSE(ff.Add(ff, /*own=*/true)) << "not itself";
    EXPECT_TRUE(ff.Remove(*owned));
    EXPECT_EQ(ProbeFunc::Living(), 2);
    EXPECT_EQ(ff.GetComponentPotentials(), (std::vector<QZMolFunc1*>{&kept, other}));
    EXPECT_FALSE(ff.Remove(outer)) << "unknown";
    EXPECT_TRUE(outer.Add(*new QZGenericFF(ff), /*own=*/true));
    EXPECT_EQ(ProbeFunc::Living(), 4) << "the copy has components of its own";
  }
  EXPECT_EQ(ProbeFunc::Living(), 3);
  EXPECT_TRUE(outer.Setup(TestSupport::Water()));
  EXPECT_EQ(outer.NumVar(), 9U);
}

TEST(ForceField, CopiesOutliveTheOriginalAlsoWithComponentsThatCannotBeCopied) {
  const auto x = TestSupport::Coords(TestSupport::Water());
  auto original = std::make_unique<QZGenericFF2>();
  auto* shared = new Labelled("Shared");
  shared->copyable = false;
  auto* copied = new Labelled("Copied");
  const std::weak_ptr<int> sharedOnes = shared->alive;
  const std::weak_ptr<int> copiedOnes = copied->alive;
  original->SetTitle("field");
  original->Add(*shared, /*own=*/true);
  original->Add(*copied, /*own=*/true);
  original->Setup(TestSupport::Water());
  std::unique_ptr<QZGenericFF2> copy(original->CreateCopy());
  const QZGenericFF first(*original);
  QZGenericFF2 assigned;
  assigned.Add(*new Labelled("Gone"), /*own=*/true);
  assigned = *copy;
  EXPECT_EQ(copiedOnes.use_count(), 4);
  EXPECT_TRUE(original->Remove(*shared));
  EXPECT_EQ(sharedOnes.use_count(), 1) << "the copies hold it";
  original.reset();
  copy.reset();
  EXPECT_EQ(copiedOnes.use_count(), 2);
  EXPECT_EQ(assigned(x.data()), 2.0);
  EXPECT_EQ(assigned.GetTitle() + first.GetTitle(), "fieldfield");
  EXPECT_TRUE(assigned.Remove(*shared));
  EXPECT_EQ(sharedOnes.use_count(), 1) << "the other copy holds it still";
  EXPECT_EQ(first.GetComponentPotentials().front(), shared);
}

TEST(ForceField, SetsUpEveryComponentAlsoBehindOneThatFails) {
  const auto mol = TestSupport::Water();
  const auto x = TestSupport::Coords(mol);
  std::vector<double> grad(9, 7.0);
  QZGenericFF ff;
  EXPECT_TRUE(ff.Setup(mol));
  EXPECT_EQ(ff(x.data(), grad.data()), 0.0) << "empty";
  ProbeFunc fails(/*acceptsPredicates=*/false);
  ProbeFunc works;
  Labelled last("L");
  fails.FailSetup(true);
  for (QZMolFunc1* f : std::initializer_list<QZMolFunc1*>{&fails, &works, &last}) {
    ff.Add(*f, /*own=*/false);
    EXPECT_FALSE(ff.Setup(mol));
  }
  EXPECT_EQ(works.SetupCount(), 2);
  EXPECT_EQ(ff.NumVar(), 9U);
  EXPECT_TRUE(ff.SetupConf(x.data()));
  last.works = false;
  EXPECT_FALSE(ff.SetupConf(x.data()));
  EXPECT_DOUBLE_EQ(ff(x.data(), grad.data()), works(x.data()) + 1.0);
  std::vector<double> expected(9, 7.0);
  works(x.data(), expected.data());
  EXPECT_EQ(grad, expected) << "neither cleared nor summed through a scratch array";
  EXPECT_TRUE(ff.Set(QZSystem::QZUnaryTrue<QZChem::QZAtomBase>(), 64)) << "one accepts";
  EXPECT_EQ(fails.Calls().size() + works.Calls().size(), 2U);
}

TEST(ForceField, EnumeratesTermsAndInteractionsInOrderPassingOverEmptyMembers) {
  const auto mol = TestSupport::Water();
  Labelled a("A");
  Labelled none(nullptr);
  Labelled b("B");
  QZGenericFF inner;
  inner.Add(b, /*own=*/false);
  QZScaledMolFunc scaled(static_cast<QZMolFunc1&>(inner), 3.0, /*own=*/false);
  QZGenericFF ff;
  for (QZMolFunc1* f : std::initializer_list<QZMolFunc1*>{&a, &none, &scaled}) {
    ff.Add(*f, /*own=*/false);
  }
  std::string names;
  for (const auto& term : QZSystem::QZRange(ff.GetFComponents(nullptr))) names += term.GetName();
  EXPECT_EQ(names, "AB");
  std::vector<double> energies;
  for (const auto& term : QZSystem::QZRange(ff.GetInteractions(mol, nullptr, 5))) {
    energies.push_back(term.GetValues(nullptr));
  }
  EXPECT_EQ(energies, (std::vector<double>{5.0, 15.0})) << "the wrapper scales its own";
}

TEST(ForceField, HessianStopsAtTheFirstFailureAndNamesIt) {
  TestSupport::MessageCapture messages;
  const double x[9] = {};
  double hessian[45] = {};
  Labelled good("Good");
  Labelled bad("Bad");
  Labelled after("After");
  QZGenericFF2 ff;
  EXPECT_FALSE(ff(x, hessian, nullptr)) << "empty";
  for (auto* f : {&good, &bad, &after}) ff.AddMolFunc(*f, /*own=*/false);
  ff.Setup(TestSupport::Water());
  EXPECT_TRUE(ff(x, hessian, nullptr));
  EXPECT_FALSE(ff(x, nullptr, nullptr));
  bad.works = false;
  EXPECT_FALSE(ff(x, hessian, nullptr));
  EXPECT_EQ(after.hessianCalls, 1);
  EXPECT_EQ(messages.Warnings().back(), "Hessian calculation in Bad failed");
}

TEST(ForceField, WrapsFunctionsWithoutAHessianAnewEachTime) {
  const auto mol = TestSupport::Water();
  const auto x = TestSupport::Coords(mol);
  ProbeFunc probe;
  {
    QZGenericFF2 ff;
    EXPECT_TRUE(ff.Add(static_cast<QZMolFunc1&>(probe), /*own=*/false));
    EXPECT_TRUE(ff.Add(static_cast<QZMolFunc1&>(probe), /*own=*/false));
    EXPECT_TRUE(ff.Setup(mol));
    EXPECT_DOUBLE_EQ(ff(x.data()), 2.0 * probe(x.data()));
    EXPECT_EQ(TestSupport::CheckDerivatives(ff, x), "");
    const QZGenericFF2 copy(ff);
    EXPECT_FALSE(ff.Remove(probe)) << "the wrappers are the components";
    EXPECT_TRUE(ff.Add(static_cast<QZMolFunc1&>(*new ProbeFunc), /*own=*/true));
    EXPECT_EQ(ProbeFunc::Living(), 1) << "deleted at once: callers pass own false";
  }
  EXPECT_EQ(ProbeFunc::Living(), 1);
}

}  // namespace
