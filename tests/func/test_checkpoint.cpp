// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "molpotential/checkpoint.h"
#include "qzsystem/annotation.h"
#include "support/capture.h"
#include "support/molecules.h"

namespace {

using QZMolPotential::QZMolCoordGradFileCP;
using QZSystem::QZErrorLevel;
using TestSupport::MessageCapture;

// Keeps the molecules written to it.
class Recorder final : public QZChem::qzmolostream {
 public:
  Recorder() : qzmolostream(sink_) {}
  bool Write(const QZChem::QZGraphMol& mol) override {
    written.push_back(mol);
    return true;
  }
  std::vector<QZChem::QZGraphMol> written;

 private:
  static inline std::ostringstream sink_;
};

const QZSystem::QZAnnotation* Arrows(const QZChem::QZGraphMol& mol) {
  return mol.GetData<QZSystem::QZAnnotation>(QZSystem::QZGetTag("visibility mimic"));
}

TEST(Checkpoint, WritesCoordinatesTitleAndDataOfEveryIteration) {
  MessageCapture messages;
  auto mol = TestSupport::Water();
  mol.SetEnergy(-2.0);
  Recorder out;
  QZMolCoordGradFileCP checkpoint(out, mol);
  auto x = TestSupport::Coords(mol);
  const std::vector<double> grad(9, 0.1);
  x[4] = 9.5;
  EXPECT_TRUE(checkpoint(3, 9, 12.5, 0.25, x.data(), grad.data(), 1));
  x[4] = 8.5;
  EXPECT_TRUE(checkpoint(4, 9, 11.5, x.data(), 0));
  ASSERT_EQ(out.written.size(), 2U);
  EXPECT_STREQ(out.written[0].GetTitle(), "3, 1.25e+01, 2e-01");
  EXPECT_EQ(TestSupport::Coords(out.written[0])[4], 9.5);
  EXPECT_EQ(QZChem::QZGetSDData(out.written[0], "Iteration"), "3");
  EXPECT_EQ(QZChem::QZGetSDData(out.written[0], "Energy"), "1.25e+01");
  EXPECT_EQ(QZChem::QZGetSDData(out.written[0], "Gnorm"), "2.50e-01");
  EXPECT_STREQ(out.written[1].GetTitle(), "4, 1.15e+01, -2e+00")
      << "the molecule's energy where no norm was reported";
  EXPECT_EQ(TestSupport::Coords(out.written[1])[4], 8.5);
}

TEST(Checkpoint, PrintsTheHeaderOnceWithNormsAndBeforeEveryLineWithout) {
  MessageCapture messages;
  const auto mol = TestSupport::Water();
  const auto x = TestSupport::Coords(mol);
  Recorder out;
  QZMolCoordGradFileCP checkpoint(out, mol);
  for (unsigned int i = 0; i < 2; ++i) checkpoint(i, 9, 1.0, x.data(), 7);
  for (unsigned int i = 2; i < 4; ++i) checkpoint(i, 9, 1.0, 0.5, x.data(), nullptr, 7);
  checkpoint(4, 9, 1.0, x.data(), 7);
  checkpoint.SetVerbose(false);
  checkpoint(5, 9, 1.0, x.data(), 7);
  const std::vector<std::string> expected{
      "Iteration\tEnergy\tState",
      "0\t1.00e+00\t7",
      "Iteration\tEnergy\tState",
      "1\t1.00e+00\t7",
      "Iteration  \tEnergy   \tGNorm   \tState",
      "========== \t=========\t========\t======",
      "        2\t1.00e+00\t5.00e-01\t7",
      "        3\t1.00e+00\t5.00e-01\t7",
      "4\t1.00e+00\t7",
  };
  EXPECT_EQ(messages.At(QZErrorLevel::Info), expected);
  EXPECT_TRUE(messages.Warnings().empty());
}

TEST(Checkpoint, DrawsArrowsAgainstTheGradientFromWhereTheAtomsWere) {
  MessageCapture messages;
  const auto mol = TestSupport::Water();
  auto x = TestSupport::Coords(mol);
  const float startX = static_cast<float>(x[3]);
  Recorder out;
  QZMolCoordGradFileCP checkpoint(out, mol);
  checkpoint.SetGradToAngstromScale(2.0F);
  checkpoint.SetHydrogenGrad(true);
  std::vector<double> grad{1.5, -1.5, 0.0, 1.5000005, 0.0, 0.0, 0.0, 0.0, 0.25};
  x[3] += 1.0;
  checkpoint(0, 9, 0.0, 1.0, x.data(), grad.data(), 0);
  const auto* arrows = Arrows(out.written.at(0));
  ASSERT_NE(arrows, nullptr);
  EXPECT_EQ(arrows->GetTitle(), "grads");
  ASSERT_EQ(arrows->GetChildren().size(), 3U);
  EXPECT_EQ(arrows->GetChildren()[0].GetColor(), QZSystem::QZBlue) << "the bound itself is blue";
  const auto& second = arrows->GetChildren()[1];
  EXPECT_EQ(second.GetTitle(), "grad");
  EXPECT_EQ(second.GetColor(), QZSystem::QZRed);
  EXPECT_EQ(second.GetFrom()[0], startX);
  EXPECT_FLOAT_EQ(second.GetTo()[0], startX - 2.0F * 1.5000005F);
  EXPECT_EQ(second.GetShape()[0], 0.9F);
  EXPECT_EQ(second.GetShape()[3], 0.01F);

  checkpoint.SetHydrogenGrad(false);
  grad[1] = std::numeric_limits<double>::quiet_NaN();
  checkpoint(1, 9, 0.0, 1.0, x.data(), grad.data(), 0);
  ASSERT_EQ(Arrows(out.written[1])->GetChildren().size(), 1U);
  EXPECT_EQ(Arrows(out.written[1])->GetChildren()[0].GetColor(), QZSystem::QZRed);
  checkpoint.SetWriteGrad(false);
  checkpoint(2, 9, 0.0, 1.0, x.data(), grad.data(), 0);
  EXPECT_EQ(Arrows(out.written[2])->GetChildren().size(), 1U) << "untouched when switched off";
}

TEST(Checkpoint, WarnsOfAnotherVariableCountAndReadsNoFurther) {
  MessageCapture messages;
  const auto mol = TestSupport::Water();
  const auto start = TestSupport::Coords(mol);
  Recorder out;
  QZMolCoordGradFileCP checkpoint(out, mol);
  checkpoint.SetSDData(false);
  checkpoint.SetVerbose(false);
  const std::vector<double> six(6, 2.0);
  EXPECT_TRUE(checkpoint(0, 6, 1.0, 1.0, six.data(), six.data(), 0));
  EXPECT_EQ(messages.Warnings(),
            std::vector<std::string>{"Incompatible checkpoint use & checkpoint construction"});
  const auto written = TestSupport::Coords(out.written.at(0));
  EXPECT_EQ(written[5], 2.0);
  EXPECT_EQ(written[6], start[6]);
  EXPECT_FALSE(QZChem::QZHasSDData(out.written[0], "Energy"));
  EXPECT_EQ(checkpoint.GetSDData(), 0.0F);
  EXPECT_TRUE(checkpoint.IsValid());

  QZMolCoordGradFileCP copy(checkpoint);
  copy.SetMolecule(TestSupport::Butane());
  EXPECT_TRUE(copy(1, 42, 0.0, nullptr, 0));
  EXPECT_EQ(out.written.at(1).NumAtoms(), 14U);
  EXPECT_EQ(messages.Warnings().size(), 1U);
}

}  // namespace
