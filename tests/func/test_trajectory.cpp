// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "molpotential/checkpoint.h"
#include "support/capture.h"
#include "support/molecules.h"

namespace {

TEST(Trajectory, ReadsBackWithCoordinatesTitleAndDataOfEveryIteration) {
  const TestSupport::MessageCapture messages;
  const auto mol = TestSupport::Butane();
  auto x = TestSupport::Coords(mol);
  const auto numVar = static_cast<unsigned int>(x.size());
  const std::vector<double> grad(x.size(), 0.5);
  std::stringstream file;
  {
    QZChem::qzmolostream out(file);
    QZMolPotential::QZMolCoordGradFileCP checkpoint(out, mol);
    for (unsigned int i = 0; i < 3; ++i) {
      x[0] = 10.0 * i;
      EXPECT_TRUE(checkpoint(i, numVar, 100.0 - i, 2.0 + i, x.data(), grad.data(), 0));
    }
  }
  QZChem::qzmolistream in(file, QZChem::QZMolFormat::SDF);
  QZChem::QZGraphMol frame;
  const std::vector<std::string> titles{
      "0, 1.00e+02, 2e+00", "1, 9.90e+01, 3e+00", "2, 9.80e+01, 4e+00"};
  for (unsigned int i = 0; i < 3; ++i) {
    ASSERT_TRUE(QZChem::QZReadMolecule(in, frame));
    EXPECT_EQ(frame.GetTitle(), titles[i]);
    EXPECT_EQ(QZChem::QZGetSDData(frame, "Iteration"), std::to_string(i));
    EXPECT_EQ(QZChem::QZGetSDData(frame, "Energy"), titles[i].substr(3, 8));
    EXPECT_EQ(QZChem::QZGetSDData(frame, "Gnorm"), std::to_string(2 + i) + ".00e+00");
    ASSERT_EQ(frame.NumAtoms(), mol.NumAtoms());
    EXPECT_EQ(frame.NumBonds(), mol.NumBonds());
    x[0] = 10.0 * i;
    const auto read = TestSupport::Coords(frame);
    for (std::size_t k = 0; k < x.size(); ++k) EXPECT_NEAR(read[k], x[k], 5.1e-5);
  }
  EXPECT_FALSE(QZChem::QZReadMolecule(in, frame));
}

}  // namespace
