// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/rigid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "molpotential/optvarfunc.h"
#include "optvars/data_molecules.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZMolPotential::QZOptVarFunc;
using QZMolPotential::QZRigidAdaptor;
using TestSupport::Coords;

// A field that is fixed in space: E = sum of 0.5 |p - s|², s = (0.3, -0.2, 0.5), with weights by
// atom.
class FixedField final : public QZOpt::QZFunc1 {
 public:
  explicit FixedField(unsigned int n) : n_(n) {}
  using QZOpt::QZFunc1::operator();
  unsigned int NumVar() const override { return n_; }
  double operator()(const double* x) override {
    std::vector<double> unused(n_);
    return (*this)(x, unused.data());
  }
  double operator()(const double* x, double* grad) override {
    const double centre[3] = {0.3, -0.2, 0.5};
    double energy = 0.0;
    for (unsigned int i = 0; i < n_; ++i) {
      const double weight = 1.0 + 0.1 * (i / 3);
      const double d = x[i] - centre[i % 3];
      energy += 0.5 * weight * d * d;
      grad[i] += weight * d;
    }
    return energy;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"field", (*this)(x)}});
  }

 private:
  unsigned int n_;
};

TEST(Rigid, TheReferencePlacementIsTheMoleculeItself) {
  const auto mol = TestOptVars::DataMolecule("glucose");
  const auto reference = Coords(mol);
  QZRigidAdaptor adaptor;
  EXPECT_EQ(adaptor.NumOptVar(), 7u);
  ASSERT_TRUE(adaptor.Setup(mol));
  double v[7];
  ASSERT_TRUE(adaptor.GetAdaptedVariables(v));
  EXPECT_EQ(v[0], 1.0);
  std::vector<double> x(reference.size());
  adaptor.OptVarToFuncVar(v, x.data());
  EXPECT_EQ(x, reference);
  // q = (2, 0, 0, 0) is not normalised: coordinates grow fourfold, after the shift.
  const double scaled[7] = {2.0, 0.0, 0.0, 0.0, v[4] + 1.0, v[5], v[6]};
  adaptor.OptVarToFuncVar(scaled, x.data());
  for (std::size_t i = 0; i < x.size(); ++i) {
    EXPECT_NEAR(x[i], 4.0 * (reference[i] + (i % 3 == 0 ? 1.0 : 0.0)), 1e-12);
  }
}

TEST(Rigid, TurnsAboutTheOriginByTheTransposedMatrix) {
  const auto mol = TestSupport::Water();
  QZRigidAdaptor adaptor;
  adaptor.Setup(mol);
  double v[7];
  adaptor.GetAdaptedVariables(v);
  v[0] = v[3] = std::sqrt(0.5);  // a quarter turn about z: (x, y) -> (y, -x)
  std::vector<double> x(9);
  adaptor.OptVarToFuncVar(v, x.data());
  const auto r = Coords(mol);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(x[3 * i], r[3 * i + 1], 1e-12);
    EXPECT_NEAR(x[3 * i + 1], -r[3 * i], 1e-12);
    EXPECT_NEAR(x[3 * i + 2], r[3 * i + 2], 1e-12);
  }
}

TEST(Rigid, GradientIsTheDerivativeAtTheReferencePlacement) {
  const auto mol = TestOptVars::DataMolecule("caffeine");
  QZRigidAdaptor adaptor;
  adaptor.Setup(mol);
  FixedField field(adaptor.NumFuncVar());
  QZOptVarFunc function(field, adaptor);
  std::vector<double> v(7);
  adaptor.GetAdaptedVariables(v.data());
  EXPECT_EQ(TestSupport::CheckDerivatives(function, v), "");
  // Elsewhere the part of the quaternion still is, as long as the centre has not moved.
  const std::array<double, 4> q{0.9, -0.3, 0.5, 0.4};
  std::ranges::copy(q, v.begin());
  std::vector<double> grad(7);
  function(v.data(), grad.data());
  for (std::size_t k = 0; k < 4; ++k) {
    const double h = 1e-6;
    v[k] = q[k] + h;
    const double up = function(v.data());
    v[k] = q[k] - h;
    const double down = function(v.data());
    v[k] = q[k];
    EXPECT_NEAR(grad[k], (up - down) / (2.0 * h), 1e-6 * std::abs(grad[k])) << k;
  }
}

TEST(Rigid, TheEstimateOfVariablesIsNotANumberWithoutRotationOrBeyondOneRadian) {
  // Flat and centred at the origin, so that a turn about z is the angle that atom 0 sees.
  auto mol = TestSupport::Water();
  QZRigidAdaptor adaptor;
  adaptor.Setup(mol);
  double v[7];
  adaptor.FuncVarToOptVar(Coords(mol).data(), v);
  EXPECT_TRUE(std::isnan(v[0]));
  EXPECT_TRUE(std::isfinite(v[4]));
  auto x = Coords(mol);
  for (std::size_t i = 0; i < x.size(); ++i) x[i] = i % 3 == 2 ? 0.0 : x[i] - v[4 + i % 3];
  mol.SetCoords(x.data());
  adaptor.Setup(mol);
  for (const double angle : {0.3, 0.9, 1.1, 3.0}) {
    auto turned = x;
    for (std::size_t i = 0; i < x.size(); i += 3) {
      turned[i] = std::cos(angle) * x[i] - std::sin(angle) * x[i + 1];
      turned[i + 1] = std::sin(angle) * x[i] + std::cos(angle) * x[i + 1];
    }
    adaptor.FuncVarToOptVar(turned.data(), v);
    if (angle > 1.0) {
      EXPECT_TRUE(std::isnan(v[1]) && std::isnan(v[2]) && std::isnan(v[3])) << angle;
    } else {
      // The angle stands for its cosine.
      EXPECT_NEAR(v[0], std::cos(0.5 * std::acos(angle)), 1e-12);
      EXPECT_NEAR(std::abs(v[3]), std::sin(0.5 * std::acos(angle)), 1e-12);
    }
  }
}

TEST(Rigid, MessagesAndReport) {
  TestSupport::MessageCapture messages;
  const auto mol = TestSupport::Water();
  QZRigidAdaptor adaptor;
  EXPECT_FALSE(adaptor.Setup(QZChem::QZGraphMol()));
  ASSERT_TRUE(adaptor.Setup(mol));
  double v[7];
  EXPECT_FALSE(adaptor.OptGradToFuncGrad(v, v));
  EXPECT_EQ(messages.At(QZSystem::QZErrorLevel::Fatal),
            std::vector<std::string>{"Transformation of cg/quat -> xyz gradients not implemented"});
  EXPECT_FALSE(adaptor.GetAdaptedVariables(static_cast<double*>(nullptr)));
  testing::internal::CaptureStdout();
  adaptor.GetAdaptedVariables(mol, v);
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(text.find("Quaternions:\n[0] ="), 0u) << text;
  EXPECT_NE(text.find("Center of geometry:\n[0] ="), std::string::npos) << text;
  EXPECT_NE(text.find("1.00000"), std::string::npos);
}

}  // namespace
