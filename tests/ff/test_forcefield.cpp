// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "molpotential/molpotential.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using TestSupport::MessageCapture;
using TestSupport::ProbeFunc;

// Named terms and interactions, a switchable Hessian; `CreateCopy` may answer null.
class Labelled final : public QZMolFunc2 {
 public:
  explicit Labelled(std::vector<const char*> names, bool copyable = true)
      : names_(std::move(names)), copyable_(copyable) {
    ++living;
  }
  Labelled(const Labelled& other) : Labelled(other.names_, other.copyable_) { Setup_(other.n_); }
  Labelled& operator=(const Labelled&) = delete;
  ~Labelled() override { --living; }
  using QZMolFunc2::operator();
  unsigned int NumVar() const override { return n_; }
  bool Setup(const QZChem::QZMolBase& mol) override { return Setup_(3 * mol.AtomIndexBound()); }
  bool SetupConf(const double*) override { return conf; }
  void Clear() override { ++cleared; }
  double operator()(const double*) override { return 1.0; }
  double operator()(const double*, double*) override { return 1.0; }
  bool operator()(const double*, double*, double*) override {
    ++hessianCalls;
    return hessianWorks;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    if (names_.empty()) return nullptr;
    std::vector<QZOpt::QZFComponent> terms;
    for (const char* name : names_) terms.emplace_back(name, 1.0);
    return new QZSystem::QZVectorIter<QZOpt::QZFComponent>(terms);
  }
  QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase&,
                                                       const double*,
                                                       unsigned int selector) const override {
    if (names_.empty()) return nullptr;
    std::vector<QZInteraction> all;
    if (selector != 0) {
      for (const char* name : names_) {
        all.emplace_back(*new QZInteractImpl(name, selector, 0, nullptr, {}));
      }
    }
    return new QZSystem::QZVectorIter<QZInteraction>(all);
  }
  Labelled* CreateCopy() const override { return copyable_ ? new Labelled(*this) : nullptr; }

  static inline int living = 0;
  bool conf = true;
  bool hessianWorks = true;
  int hessianCalls = 0;
  int cleared = 0;

 private:
  bool Setup_(unsigned int n) {
    n_ = n;
    return true;
  }
  std::vector<const char*> names_;
  bool copyable_;
  unsigned int n_ = 0;
};

class CountedParams final : public QZEmptyFFParams {
 public:
  explicit CountedParams(bool prepares, std::vector<int>* calls = nullptr)
      : prepares_(prepares), calls_(calls) {
    ++living;
  }
  CountedParams(const CountedParams& other) : CountedParams(other.prepares_, other.calls_) {}
  CountedParams& operator=(const CountedParams&) = delete;
  ~CountedParams() override { --living; }
  CountedParams* CreateCopy() const override { return new CountedParams(*this); }
  bool PrepMol(QZChem::QZMolBase&, bool first, bool second) const override {
    calls_->push_back(2 * first + second);
    return prepares_;
  }
  static inline int living = 0;

 private:
  bool prepares_;
  std::vector<int>* calls_;
};

template <class T>
std::string Names(QZSystem::QZIterBase<T>* it) {
  std::string names;
  for (const auto& item : QZSystem::QZRange(it)) names += item.GetName() + std::string(" ");
  return names;
}

TEST(ForceField, FulfilsTheContractOfAFunction) {
  TestSupport::ContractOptions options;
  options.rigidInvariant = true;
  const auto mol = TestSupport::Butane();
  const auto x = TestSupport::Coords(mol);
  const auto make = []() -> QZMolFunc1* {
    auto* ff = new QZGenericFF2;
    ff->Add(*new ProbeFunc, /*own=*/true);
    ff->Add(static_cast<QZMolFunc2&>(*new ProbeFunc), /*own=*/true);
    return ff;
  };
  EXPECT_EQ(TestSupport::CheckContract(make, mol, x, options), "");
  EXPECT_EQ(ProbeFunc::Living(), 0);
  const auto makeFirst = []() -> QZMolFunc1* {
    auto* ff = new QZGenericFF;
    ff->AddMolFunc(*new ProbeFunc, /*own=*/true);
    return ff;
  };
  EXPECT_EQ(TestSupport::CheckContract(makeFirst, mol, x, options), "");
  EXPECT_EQ(ProbeFunc::Living(), 0);
}

TEST(ForceField, HoldsEachComponentOnceAndDeletesWhatItOwns) {
  ASSERT_EQ(ProbeFunc::Living(), 0);
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
  const auto mol = TestSupport::Water();
  EXPECT_TRUE(outer.Setup(mol));
  EXPECT_EQ(outer.NumVar(), 9U);
}

