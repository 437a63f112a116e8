// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/rigid.h"

#include <gtest/gtest.h>

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
}

TEST(Rigid, TheEstimateOfVariablesIsNotANumberWithoutRotationOrBeyondOneRadian) {
  const auto mol = TestSupport::Butane();
  QZRigidAdaptor adaptor;
  adaptor.Setup(mol);
  double v[7];
  adaptor.FuncVarToOptVar(Coords(mol).data(), v);
  EXPECT_TRUE(std::isnan(v[0]));
  EXPECT_TRUE(std::isfinite(v[4]));
  // Turned by 90 degrees about z, centred at the origin: the angle of atom 0 stands for a cosine.
  auto centred = mol;
  auto x = Coords(mol);
  for (std::size_t i = 0; i < x.size(); ++i) x[i] -= v[4 + i % 3];
  centred.SetCoords(x.data());
  adaptor.Setup(centred);
  const double c = std::cos(0.3);
  const double s = std::sin(0.3);
  for (std::size_t i = 0; i < x.size(); i += 3) {
    const double old = x[i];
    x[i] = c * old - s * x[i + 1];
    x[i + 1] = s * old + c * x[i + 1];
  }
  adaptor.FuncVarToOptVar(x.data(), v);
  double norm = 0.0;
  for (int k = 0; k < 4; ++k) norm += v[k] * v[k];
  EXPECT_NEAR(norm, 1.0, 1e-12) << "a rotation, if not the one that was made";
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
