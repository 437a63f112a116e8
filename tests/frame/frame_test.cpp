// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "free_list.h"
#include "molpotential/forcefield.h"
#include "qzplatform/qzplatform.h"
#include "support/capture.h"

namespace {

using namespace QZMolPotential;

std::vector<std::string> asked;
bool Refuse(const char* feature) {
  asked.emplace_back(feature);
  return false;
}

// The only test of this program that builds force fields: the hook hears of a class once a process.
TEST(License, HookIsAskedOnceAProcessForLicensedClasses) {
  EXPECT_TRUE(QZPlatform::QZCheckLicense("anything"));
  EXPECT_EQ(QZPlatform::QZSetLicenseHook(&Refuse), nullptr);
  const TestSupport::MessageCapture messages;
  for (int i = 0; i < 3; ++i) {
    const QZGenericFF2 field;
    const QZGenericFF2 copy(field);
    const QZGenericFF other;
  }
  std::ranges::sort(asked);
  EXPECT_EQ(asked, (std::vector<std::string>{"QZGenericFF", "QZGenericFF2"}));
  EXPECT_EQ(QZPlatform::QZSetLicenseHook(nullptr), &Refuse);
  EXPECT_TRUE(QZPlatform::QZCheckLicense("anything"));
  EXPECT_FALSE(QZPlatform::QZIsLicensed("QZMolContainerFunc") || QZPlatform::QZIsLicensed(nullptr));
}

// Every kind of pool under threads that take, write, and give back what others took.
TEST(Pool, EveryModeHandsOutWholeBlocks) {
  for (const unsigned int mode : {0U, 1U, 2U}) {
    QZSystem::PooledStorage<48> pool(mode);
    std::vector<void*> given(400);
    for (void*& block : given) block = pool.Pop();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 100; ++i) pool.Push(given[static_cast<std::size_t>(100 * t + i)]);
        std::vector<void*> taken;
        for (int round = 0; round < 300; ++round) {
          taken.push_back(pool.Pop());
          std::memset(taken.back(), t, 48);
        }
        for (void* block : taken) {
          const auto* bytes = static_cast<const unsigned char*>(block);
          EXPECT_TRUE(std::all_of(bytes, bytes + 48, [t](unsigned char b) { return b == t; }));
          pool.Push(block);
        }
      });
    }
    for (auto& thread : threads) thread.join();
    void* block = pool.Pop();
    pool.Push(block);
    EXPECT_EQ(pool.Pop(), block) << "handed out again";
    pool.Push(block);
    QZSystem::QZReleaseCaches();  // leaks are the sanitizer's to find
    pool.Push(pool.Pop());
    pool.Release();
  }
}

}  // namespace
