// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <atomic>
#include <cstdlib>
#include <new>

#include "adaptors/adaptor_support.h"

namespace {
std::atomic<long> allocations{0};
}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

namespace {

using namespace TestSupport;
using namespace QZMolPotential;

long AllocationsOfEvaluation(QZMolAdaptor& adaptor) {
  const auto mol = WaterDimer();
  const auto x = Coords(mol);
  EXPECT_TRUE(adaptor.Setup(mol));
  std::vector<double> vars(adaptor.NumVar());
  std::vector<double> grad(vars.size());
  std::vector<double> back(x.size());
  const long before = allocations;
  adaptor.GetVar(vars.data(), x.data());
  for (int round = 0; round < 3; ++round) {
    adaptor(vars.data());
    adaptor(vars.data(), grad.data());
    adaptor.AdaptVar(back.data(), vars.data());
  }
  return allocations - before;
}

TEST(Allocation, EvaluationAllocatesNothing) {
  const long start = allocations;
  FieldFunc field;
  QZSubsetAdaptor subset(field, false, false);
  subset.Set(AtomsWhere([](unsigned int i) { return i == 4; }), 0x4000);
  QZQuatAdaptor quat(field, false, false);
  QZDegFreeAdaptor deg(field, false);
  QZClusterQuatAdaptor cluster(field, false, false);
  for (QZMolAdaptor* adaptor :
       std::initializer_list<QZMolAdaptor*>{&subset, &quat, &deg, &cluster}) {
    EXPECT_EQ(AllocationsOfEvaluation(*adaptor), 0);
  }
  EXPECT_GT(allocations, start);  // the counter works
}

TEST(Allocation, HessianEvaluationAllocatesNothing) {
  ProbeFunc probe;
  QZSubsetAdaptor subset(probe, false, false);
  subset.Set(AtomsWhere([](unsigned int i) { return i == 4; }), 0x4000);
  ASSERT_TRUE(subset.Setup(WaterDimer()));
  std::vector<double> h(120, 0.0);
  std::vector<double> g(15, 0.0);
  const double* vars = subset.GetVar(Coords(WaterDimer()).data());
  const long before = allocations;
  EXPECT_TRUE(subset(vars, h.data(), g.data()));
  EXPECT_EQ(allocations - before, 0);
}

}  // namespace
