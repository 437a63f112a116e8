// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/rigid.h"

#include <algorithm>

#include "constr/positional.h"
#include "coordinates/tree/bound.h"

namespace {

using namespace TestOptVars;
using QZMolPotential::QZRigidAdaptor;
using TestSupport::Coords;
using TestSupport::LargestDifference;

// An adaptor at its reference placement.
struct Placed {
  explicit Placed(const QZChem::QZGraphMol& mol) : x(Coords(mol)) {
    EXPECT_TRUE(adaptor.Setup(mol));
    EXPECT_TRUE(adaptor.GetAdaptedVariables(vars.data()));
  }
  Values At(const Values& v) {
    Values coords(x.size());
    adaptor.OptVarToFuncVar(v.data(), coords.data());
    return coords;
  }
  Values x;
  QZRigidAdaptor adaptor;
  Values vars = Values(7);
};

TEST(Rigid, TurnsAboutTheOriginByTheTransposedMatrixAndScales) {
  Placed p(TestSupport::DataMolecule("glucose"));
  EXPECT_EQ(p.vars[0], 1.0);
  EXPECT_EQ(p.At(p.vars), p.x);
  auto turned = p.vars;
  turned[0] = turned[3] = std::sqrt(0.5);  // a quarter turn about z: (x, y) -> (y, -x)
  // q = (2, 0, 0, 0) is not normalised: coordinates grow fourfold, after the shift.
  const Values scaled{2.0, 0.0, 0.0, 0.0, p.vars[4] + 1.0, p.vars[5], p.vars[6]};
  Values expected(p.x.size());
  Values grown(p.x.size());
  for (std::size_t i = 0; i < p.x.size(); ++i) {
    expected[i] = i % 3 == 0 ? p.x[i + 1] : i % 3 == 1 ? -p.x[i - 1] : p.x[i];
    grown[i] = 4.0 * (p.x[i] + (i % 3 == 0 ? 1.0 : 0.0));
  }
  EXPECT_LE(LargestDifference(p.At(turned), expected), 1e-12);
  EXPECT_LE(LargestDifference(p.At(scaled), grown), 1e-12);
}

TEST(Rigid, GradientIsTheDerivativeAtTheReferencePlacement) {
  const auto mol = TestSupport::DataMolecule("caffeine");
  Placed p(mol);
  std::mt19937 rng(8);
  QZConstr::QZHarmonicPotential field(/*kc=*/0.5, /*dc=*/0.0);
  field.Setup(mol);
  field.SetupConf(TestSupport::Jittered(p.x, 1.0, rng).data());
  QZMolPotential::QZOptVarFunc function(field, p.adaptor);
  EXPECT_EQ(TestSupport::CheckDerivatives(function, p.vars), "");
  // Elsewhere the part of the quaternion still is, as long as the centre has not moved.
  auto& v = p.vars;
  std::ranges::copy(std::initializer_list<double>{0.9, -0.3, 0.5, 0.4}, v.begin());
  Values grad(7);
  function(v.data(), grad.data());
  for (std::size_t k = 0; k < 4; ++k) {
    auto up = v;
    auto down = v;
    up[k] += 1e-6;
    down[k] -= 1e-6;
    const double slope = (function(up.data()) - function(down.data())) / 2e-6;
    EXPECT_NEAR(grad[k], slope, 1e-6 * std::abs(grad[k])) << k;
  }
  EXPECT_FALSE(p.adaptor.Setup(QZChem::QZGraphMol()));
}

}  // namespace
