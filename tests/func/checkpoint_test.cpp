// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/checkpoint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "qzsystem/annotation.h"
#include "support/capture.h"
#include "support/molecules.h"

namespace {

using QZMolPotential::QZMolCoordGradFileCP;
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

const std::vector<QZSystem::QZAnnotation>& Arrows(const QZChem::QZGraphMol& mol) {
  return mol.GetData<QZSystem::QZAnnotation>(QZSystem::QZGetTag("visibility mimic"))->GetChildren();
}

TEST(Checkpoint, TrajectoryReadsBackWithCoordinatesTitleAndDataOfEveryIteration) {
  const MessageCapture messages;
  auto mol = TestSupport::Butane();
  mol.SetEnergy(-2.0);
  auto x = TestSupport::Coords(mol);
  const auto numVar = static_cast<unsigned int>(x.size());
  const std::vector<double> grad(x.size(), 0.5);
  std::stringstream file;
  {
    QZChem::qzmolostream out(file);
    QZMolCoordGradFileCP checkpoint(out, mol);
    EXPECT_TRUE(checkpoint(0, numVar, 100.0, 2.0, x.data(), grad.data(), 0));
    x[0] = 10.0;
    EXPECT_TRUE(checkpoint(1, numVar, 99.0, 3.0, x.data(), grad.data(), 0));
    x[0] = 20.0;
    EXPECT_TRUE(checkpoint(2, numVar, 98.0, x.data(), 0));
  }
  QZChem::qzmolistream in(file, QZChem::QZMolFormat::SDF);
  QZChem::QZGraphMol frame;
  // The molecule's energy stands in the title where no norm was reported.
  const std::string titles[] = {"0, 1.00e+02, 2e+00", "1, 9.90e+01, 3e+00", "2, 9.80e+01, -2e+00"};
  for (unsigned int i = 0; i < 3; ++i) {
    SCOPED_TRACE(i);
    ASSERT_TRUE(QZChem::QZReadMolecule(in, frame));
    EXPECT_EQ(frame.GetTitle(), titles[i]);
    EXPECT_EQ(QZChem::QZGetSDData(frame, "Iteration"), std::to_string(i));
    EXPECT_EQ(QZChem::QZGetSDData(frame, "Energy"), titles[i].substr(3, 8));
    if (i < 2) {
      EXPECT_EQ(QZChem::QZGetSDData(frame, "Gnorm"), std::to_string(2 + i) + ".00e+00");
    }
    EXPECT_EQ(frame.NumBonds(), mol.NumBonds());
    x[0] = 10.0 * i;
    const auto read = TestSupport::Coords(frame);
    ASSERT_EQ(read.size(), x.size());
    for (std::size_t k = 0; k < x.size(); ++k) EXPECT_NEAR(read[k], x[k], 5.1e-5);
  }
  EXPECT_FALSE(QZChem::QZReadMolecule(in, frame));
}

TEST(Checkpoint, DrawsArrowsAgainstTheGradientFromWhereTheAtomsWere) {
  MessageCapture messages;
  const auto mol = TestSupport::Water();
  auto x = TestSupport::Coords(mol);
  const float startX = static_cast<float>(x[3]);
  x[3] += 1.0;
  Recorder out;
  QZMolCoordGradFileCP checkpoint(out, mol);
  checkpoint.SetGradToAngstromScale(2.0F);
  checkpoint.SetHydrogenGrad(true);
  std::vector<double> grad{1.5, -1.5, 0.0, 1.5000005, 0.0, 0.0, 0.0, 0.0, 0.25};
  checkpoint(0, 9, 0.0, 1.0, x.data(), grad.data(), 0);
  const auto& arrows = Arrows(out.written.at(0));
  ASSERT_EQ(arrows.size(), 3U);
  EXPECT_EQ(arrows[0].GetColor(), QZSystem::QZBlue) << "the bound itself is blue";
  EXPECT_EQ(arrows[1].GetColor(), QZSystem::QZRed);
  EXPECT_EQ(arrows[1].GetFrom()[0], startX);
  EXPECT_FLOAT_EQ(arrows[1].GetTo()[0], startX - 2.0F * 1.5000005F);
  EXPECT_EQ(arrows[1].GetShape()[0], 0.9F);

  checkpoint.SetHydrogenGrad(false);
  grad[1] = std::nan("");
  checkpoint(1, 9, 0.0, 1.0, x.data(), grad.data(), 0);
  ASSERT_EQ(Arrows(out.written[1]).size(), 1U);
  EXPECT_EQ(Arrows(out.written[1])[0].GetColor(), QZSystem::QZRed);
  checkpoint.SetWriteGrad(false);
  checkpoint(2, 9, 0.0, 1.0, x.data(), grad.data(), 0);
  EXPECT_EQ(Arrows(out.written[2]).size(), 1U) << "untouched when switched off";
}

TEST(Checkpoint, WarnsOfAnotherVariableCountAndReadsNoFurther) {
  MessageCapture messages;
  const auto mol = TestSupport::Water();
  const auto start = TestSupport::Coords(mol);
  Recorder out;
  QZMolCoordGradFileCP checkpoint(out, mol);
  checkpoint.SetSDData(false);
  const std::vector<double> six(6, 2.0);
  EXPECT_TRUE(checkpoint(0, 6, 1.0, 1.0, six.data(), six.data(), 0));
  EXPECT_EQ(messages.Warnings(),
            std::vector<std::string>{"Incompatible checkpoint use & checkpoint construction"});
  const auto written = TestSupport::Coords(out.written.at(0));
  EXPECT_EQ(written[5], 2.0);
  EXPECT_EQ(written[6], start[6]);
  EXPECT_FALSE(QZChem::QZHasSDData(out.written[0], "Energy"));

  QZMolCoordGradFileCP copy(checkpoint);
  copy.SetMolecule(TestSupport::Butane());
  EXPECT_TRUE(copy(1, 42, 0.0, nullptr, 0));
  EXPECT_EQ(out.written.at(1).NumAtoms(), 14U);
  EXPECT_EQ(messages.Warnings().size(), 1U);
}

// A function of all atoms reports 3 a atom, and its arrays are by atom index.
TEST(Checkpoint, EveryAtomOfAMoleculeWithHolesMoves) {
  MessageCapture messages;
  auto mol = TestSupport::Butane();
  mol.DeleteAtom(mol.GetAtom(7));
  Recorder out;
  QZMolCoordGradFileCP checkpoint(out, mol);
  checkpoint.SetHydrogenGrad(true);
  auto x = TestSupport::Coords(mol);
  for (double& value : x) value += 1.0;
  EXPECT_TRUE(checkpoint(0, 3 * mol.NumAtoms(), 1.0, 1.0, x.data(), x.data(), 0));
  EXPECT_TRUE(messages.Warnings().empty());
  const auto written = TestSupport::Coords(out.written.at(0));
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    EXPECT_EQ(written[3 * atom.GetIndex()], x[3 * atom.GetIndex()]) << atom.GetIndex();
  }
  EXPECT_EQ(Arrows(out.written[0]).size(), mol.NumAtoms());
}

}  // namespace
