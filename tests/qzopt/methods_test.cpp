// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include "qzopt/functions.h"
#include "qzopt/internal_model.h"
#include "qzopt/optimizers.h"

namespace {

using namespace TestSupport;
using QZOpt::QZMinimizer;
using QZOpt::QZOptMethod;
using QZOpt::QZOptResult;

// A body with a Hessian by differences and a count of them.
class Func2 final : public QZOpt::QZFunc2 {
 public:
  Func2(unsigned int n, Func::Body body) : f_(n, std::move(body)) {}
  unsigned int NumVar() const override { return f_.NumVar(); }
  double operator()(const double* x) override { return f_(x); }
  double operator()(const double* x, double* grad) override { return f_(x, grad); }
  bool operator()(const double* x, double* hessian, double* grad) override {
    ++hessians;
    if (hessians > goodHessians) return false;
    QZOpt::NumericHessian(f_, x, hessian, 1e-5);
    if (grad != nullptr) f_(x, grad);
    return true;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return f_.GetFComponents(x);
  }
  unsigned int hessians = 0;
  unsigned int goodHessians = 1u << 30;

 private:
  Func f_;
};

Func::Body RosenbrockBody() {
  return [](const double* x, double* g) { return Rosenbrock(2)(x, g); };
}

TEST(Newton, ConvergesFromAfarOutOfSaddlesAndWithoutCurvature) {
  Func2 rosenbrock(2, RosenbrockBody());
  std::vector<double> x = {-1.2, 1.0};
  QZMinimizer newton({.gradientTolerance = 1e-9, .method = QZOptMethod::Newton});
  QZOptResult result = newton.Minimize(rosenbrock, x.data());
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_EQ(result.method, QZOptMethod::Newton);
  EXPECT_LT(result.iterations, 40u);
  EXPECT_NEAR(x[0], 1.0, 1e-8);

  // x² - y² + y⁴/4 has a maximum along y at the start, where its gradient vanishes too: the step
  // must go along the direction that the gradient says nothing of.
  Func2 saddle(3, [](const double* v, double* g) {
    g[0] += 2.0 * v[0];
    g[1] += -2.0 * v[1] + v[1] * v[1] * v[1];
    return v[0] * v[0] - v[1] * v[1] + 0.25 * v[1] * v[1] * v[1] * v[1];  // v[2] is free
  });
  x = {0.5, 0.0, 0.3};
  result = newton.Minimize(saddle, x.data());
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_NEAR(std::abs(x[1]), std::sqrt(2.0), 1e-6);
  EXPECT_LT(std::abs(x[2]), 3.0) << "drifts where there is no curvature";

  // Without a Hessian there is no such method; with one that fails half-way there is another.
  Func plain = Rosenbrock(2);
  x = {-1.2, 1.0};
  result = newton.Minimize(plain, x.data());
  EXPECT_FALSE(result.converged);
  EXPECT_NE(result.message.find("Hessian"), std::string::npos);
  Func2 failing(2, RosenbrockBody());
  failing.goodHessians = 3;
  result = newton.Minimize(failing, x.data());
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_EQ(result.method, QZOptMethod::QuasiNewton);
}

// To 1e-8, where energies of the size of 20 differ by less than their last digit; and from a model
// Hessian in fewer evaluations than without, into the same minimum.
TEST(MethodsOnMolecules, ReachTightTolerancesAndProfitFromAModel) {
  for (const char* name : {"aspirin", "biphenyl", "glucose"}) {
    SCOPED_TRACE(name);
    Bound m(name);
    Func hidden(static_cast<unsigned int>(m.x.size()),
                [&](const double* x, double* g) { return m.ff(x, g); });
    std::vector<double> start = m.x;
    const QZOptResult plain = QZMinimizer().Minimize(hidden, start.data());
    for (const QZOptMethod method :
         {QZOptMethod::QuasiNewton, QZOptMethod::Newton, QZOptMethod::Auto}) {
      InternalModelled2 f(m.ff, m.mol);
      std::vector<double> x = m.x;
      const QZOptResult result =
          QZMinimizer({.gradientTolerance = 1e-8, .method = method}).Minimize(f, x.data());
      EXPECT_TRUE(result.converged) << result.message;
      EXPECT_LE(result.gradientNorm, 1e-8);
      EXPECT_LT(result.evaluations, plain.evaluations) << static_cast<int>(method);
      EXPECT_EQ(f.hessians > 0, method == QZOptMethod::Newton) << "Auto asks where it is stuck";
      EXPECT_NEAR(result.energy, plain.energy, 1e-5);
    }
  }
}

// Models that are wrong in every way are no worse than none, be they few variables or many: pairs
// of variables, each with the same function and model.
TEST(Model, IsAHintAndNoMore) {
  class Modelled final : public QZOpt::QZFunc1, public QZOpt::QZHessianModel {
   public:
    Modelled(unsigned int pairs, std::vector<QZOpt::QZMatrixEntry> entries)
        : f_(Rosenbrock(2 * pairs)), entries_(std::move(entries)) {}
    unsigned int NumVar() const override { return f_.NumVar(); }
    double operator()(const double* x) override { return f_(x); }
    double operator()(const double* x, double* grad) override { return f_(x, grad); }
    QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
      return f_.GetFComponents(x);
    }
    bool AppendModelHessian(const double*, std::vector<QZOpt::QZMatrixEntry>& entries) override {
      for (unsigned int k = 0; k < NumVar(); k += 2) {
        for (const auto& [row, column, value] : entries_) {
          entries.push_back({row + k, column + k, value});
        }
      }
      return true;
    }

   private:
    Func f_;
    std::vector<QZOpt::QZMatrixEntry> entries_;
  };
  const std::vector<std::vector<QZOpt::QZMatrixEntry>> models = {
      {},                                              // nothing
      {{0, 0, 802.0}, {1, 0, -400.0}, {1, 1, 200.0}},  // right at the minimum
      {{0, 0, 1e-9}, {1, 1, 1e9}},                     // scales that mislead
      {{0, 0, 1.0}, {1, 0, 50.0}, {1, 1, 1.0}},        // indefinite
      {{0, 0, -5.0}},                                  // negative, and silent of the other
      {{1000, 0, 1.0}},                                // no such variable
      {{0, 0, kNan}}};
  for (const unsigned int pairs : {1u, 200u}) {
    for (std::size_t i = 0; i < models.size(); ++i) {
      Modelled f(pairs, models[i]);
      std::vector<double> x;
      for (unsigned int k = 0; k < pairs; ++k) x.insert(x.end(), {-1.2, 1.0});
      const QZOptResult result = QZMinimizer({.gradientTolerance = 1e-6}).Minimize(f, x.data());
      EXPECT_TRUE(result.converged) << i << ": " << result.message;
      EXPECT_NEAR(x[0], 1.0, 1e-4) << i;
      EXPECT_NEAR(x.back(), 1.0, 1e-4) << i;
    }
  }
}