TEST(ForceField, CopiesOutliveTheOriginalAlsoWithComponentsThatCannotBeCopied) {
  ASSERT_EQ(Labelled::living, 0);
  const auto mol = TestSupport::Water();
  const auto x = TestSupport::Coords(mol);
  auto original = std::make_unique<QZGenericFF2>();
  auto* shared = new Labelled({"Shared"}, /*copyable=*/false);
  original->SetTitle("field");
  original->Add(*shared, /*own=*/true);
  original->Add(*new Labelled({"Copied"}), /*own=*/true);
  original->Setup(mol);
  std::unique_ptr<QZGenericFF2> copy(original->CreateCopy());
  const QZGenericFF first(*original);
  QZGenericFF2 assigned;
  assigned.Add(*new Labelled({"Gone"}), /*own=*/true);
  assigned = *copy;
  EXPECT_EQ(Labelled::living, 5);
  EXPECT_TRUE(original->Remove(*shared));
  EXPECT_EQ(Labelled::living, 5) << "the copies hold it";
  original.reset();
  copy.reset();
  EXPECT_EQ(Labelled::living, 3);
  EXPECT_EQ(assigned(x.data()), 2.0);
  EXPECT_EQ(assigned.GetTitle(), "field");
  EXPECT_EQ(first.GetTitle(), "field");
  EXPECT_EQ(QZGenericFF().GetTitle(), "undefined");
  EXPECT_EQ(first.NumVar(), 9U);
  EXPECT_EQ(first.GetComponentPotentials().front(), shared);
  EXPECT_TRUE(assigned.Remove(*shared));
  EXPECT_EQ(Labelled::living, 3) << "the other copy holds it still";
}

TEST(ForceField, SetsUpEveryComponentAndTakesTheLastVariableCount) {
  const auto mol = TestSupport::Water();
  const auto x = TestSupport::Coords(mol);
  QZGenericFF2 ff;
  EXPECT_TRUE(ff.Setup(mol));
  std::vector<double> grad(9, 7.0);
  std::vector<double> hessian(45, 0.0);
  EXPECT_EQ(ff(x.data(), grad.data()), 0.0);
  EXPECT_FALSE(ff(x.data(), hessian.data(), grad.data()));

  ProbeFunc fails;
  ProbeFunc works;
  Labelled conf({"L"});
  fails.FailSetup(true);
  ff.Add(fails, /*own=*/false);
  EXPECT_FALSE(ff.Setup(mol));
  EXPECT_EQ(ff(x.data()), 0.0);
  ff.Add(works, /*own=*/false);
  ff.Add(conf, /*own=*/false);
  EXPECT_FALSE(ff.Setup(mol));
  EXPECT_EQ(works.SetupCount(), 1);
  EXPECT_EQ(ff.NumVar(), 9U);
  EXPECT_TRUE(ff.SetupConf(x.data()));
  conf.conf = false;
  EXPECT_FALSE(ff.SetupConf(x.data()));
  const double energy = ff(x.data(), grad.data());
  EXPECT_DOUBLE_EQ(energy, works(x.data()) + 1.0);
  std::vector<double> expected(9, 7.0);
  works(x.data(), expected.data());
  EXPECT_EQ(grad, expected) << "neither cleared nor summed through a scratch array";
  ff.Clear();
  EXPECT_EQ(ff.NumVar(), 0U);
  EXPECT_EQ(conf.cleared, 1);
}

TEST(ForceField, HandsSelectionsToAllComponents) {
  ProbeFunc refuses(/*acceptsPredicates=*/false);
  ProbeFunc accepts;
  QZGenericFF ff;
  ff.Add(refuses, /*own=*/false);
  const QZSystem::QZUnaryTrue<QZChem::QZAtomBase> atoms;
  EXPECT_FALSE(ff.Set(atoms, 64));
  ff.Add(accepts, /*own=*/false);
  EXPECT_TRUE(ff.Set(atoms, 64));
  EXPECT_TRUE(ff.Set(QZSystem::QZUnaryTrue<QZChem::QZBondBase>(), 8));
  EXPECT_TRUE(ff.Set(QZSystem::QZBinaryTrue<QZChem::QZAtomBase, QZChem::QZAtomBase>(), 5));
  EXPECT_TRUE(ff.Set(QZSystem::QZBinaryTrue<QZChem::QZBondBase, QZChem::QZBondBase>(), 48));
  EXPECT_EQ(refuses.Calls().size(), 5U);
  ASSERT_EQ(accepts.Calls().size(), 4U);
  EXPECT_EQ(accepts.Calls()[2].kind, "atom pair");
  ff.ClearPredicates();
  ff.SetVerbose(true);
  EXPECT_EQ(accepts.ClearedPredicates(), 1);
  EXPECT_TRUE(refuses.Verbose());
}

