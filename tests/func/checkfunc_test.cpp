// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/checkfunc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "constr/positional.h"
#include "kernels/angle.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using TestSupport::ProbeFunc;

enum class Fault { None, Gradient, GradientNan, Hessian, HessianFails, AssignsGradient };

// The probe, reading full coordinates and reporting 6 variables, with one mistake.
class Faulty final : public QZMolFunc2 {
 public:
  explicit Faulty(Fault fault) : fault_(fault) {}
  using QZMolFunc2::operator();
  unsigned int NumVar() const override { return 6; }
  bool Setup(const QZChem::QZMolBase& mol) override { return probe_.Setup(mol); }
  double operator()(const double* x) override { return probe_(x); }
  double operator()(const double* x, double* grad) override {
    if (fault_ == Fault::AssignsGradient) std::fill_n(grad, probe_.NumVar(), 0.0);
    const double energy = probe_(x, grad);
    if (fault_ == Fault::Gradient) grad[7] += 0.01;
    if (fault_ == Fault::GradientNan) grad[2] = std::nan("");
    return energy;
  }
  bool operator()(const double* x, double* hessian, double* grad) override {
    if (fault_ == Fault::HessianFails) return false;
    probe_(x, hessian, grad);
    if (fault_ == Fault::Hessian) hessian[8 * 9 / 2 + 3] += 0.01;
    return true;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return probe_.GetFComponents(x);
  }
  Faulty* CreateCopy() const override { return nullptr; }

 private:
  ProbeFunc probe_;
  Fault fault_;
};

QZCheckFuncResult Check(Fault fault) {
  const auto water = TestSupport::Water();
  Faulty f(fault);
  f.Setup(water);
  QZCheckFunc check;
  check.SetLength(9);
  return QZCheckFunc(check).Check(f, TestSupport::Coords(water).data());
}

TEST(CheckFunc, PassesARightFunctionAndNamesTheWorstEntryOfAWrongOne) {
  const auto right = Check(Fault::None);
  EXPECT_TRUE(right.Passes(1e-6));
  EXPECT_GT(right.gradient.error, 0.0) << "differences are never exact: the check has looked";

  const auto gradient = Check(Fault::Gradient);
  EXPECT_FALSE(gradient.Passes(1e-3));
  EXPECT_EQ(gradient.gradient.variable, 7U);
  EXPECT_NEAR(gradient.gradient.analytic - gradient.gradient.numeric, 0.01, 1e-7);
  EXPECT_EQ(gradient.hessianGradient.variable, 7U);

  const auto hessian = Check(Fault::Hessian);
  EXPECT_FALSE(hessian.Passes(1e-3));
  EXPECT_LT(hessian.gradient.error, 1e-7);
  EXPECT_EQ(hessian.hessian.variable, 8U);
  EXPECT_EQ(hessian.hessian.otherVariable, 3U);

  const auto nan = Check(Fault::GradientNan);
  EXPECT_FALSE(nan.Passes(1e300));
  EXPECT_EQ(nan.gradient.variable, 2U);
  EXPECT_FALSE(Check(Fault::HessianFails).Passes(1.0));

  QZCheckFunc check;
  for (double step : {0.0, -1e-5, std::nan(""), HUGE_VAL}) EXPECT_FALSE(check.SetStep(step));
}

// E = k (θ - θ0)² at three atoms `off` from straight, where every derivative changes within a step.
class NearLine final : public QZOpt::QZFunc2 {
 public:
  explicit NearLine(double fault) : fault_(fault) {}
  using QZFunc2::operator();
  unsigned int NumVar() const override { return 9; }
  double operator()(const double* x) override { return 40.0 * std::pow(at(x).Angle() - 2.0, 2); }
  double operator()(const double* x, double* grad) override {
    std::vector<double> unused(45);
    (*this)(x, unused.data(), grad);
    return (*this)(x);
  }
  bool operator()(const double* x, double* hessian, double* grad) override {
    const VectorAngle angle = at(x);
    PackedSink sink(hessian);
    const double slope = 80.0 * (angle.Angle() - 2.0) * (1.0 + fault_);
    AddAngleDerivatives(sink, grad, {0, 1, 2}, angle, slope, 80.0);
    return true;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }

 private:
  static VectorAngle at(const double* x) {
    return {LoadAtom(x, 0) - LoadAtom(x, 1), LoadAtom(x, 2) - LoadAtom(x, 1)};
  }
  double fault_;
};

// Two overlapping atoms on one variable, a spring on the other, which their energy's rounding
// hides.
class Overlap final : public QZOpt::QZFunc1 {
 public:
  explicit Overlap(double fault) : fault_(fault) {}
  using QZFunc1::operator();
  unsigned int NumVar() const override { return 2; }
  double operator()(const double* x) override {
    return std::pow(x[0], -12.0) + 3.0 * (x[1] - 1.0) * (x[1] - 1.0);
  }
  double operator()(const double* x, double* grad) override {
    grad[0] += -12.0 * std::pow(x[0], -13.0) * (1.0 + fault_);
    grad[1] += 6.0 * (x[1] - 1.0);
    return (*this)(x);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }

 private:
  double fault_;
};

TEST(CheckFunc, KnowsWhatRoundingHides) {
  for (const double near : {0.5, 0.2, 0.12, 0.05}) {
    SCOPED_TRACE(near);
    const double x[2] = {near, 1.3};
    Overlap right(0.0);
    const auto result = QZCheckFunc().Check(right, x);
    EXPECT_TRUE(result.Passes(1e-5)) << result.gradient.analytic << " " << result.gradient.numeric;
    Overlap wrong(1e-3);
    EXPECT_FALSE(QZCheckFunc().Check(wrong, x).Passes(1e-5));
  }
}

TEST(CheckFunc, FindsAStepBesideStraightAngles) {
  for (const double off : {1e-2, 1e-3, 1e-4, 3e-5}) {
    SCOPED_TRACE(off);
    const std::vector<double> x{1.1, 0.1, 0.0, 0.0, 0.1, 0.0, -1.2, 0.1 + 0.6 * off, 0.8 * off};
    NearLine right(0.0);
    const auto result = QZCheckFunc().Check(right, x.data());
    EXPECT_TRUE(result.Passes(1e-5)) << result.gradient.error << ", " << result.hessian.error;
    // Half a per mille too steep: beyond what the differences do not know.
    NearLine wrong(5e-4);
    EXPECT_FALSE(QZCheckFunc().Check(wrong, x.data()).Passes(1e-5));
  }
}

TEST(ContractChecker, FindsEachFaultAndNoOther) {
  const auto water = TestSupport::Water();
  const auto x = TestSupport::Coords(water);
  const auto verdict = [&](Fault fault) {
    return TestSupport::CheckContract([&] { return new Faulty(fault); }, water, x);
  };
  EXPECT_EQ(TestSupport::CheckContract([] { return new ProbeFunc; }, water, x), "");
  EXPECT_EQ(verdict(Fault::None), "");
  EXPECT_NE(verdict(Fault::Gradient).find("gradient 7"), std::string::npos);
  EXPECT_NE(verdict(Fault::GradientNan), "");
  EXPECT_NE(verdict(Fault::Hessian).find("Hessian 8 3"), std::string::npos);
  EXPECT_NE(verdict(Fault::HessianFails), "");
  EXPECT_NE(verdict(Fault::AssignsGradient).find("added twice"), std::string::npos);
  const auto held = [] { return new QZConstr::QZHarmonicPotential(1.0, 0.0); };
  EXPECT_NE(TestSupport::CheckContract(held, water, x).find("rigid motion"), std::string::npos);
}

}  // namespace