// Rosenbrock in y = x - shift. It gets stuck where `wall` says (a gradient that points uphill), is
// freed by a restart `cures` times, and falls back to x.
class Stubborn final : public QZOpt::QZFunc1, public QZOpt::QZRestartable {
 public:
  Stubborn(int cures, bool hasFallBack) : cures_(cures), hasFallBack_(hasFallBack) {}
  unsigned int NumVar() const override { return 2; }
  double operator()(const double* y) override {
    double unused[2] = {};
    return (*this)(y, unused);
  }
  double operator()(const double* y, double* grad) override {
    ++evaluations;
    const double x[2] = {y[0] + shift_, y[1] + shift_};
    double g[2] = {};
    const double energy = inner_(x, g);
    // Below this energy the gradient is wrong, until a restart sets the limit lower.
    const double sign = energy < limit_ ? -1.0 : 1.0;
    for (int i : {0, 1}) grad[i] += sign * g[i];
    return energy;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return inner_.GetFComponents(x);
  }
  bool Restart(double* y) override {
    if (cures_-- <= 0) return false;
    for (int i : {0, 1}) y[i] += shift_ - 1.0;
    shift_ = 1.0;
    const double x[2] = {y[0] + shift_, y[1] + shift_};
    limit_ = 0.1 * inner_(x);
    ++restarts;
    return true;
  }
  QZOpt::QZFunc1* FallBack(const double* y, std::vector<double>& start) override {
    if (!hasFallBack_) return nullptr;
    start = {y[0] + shift_, y[1] + shift_};
    return &fallBack;
  }
  const char* FallBackName() const override { return "unshifted variables"; }
  void ReturnFrom(const double* x, double* y) override {
    for (int i : {0, 1}) y[i] = x[i] - shift_;
  }
  double Shift() const { return shift_; }
  unsigned int evaluations = 0;
  unsigned int restarts = 0;
  Func fallBack = Rosenbrock(2);

