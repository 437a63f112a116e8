// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "qzplatform/qzplatform.h"
#include "qzsystem/qzsystem.h"
#include "support/capture.h"

namespace {

using namespace QZSystem;

TEST(Iterator, DeleteIsRightForEveryKindOfIterator) {
  std::vector<int> targets{4, 5};
  for (int round = 0; round < 100; ++round) {
    std::vector<std::unique_ptr<QZIterBase<int>>> iterators;
    iterators.emplace_back(QZMakeEmptyIter<int>());
    iterators.emplace_back(new (PopEmptyIter()) QZIterBase<int>);
    iterators.emplace_back(new QZIterBase<int>);
    iterators.emplace_back(iterators.front()->CreateCopy());
    for (const auto& it : iterators) EXPECT_FALSE(it->IsValid());
    iterators.emplace_back(new QZVectorIter<int>({1, 2, 3}));
    iterators.emplace_back(new QZPointerIter<int>({&targets[0], &targets[1]}));
  }
  QZIterBase<int> onTheStack;
  EXPECT_FALSE((++onTheStack).IsValid());
}

TEST(Iterator, PoolHandsReturnedStorageOutAgain) {
  void* storage = PopEmptyIter();
  ASSERT_NE(storage, nullptr);
  PushEmptyIter(storage);
  EXPECT_EQ(PopEmptyIter(), storage);
  PushEmptyIter(storage);
  PushEmptyIter(nullptr);
}

TEST(Iterator, CopiesHavePositionsOfTheirOwn) {
  QZCompositeIter<int> all;
  all.Append(nullptr);
  all.Append(new QZVectorIter<int>({1, 2}));
  all.Append(QZMakeEmptyIter<int>());
  all.Append(new QZVectorIter<int>({3}));
  ++all;
  std::unique_ptr<QZIterBase<int>> copy(all.CreateCopy());
  ++all;
  EXPECT_EQ(*all, 3);
  EXPECT_EQ(**copy, 2);
  ++all;
  EXPECT_FALSE(all.IsValid());
  std::vector<int> rest;
  for (int value : QZRange(copy.release())) rest.push_back(value);
  EXPECT_EQ(rest, (std::vector<int>{2, 3}));
  for (int value : QZRange<int>(nullptr)) FAIL() << value;
}

TEST(ErrorHandler, FormatsByLevelAndRestoresThePreviousSink) {
  TestSupport::MessageCapture outer;
  {
    TestSupport::MessageCapture inner;
    QZThrow.Warning("%d atoms of %s", 3, "water");
    QZThrow.Fatal("%s", std::string(5000, 'x').c_str());
    ASSERT_EQ(inner.All().size(), 2U);
    EXPECT_EQ(inner.Warnings(), std::vector<std::string>{"3 atoms of water"});
    EXPECT_EQ(inner.All()[1].second.size(), 5000U);
    EXPECT_EQ(inner.All()[1].first, QZErrorLevel::Fatal);
  }
  QZThrow.Info("after");
  EXPECT_EQ(outer.All().size(), 1U);
}

TEST(ErrorHandler, SwallowsWhatASinkThrowsAndDefaultsToStandardError) {
  auto previous = QZThrow.SetSink([](QZErrorLevel, const std::string&) { throw 1; });
  QZThrow.Error("lost");
  QZThrow.SetSink({});
  testing::internal::CaptureStderr();
  QZThrow.Warning("text");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: text\n");
  QZThrow.SetSink(previous);
}

struct Holder : QZBase {};

TEST(TaggedData, IsCopiedWithItsObjectAndTyped) {
  const unsigned int tag = QZGetTag("tagged data test");
  EXPECT_EQ(tag, QZGetTag("tagged data test"));
  EXPECT_NE(tag, QZGetTag("another"));
  Holder original;
  original.SetData(tag, std::string("first"));
  Holder copy = original;
  original.SetData(tag, std::string("second"));
  ASSERT_NE(copy.GetData<std::string>(tag), nullptr);
  EXPECT_EQ(*copy.GetData<std::string>(tag), "first");
  EXPECT_EQ(*original.GetData<std::string>(tag), "second");
  TestSupport::MessageCapture messages;
  EXPECT_EQ(copy.GetData<int>(tag), nullptr);
  EXPECT_TRUE(copy.HasData(tag));
  EXPECT_TRUE(copy.DeleteData("tagged data test"));
  EXPECT_FALSE(copy.DeleteData(tag));
}

int destroyedSlots = 0;

TEST(Platform, SlotsScratchAndVersionsWork) {
  unsigned long key = 0;
  ASSERT_TRUE(QZPlatform::QZWin32ThreadLocalAlloc(&key, nullptr));
  EXPECT_EQ(QZPlatform::QZWin32ThreadLocalGet(key), nullptr);
  EXPECT_TRUE(QZPlatform::QZWin32ThreadLocalSet(key, &destroyedSlots));
  EXPECT_EQ(QZPlatform::QZWin32ThreadLocalGet(key), &destroyedSlots);
  EXPECT_TRUE(QZPlatform::QZWin32ThreadLocalFree(key));
  EXPECT_FALSE(QZPlatform::QZWin32ThreadLocalFree(key));
  void* scratch = QZPlatform::QZMalloca(QZPlatform::QZGetAllocaThreshold() + 1);
  EXPECT_NE(scratch, nullptr);
  QZPlatform::QZFreea(scratch);
  QZPlatform::QZFreea(nullptr);
  const std::size_t before = QZPlatform::QZNumRegisteredVersions();
  ASSERT_TRUE(
      QZPlatform::QZRegisterVersion([] { return QZPlatform::QZVersion("probe", "1.2", "test"); }));
  EXPECT_FALSE(QZPlatform::QZRegisterVersion(nullptr));
  ASSERT_EQ(QZPlatform::QZNumRegisteredVersions(), before + 1);
  EXPECT_EQ(QZPlatform::QZGetRegisteredVersion(before).GetName(), "probe");
}

TEST(Cache, IsReleasedWhileItLives) {
  struct Probe : QZVirtualCache {
    explicit Probe(int& count) : count_(count) {}
    void Release() override { ++count_; }
    int& count_;
  };
  int count = 0;
  {
    const Probe probe(count);
    QZReleaseCaches();
  }
  QZReleaseCaches();
  EXPECT_EQ(count, 1);
}

TEST(Annotation, ArrowKeepsItsEndsAndShape) {
  float from[3] = {0, 1, 2};
  float to[3] = {3, 4, 5};
  QZAnnotation node;
  node.SetColor(QZBlue).SetTitle("node");
  node.AddChild(QZAnnotateArrow("arrow", from, to, 0.8F, 0.1F, 0.2F, 0.0F).SetColor(QZRed));
  const QZAnnotation copy = node;
  ASSERT_EQ(copy.GetChildren().size(), 1U);
  const QZAnnotation& arrow = copy.GetChildren()[0];
  EXPECT_TRUE(arrow.IsArrow() && !copy.IsArrow());
  EXPECT_EQ(arrow.GetTo()[2], 5.0F);
  EXPECT_EQ(arrow.GetShape()[2], 0.2F);
  EXPECT_TRUE(arrow.GetColor() == QZRed && copy.GetColor() == QZBlue);
}

}  // namespace
