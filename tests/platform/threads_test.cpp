// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "qzchem/qzchem.h"
#include "support/capture.h"
#include "support/molecules.h"

namespace {

using namespace QZChem;

constexpr int kThreads = 4;

template <class Work>
void InThreads(Work work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

TEST(Threads, ConstUseOfAMoleculeIsSafe) {
  QZGraphMol original;
  ASSERT_TRUE(QZSmilesToMol(original, "Cc1ccc(NC(=O)C2CC2)cc1O"));
  QZSubSearch search;
  ASSERT_TRUE(search.Init("[$(c1ccccc1)][$([NX3][CX3]=O),$([OX2][H])]", false));
  for (int round = 0; round < 20; ++round) {
    QZGraphMol fresh(original);
    fresh.AddAtom(11);  // nothing perceived yet
    const QZGraphMol& mol = fresh;
    std::atomic<unsigned int> rings = 0;
    std::atomic<unsigned int> matches = 0;
    InThreads([&](int) {
      for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
        rings += bond.IsInRing() ? 1U : 0U;
        rings += bond.IsAromatic() ? 1U : 0U;
      }
      std::unique_ptr<QZSystem::QZIterBase<QZMatchBase>> found(search.Match(mol, true));
      for (; found->IsValid(); ++*found) ++matches;
      const QZGraphMol copy = mol;
      if (QZLacksHydrogens(copy) || QZLooksTwoDimensional(copy)) rings += copy.NumAtoms() > 0;
    });
    EXPECT_EQ(matches, 2U * kThreads);
    EXPECT_GT(rings, 0U);
  }
}

TEST(Threads, EmptyIteratorsMayPassBetweenThreads) {
  InThreads([](int) {
    for (int i = 0; i < 2000; ++i) {
      std::unique_ptr<QZSystem::QZIterBase<int>> first(QZSystem::QZMakeEmptyIter<int>());
      std::unique_ptr<QZSystem::QZIterBase<int>> second(first->CreateCopy());
      first.reset();
      EXPECT_FALSE(second->IsValid());
    }
  });
}

TEST(Threads, ReportsArriveWholeWhileSinksChange) {
  std::atomic<int> wrong = 0;
  std::atomic<int> arrived = 0;
  auto previous = QZSystem::QZThrow.SetSink({});
  const auto sink = [&](QZSystem::QZErrorLevel, const std::string& text) {
    ++arrived;
    if (text != "thread 7 of 7") ++wrong;
  };
  QZSystem::QZThrow.SetSink(sink);
  InThreads([&](int id) {
    for (int i = 0; i < 500; ++i) {
      QZSystem::QZThrow.Warning("thread %d of %s", 7, "7");
      if (id == 0) QZSystem::QZThrow.SetSink(sink);
    }
  });
  QZSystem::QZThrow.SetSink(previous);
  EXPECT_EQ(arrived, 500 * kThreads);
  EXPECT_EQ(wrong, 0);
}

TEST(Threads, ParsersReportToTheirOwnThread) {
  std::atomic<int> wrong = 0;
  InThreads([&](int id) {
    const std::string smarts = std::string("C").append(std::to_string(id + 1)).append("CC(");
    for (int i = 0; i < 100; ++i) {
      QZSubSearch search;
      if (search.Init(smarts.c_str(), false)) ++wrong;
      if (std::string(search.GetError()).find(smarts) == std::string::npos) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
}

}  // namespace