 private:
  int cures_;
  bool hasFallBack_;
  double shift_ = 10.0;
  double limit_ = 1.0;
  Func inner_ = Rosenbrock(2);
};

// Stuck runs start afresh and at last fall back, as one sequence of iterations in the function's
// own variables.
TEST(Restarts, LeadOnWhereARunIsStuck) {
  const struct {
    int cures;
    bool hasFallBack;
    bool converges;
  } cases[] = {
      {0, false, false}, {2, false, false}, {30, false, true}, {0, true, true}, {2, true, true}};
  for (const auto& [cures, hasFallBack, converges] : cases) {
    SCOPED_TRACE(std::to_string(cures) + (hasFallBack ? " with" : " without"));
    Stubborn f(cures, hasFallBack);
    std::vector<double> y = {-11.2, -9.0};
    Recorder recorder;
    const QZOptResult result =
        QZMinimizer({.gradientTolerance = 1e-2}).Minimize(f, y.data(), &recorder);
    EXPECT_EQ(result.converged, converges) << result.message;
    EXPECT_EQ(result.restarts, f.restarts);
    EXPECT_EQ(result.restarts > 0, cures > 0);
    EXPECT_EQ(result.fellBack, hasFallBack);
    EXPECT_EQ(result.message.find("unshifted variables") != std::string::npos, hasFallBack);
    EXPECT_EQ(result.evaluations, f.evaluations + f.fallBack.Calls());
    EXPECT_TRUE(!converges || std::abs(y[0] + f.Shift() - 1.0) < 0.1);
    unsigned int last = 0;
    for (std::size_t i = 0; i < recorder.reports.size(); ++i) {
      const auto& report = recorder.reports[i];
      // One number after the other; a run that ends stuck reports its best point once more.
      const bool isLast = i + 1 == recorder.reports.size();
      EXPECT_TRUE(report.iteration == last || report.iteration == last + 1);
      EXPECT_TRUE(isLast || i == 0 || report.iteration == last + 1);
      EXPECT_EQ(report.state, isLast ? 1u : 0u);
      last = report.iteration;
    }
    EXPECT_EQ(last, result.iterations);
    EXPECT_EQ(recorder.reports.back().x, y);
    EXPECT_EQ(recorder.reports.back().grad.empty(), hasFallBack);
  }
}

// |x|² = 1/2 over the variables of a `Stubborn`, and over those of its fall-back.
class Circle final : public QZOpt::QZConstrFunc, public QZOpt::QZConstrFallBack {
 public:
  Circle(const Stubborn& f, bool follows) : f_(f), follows_(follows) {}
  unsigned int NumVar() const override { return 2; }
  double operator()(const double* y) override {
    double unused[2] = {};
    return (*this)(y, unused);
  }
  double operator()(const double* y, double* grad) override {
    const double x[2] = {y[0] + f_.Shift(), y[1] + f_.Shift()};
    return over_(x, grad);
  }
  QZOpt::QZConstrFunc* FallBack(QZOpt::QZFunc1&) override { return follows_ ? &over_ : nullptr; }

