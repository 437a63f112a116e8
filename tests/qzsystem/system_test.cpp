// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "qzsystem/qzsystem.h"
#include "support/records_text.h"

namespace {

using namespace QZSystem;
using TestSupport::FromSmiles;

constexpr int kThreads = 4;

void InThreads(auto work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

TEST(Iterator, DeleteIsRightForEveryKindOfIteratorOnAnyThread) {
  InThreads([](int) {
    int target = 4;
    for (int round = 0; round < 500; ++round) {
      std::vector<std::unique_ptr<QZIterBase<int>>> iterators;
      iterators.emplace_back(QZMakeEmptyIter<int>());
      iterators.emplace_back(new (PopEmptyIter()) QZIterBase<int>);
      iterators.emplace_back(new QZIterBase<int>);
      iterators.emplace_back(iterators.front()->CreateCopy());
      for (const auto& it : iterators) EXPECT_FALSE(it->IsValid());
      iterators.emplace_back(new QZVectorIter<int>({1, 2, 3}));
      iterators.emplace_back(new QZPointerIter<int>({&target, &target}));
    }
  });
  QZIterBase<int> onTheStack;
  EXPECT_FALSE((++onTheStack).IsValid());
  for (int value : QZRange<int>(nullptr)) FAIL() << value;
  void* storage = PopEmptyIter();
  PushEmptyIter(storage);
  EXPECT_EQ(PopEmptyIter(), storage) << "handed out again";
  PushEmptyIter(storage);
}

TEST(ErrorHandler, ReportsArriveWholeWhileSinksChange) {
  std::atomic<int> arrived = 0;
  const auto sink = [&](QZErrorLevel, const std::string& text) {
    if (text == "thread 7 of 7") ++arrived;
  };
  auto previous = QZThrow.SetSink(sink);
  InThreads([&](int id) {
    for (int i = 0; i < 500; ++i) {
      QZThrow.Warning("thread %d of %s", 7, "7");
      if (id == 0) QZThrow.SetSink(sink);
    }
  });
  QZThrow.SetSink(previous);
  EXPECT_EQ(arrived, 500 * kThreads);
}

TEST(Threads, ParsersReportToTheirOwnThread) {
  InThreads([](int id) {
    const std::string smarts = std::string("C").append(std::to_string(id + 1)).append("CC(");
    for (int i = 0; i < 100; ++i) {
      QZChem::QZSubSearch search;
      EXPECT_FALSE(search.Init(smarts.c_str(), false));
      EXPECT_NE(std::string(search.GetError()).find(smarts), std::string::npos);
    }
  });
}

TEST(Threads, ConstUseOfAMoleculeIsSafe) {
  const QZChem::QZGraphMol original = FromSmiles("Cc1ccc(NC(=O)C2CC2)cc1O");
  QZChem::QZSubSearch search;
  ASSERT_TRUE(search.Init("[$(c1ccccc1)][$([NX3][CX3]=O),$([OX2][H])]", false));
  for (int round = 0; round < 20; ++round) {
    QZChem::QZGraphMol fresh(original);
    fresh.AddAtom(11);  // nothing perceived yet
    const QZChem::QZGraphMol& mol = fresh;
    std::atomic<int> rings = 0;
    std::atomic<int> matches = 0;
    InThreads([&](int) {
      for (const auto& bond : QZRange(mol.GetBonds())) {
        rings += static_cast<int>(bond.IsInRing()) + static_cast<int>(bond.IsAromatic());
      }
      for ([[maybe_unused]] const auto& match : QZRange(search.Match(mol, true))) ++matches;
      const QZChem::QZGraphMol copy = mol;
      QZChem::QZLooksTwoDimensional(copy);
      if (QZChem::QZLacksHydrogens(copy)) ++matches;
    });
    EXPECT_EQ(matches, 3 * kThreads);
    EXPECT_EQ(rings, 15 * kThreads);
  }
}

}  // namespace
