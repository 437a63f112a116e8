// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <string>

#include "adaptors/adaptor_support.h"

namespace {

using namespace TestSupport;
using namespace QZMolPotential;

// An adaptor without a function.
template <class T>
class Empty : public T {
 public:
  using Adaptor = T;
};
using EmptySubset = Empty<QZSubsetAdaptor>;
using EmptyDegFree = Empty<QZDegFreeAdaptor>;

template <class T>
class Forwarding : public testing::Test {
 public:
  static std::unique_ptr<QZMolAdaptor> Make(QZMolFunc1& func, bool own) {
    using Adaptor = typename T::Adaptor;
    std::unique_ptr<QZMolAdaptor> adaptor;
    if constexpr (std::is_same_v<T, EmptyDegFree>) {
      adaptor = std::make_unique<Adaptor>(func, own);
    } else {
      adaptor = std::make_unique<Adaptor>(func, own, false);
    }
    if constexpr (std::is_same_v<T, EmptySubset>) {
      adaptor->Set(AtomsWhere([](unsigned int i) { return i == 0; }), 0x4000);
    }
    return adaptor;
  }
};
using Adaptors =
    testing::Types<EmptySubset, Empty<QZQuatAdaptor>, EmptyDegFree, Empty<QZClusterQuatAdaptor>>;
TYPED_TEST_SUITE(Forwarding, Adaptors);

TYPED_TEST(Forwarding, SelectionsAndEnumerationsReachTheFunction) {
  FieldFunc field;
  const auto adaptor = this->Make(field, false);
  const auto mol = Water();
  const auto x = Coords(mol);
  adaptor->SetVerbose(true);
  EXPECT_TRUE(field.verbose);
  EXPECT_TRUE(adaptor->Set(QZSystem::QZUnaryTrue<QZChem::QZAtomBase>(), 1));
  EXPECT_TRUE(adaptor->Set(QZSystem::QZUnaryTrue<QZChem::QZBondBase>(), 2));
  EXPECT_TRUE((adaptor->Set(QZSystem::QZBinaryTrue<QZChem::QZAtomBase, QZChem::QZAtomBase>(), 3)));
  EXPECT_TRUE((adaptor->Set(QZSystem::QZBinaryTrue<QZChem::QZBondBase, QZChem::QZBondBase>(), 4)));
  EXPECT_EQ(field.masks, std::vector<unsigned int>({1, 2, 3, 4}));
  ASSERT_TRUE(adaptor->Setup(mol));
  EXPECT_TRUE(adaptor->SetupConf(x.data()));
  EXPECT_EQ(field.conformation, x.data());
  const std::unique_ptr<QZSystem::QZIterBase<QZOpt::QZFComponent>> components(
      adaptor->GetFComponents(x.data()));
  ASSERT_TRUE(components->IsValid());
  EXPECT_EQ((*components)->GetName(), std::string("Field"));
  const std::unique_ptr<QZSystem::QZIterBase<QZInteraction>> interactions(
      adaptor->GetInteractions(mol, x.data(), 0));
  EXPECT_FALSE(interactions->IsValid());
  EXPECT_EQ(static_cast<const QZMolFunc1&>(*adaptor).CreateCopy(), nullptr);
  EXPECT_EQ(&adaptor->GetMolFunc(), &field);
  adaptor->ClearPredicates();
  EXPECT_EQ(field.clearedPredicates, 1);
}

TYPED_TEST(Forwarding, ClearUnbindsAndSetupBindsAgain) {
  FieldFunc field;
  const auto adaptor = this->Make(field, false);
  const auto x = Coords(WaterDimer());
  ASSERT_TRUE(adaptor->Setup(WaterDimer()));
  auto vars = StartVars(*adaptor, x);
  const double energy = (*adaptor)(vars.data());
  adaptor->Clear();
  EXPECT_EQ(field.clears, 1);
  EXPECT_EQ((*adaptor)(vars.data()), 0.0);
  ASSERT_TRUE(adaptor->Setup(WaterDimer()));
  adaptor->GetVar(vars.data(), x.data());
  EXPECT_EQ((*adaptor)(vars.data()), energy);
}

TYPED_TEST(Forwarding, OwnedFunctionsDieOnce) {
  ProbeFunc kept;
  {
    const auto adaptor = this->Make(*new ProbeFunc, true);
    EXPECT_EQ(ProbeFunc::Living(), 2);
    EXPECT_TRUE(adaptor->SetMolFunc(*new ProbeFunc, true));
    EXPECT_EQ(ProbeFunc::Living(), 2);
    ASSERT_TRUE(adaptor->Setup(WaterDimer()));
    EXPECT_TRUE(adaptor->SetMolFunc(kept, false));
    EXPECT_EQ(ProbeFunc::Living(), 1);
  }
  EXPECT_EQ(ProbeFunc::Living(), 1);
}

TYPED_TEST(Forwarding, WithoutAFunctionNothingHappens) {
  TypeParam empty;
  EXPECT_FALSE(empty.Setup(Water()));
  EXPECT_FALSE(empty.SetupConf(nullptr));
  EXPECT_FALSE(static_cast<QZMolFunc&>(empty).Set(QZSystem::QZUnaryTrue<QZChem::QZAtomBase>(), 1));
  empty.Clear();
  const std::unique_ptr<QZSystem::QZIterBase<QZOpt::QZFComponent>> none(
      empty.GetFComponents(nullptr));
  EXPECT_FALSE(none->IsValid());
}

}  // namespace