 private:
  const Stubborn& f_;
  bool follows_;
  Func over_{2, [](const double* x, double* g) {
               for (int i : {0, 1}) g[i] += 2.0 * x[i];
               return x[0] * x[0] + x[1] * x[1] - 0.5;
             }};
};

TEST(Restarts, AndFallBacksOfConstrainedRunsEndInTheFunctionsOwnVariables) {
  for (const int cures : {0, 2}) {
    for (const bool follows : {false, true}) {
      SCOPED_TRACE(std::to_string(cures) + (follows ? " with" : " without"));
      Stubborn f(cures, /*hasFallBack=*/true);
      Circle circle(f, follows);
      QZOpt::QZConstrainedMinimizer minimizer({.gradientTolerance = 1e-3});
      minimizer.AddConstraint(circle);
      std::vector<double> y = {-9.6, -10.3};
      Recorder recorder;
      const QZOptResult result = minimizer.Minimize(f, y.data(), &recorder);
      // A restart is enough, or only the fall-back helps.
      const bool falls = follows && cures == 0;
      EXPECT_EQ(result.converged, follows || cures > 0) << result.message;
      EXPECT_EQ(result.fellBack, falls);
      EXPECT_EQ(result.message.find("unshifted variables") != std::string::npos, falls);
      EXPECT_EQ(result.restarts, f.restarts);
      EXPECT_EQ(result.restarts > 0, cures > 0);
      if (result.converged) {
        EXPECT_LE(std::abs(circle(y.data())), 1e-6);
        EXPECT_NEAR(f.fallBack(std::vector{y[0] + f.Shift(), y[1] + f.Shift()}.data()),
                    result.energy,
                    1e-12);
        EXPECT_LT(result.energy, 0.2);
      }
      EXPECT_NEAR(minimizer.GetResiduals().at(0), circle(y.data()), 1e-12);
      EXPECT_EQ(recorder.reports.back().x, y);
      EXPECT_EQ(recorder.reports.back().state, 1u);
    }
  }
}

TEST(Limits, EndARunOfAnyMethodWithTheBestPoint) {
  Func2 f(2, RosenbrockBody());
  for (const QZOptMethod method : {QZOptMethod::QuasiNewton, QZOptMethod::Newton}) {
    for (unsigned int most = 1; most < 12; ++most) {
      std::vector<double> x = {-1.2, 1.0};
      Recorder recorder;
      const QZOptResult result =
          QZMinimizer({.method = method, .maxEvaluations = most}).Minimize(f, x.data(), &recorder);
      EXPECT_EQ(result.evaluations, most);
      EXPECT_NE(result.message.find("limit of evaluations"), std::string::npos) << result.message;
      EXPECT_EQ(f(x.data()), result.energy);
      EXPECT_EQ(recorder.reports.back().x, x);
      EXPECT_EQ(recorder.reports.back().state, 1u);
    }
  }
  // Restarts and fall-backs share the limits: ten times the iterations and 100 by default.
  Stubborn stubborn(1 << 30, true);
  std::vector<double> y = {-11.2, -9.0};
  const QZOptResult few =
      QZMinimizer({.maxIterations = 20, .gradientTolerance = 0.0}).Minimize(stubborn, y.data());
  EXPECT_LE(few.iterations, 20u);
  EXPECT_LE(few.evaluations, 300u);

  // A function that takes its time is stopped after a few of its evaluations.
  using Clock = std::chrono::steady_clock;
  const auto busy = [](const double* x, double* g) {
    const auto until = Clock::now() + std::chrono::milliseconds(5);
    while (Clock::now() < until) {
    }
    return Rosenbrock(200)(x, g);
  };
  Func slow(200, busy);
  std::vector<double> z(200, -1.2);
  const auto start = Clock::now();
  const QZOptResult timed = QZMinimizer({.maxSeconds = 0.1}).Minimize(slow, z.data());
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));
  EXPECT_NE(timed.message.find("time limit"), std::string::npos) << timed.message;
  EXPECT_LT(timed.evaluations, 40u);
}

}  // namespace
