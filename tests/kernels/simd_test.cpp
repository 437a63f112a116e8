// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cmath>
#include <random>
#include <vector>

#include "molpotential/linalg.h"
#include "molpotential/nearnbrgrid.h"
#include "qzchem/mol.h"

namespace {

using namespace QZMolPotential;
using Reals = std::vector<double>;

// What the vector loops compute, by the loops of one instruction set.
struct Results {
  std::vector<std::vector<unsigned int>> lists;  // the same, rounding and all
  Reals numbers;                                 // the same but for rounding

  explicit Results(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(target);
    grid();
    eigen();
    inverse();
  }

 private:
  void grid() {
    std::mt19937 rng(81);
    std::uniform_real_distribution<double> place(-4.0, 4.0);
    QZChem::QZGraphMol hosts;
    QZChem::QZGraphMol region;
    // Hosts on multiples of a quarter, so that many stand exactly at the limit.
    for (int i = 0; i < 4000; ++i) {
      const auto at = [&] { return std::round(4.0 * place(rng)) / 4.0; };
      hosts.AddAtom(6, at(), at(), at());
    }
    for (int i = 0; i < 5; ++i) region.AddAtom(6, place(rng) / 2, place(rng) / 2, place(rng) / 2);
    QZNearNbrGrid near;
    EXPECT_TRUE(near.Init(hosts, region, 1.25));
    for (int i = 0; i < 200; ++i) {
      const double p[3] = {place(rng) / 2, place(rng) / 2, place(rng) / 2};
      lists.push_back(near.GetHostAtoms(p));
    }
  }
  void eigen() {
    std::mt19937 rng(82);
    std::normal_distribution<double> normal;
    for (const unsigned n : {2U, 7U, 12U, 33U}) {
      Reals packed(n * (n + 1) / 2);
      for (double& value : packed) value = normal(rng);
      Reals x(n, 0.5);
      Reals y(n);
      matxvec(y.data(), packed.data(), x.data(), static_cast<int>(n));
      numbers.insert(numbers.end(), y.begin(), y.end());
      Reals values(n);
      Reals store(n * n);
      std::vector<double*> rows;
      for (unsigned k = 0; k < n; ++k) rows.push_back(&store[k * n]);
      const auto size = static_cast<int>(n);
      EXPECT_TRUE(diagonalize(packed.data(), values.data(), rows.data(), size, size));
      numbers.insert(numbers.end(), values.begin(), values.end());
    }
  }
  void inverse() {
    std::mt19937 rng(83);
    std::normal_distribution<double> normal;
    for (const unsigned n : {3U, 10U, 21U}) {
      Reals a((n + 2) * n);
      for (double& value : a) value = normal(rng);
      Reals inverted(a.size());
      EXPECT_TRUE(mpinvert(a.data(), inverted.data(), n + 2, n));
      numbers.insert(numbers.end(), inverted.begin(), inverted.end());
      a.resize(n * n);
      numbers.push_back(invert(a.data(), static_cast<int>(n)));
      numbers.insert(numbers.end(), a.begin(), a.end());
    }
  }
};

TEST(VectorLoops, AgreeOnEveryInstructionSet) {
  const std::vector<std::int64_t> targets = hwy::SupportedAndGeneratedTargets();
  ASSERT_FALSE(targets.empty());
  const Results expected(targets.back());
  for (const std::int64_t target : targets) {
    SCOPED_TRACE(hwy::TargetName(target));
    const Results got(target);
    EXPECT_EQ(got.lists, expected.lists);
    ASSERT_EQ(got.numbers.size(), expected.numbers.size());
    for (std::size_t i = 0; i < got.numbers.size(); ++i) {
      const double off = std::abs(got.numbers[i] - expected.numbers[i]);
      EXPECT_TRUE(off <= 1e-9 * (1.0 + std::abs(expected.numbers[i]))) << i;
    }
  }
  hwy::SetSupportedTargetsForTest(0);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  std::size_t entries = 0;
  for (const auto& list : expected.lists) entries += list.size();
  EXPECT_GT(entries, 1000U);
}

}  // namespace