TEST(ForceField, EnumeratesTermsAndInteractionsInOrderPassingOverEmptyMembers) {
  const auto mol = TestSupport::Water();
  Labelled a({"A1", "A2"});
  Labelled none({});
  Labelled b({"B"});
  QZGenericFF inner;
  inner.Add(b, /*own=*/false);
  QZScaledMolFunc scaled(static_cast<QZMolFunc1&>(inner), 3.0, /*own=*/false);
  QZGenericFF ff;
  ff.Add(a, /*own=*/false);
  ff.Add(none, /*own=*/false);
  ff.Add(scaled, /*own=*/false);
  EXPECT_EQ(Names(ff.GetFComponents(nullptr)), "A1 A2 B ");
  EXPECT_EQ(Names(ff.GetInteractions(mol, nullptr, 5)), "A1 A2 B ");
  EXPECT_EQ(Names(ff.GetInteractions(mol, nullptr, 0)), "");
  std::vector<double> energies;
  for (const auto& term : QZSystem::QZRange(ff.GetInteractions(mol, nullptr, 5))) {
    energies.push_back(term.GetValues(nullptr));
  }
  EXPECT_EQ(energies, (std::vector<double>{5.0, 5.0, 15.0})) << "the wrapper scales its own";
}

TEST(ForceField, HessianStopsAtTheFirstFailureAndNamesIt) {
  MessageCapture messages;
  const auto mol = TestSupport::Water();
  const auto x = TestSupport::Coords(mol);
  Labelled good({"Good"});
  Labelled bad({"Bad", "Worse"});
  Labelled after({"After"});
  QZGenericFF2 ff;
  for (auto* f : {&good, &bad, &after}) ff.AddMolFunc(*f, /*own=*/false);
  ff.Setup(mol);
  std::vector<double> hessian(45, 0.0);
  EXPECT_TRUE(ff(x.data(), hessian.data(), nullptr));
  bad.hessianWorks = false;
  EXPECT_FALSE(ff(x.data(), hessian.data(), nullptr));
  EXPECT_FALSE(ff(x.data(), nullptr, nullptr));
  EXPECT_EQ(after.hessianCalls, 1);
  Labelled nameless({});
  nameless.hessianWorks = false;
  QZGenericFF2 other;
  other.Add(nameless, /*own=*/false);
  other.Setup(mol);
  EXPECT_FALSE(other(x.data(), hessian.data(), nullptr));
  EXPECT_EQ(messages.Warnings(),
            (std::vector<std::string>{"Hessian calculation in Bad failed",
                                      "No space allocated for Hessian",
                                      "Hessian calculation in  failed"}));
}

TEST(ForceField, WrapsFunctionsWithoutAHessianAnewEachTime) {
  const auto mol = TestSupport::Water();
  const auto x = TestSupport::Coords(mol);
  ProbeFunc probe;
  auto* doomed = new ProbeFunc;
  std::vector<QZMolFunc1*> functions;
  {
    QZGenericFF2 ff;
    EXPECT_TRUE(ff.Add(static_cast<QZMolFunc1&>(probe), /*own=*/false));
    EXPECT_TRUE(ff.Add(static_cast<QZMolFunc1&>(probe), /*own=*/false));
    EXPECT_TRUE(ff.Setup(mol));
    EXPECT_DOUBLE_EQ(ff(x.data()), 2.0 * probe(x.data()));
    EXPECT_EQ(TestSupport::CheckHessian(ff, x), "");
    const QZGenericFF2 copy(ff);
    ff.GetComponentPotentials(functions);
    EXPECT_EQ(functions.size(), 2U);
    EXPECT_FALSE(ff.Remove(probe)) << "the wrappers are the components";
    EXPECT_TRUE(ff.Add(static_cast<QZMolFunc1&>(*doomed), /*own=*/true));
    EXPECT_EQ(ProbeFunc::Living(), 1) << "deleted at once: callers pass own false";
  }
  EXPECT_EQ(ProbeFunc::Living(), 1);
}

TEST(ForceField, KeepsCopiesOfItsParameterSets) {
  auto mol = TestSupport::Water();
  std::vector<int> calls;
  {
    QZGenericFF ff;
    EXPECT_TRUE(ff.PrepMol(mol, true, true));
    ff.Add(CountedParams(/*prepares=*/false, &calls));
    ff.Add(CountedParams(/*prepares=*/true, &calls));
    const QZGenericFF copy(ff);
    EXPECT_EQ(CountedParams::living, 4);
    EXPECT_FALSE(copy.PrepMol(mol, true, false));
    EXPECT_EQ(calls, (std::vector<int>{2, 2})) << "all of them, with the flags as given";
    EXPECT_EQ(copy.GetParams().size(), 2U);
    EXPECT_NE(copy.GetParams()[0], ff.GetParams()[0]);
  }
  EXPECT_EQ(CountedParams::living, 0);
}

}  // namespace
