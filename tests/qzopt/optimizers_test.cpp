// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzopt/optimizers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "forcefields/forcefields.h"
#include "molpotential/molpotential.h"
#include "qzchem/qzchem.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using QZOpt::QZConstrainedMinimizer;
using QZOpt::QZMinimizer;
using QZOpt::QZOptResult;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// A function, or a constraint, of `n` coordinates from a callable that adds its gradient.
class Func final : public QZOpt::QZFunc1, public QZOpt::QZConstrFunc {
 public:
  using Body = std::function<double(const double* x, double* grad)>;
  Func(unsigned int n, Body body) : n_(n), body_(std::move(body)) {}

  unsigned int NumVar() const override { return n_; }
  double operator()(const double* x) override {
    std::vector<double> unused(n_);
    return (*this)(x, unused.data());
  }
  double operator()(const double* x, double* grad) override {
    ++calls_;
    return body_(x, grad);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }
  unsigned int Calls() const { return calls_; }

 private:
  unsigned int n_;
  Body body_;
  unsigned int calls_ = 0;
};

// sum over pairs of 100 (x[i+1] - x[i]^2)^2 + (1 - x[i])^2; minimum 0 at (1, ..., 1).
Func Rosenbrock(unsigned int n) {
  return Func(n, [n](const double* x, double* g) {
    double sum = 0.0;
    for (unsigned int i = 0; i + 1 < n; i += 2) {
      const double a = x[i + 1] - x[i] * x[i];
      const double b = 1.0 - x[i];
      sum += 100.0 * a * a + b * b;
      g[i] += -400.0 * a * x[i] - 2.0 * b;
      g[i + 1] += 200.0 * a;
    }
    return sum;
  });
}

// Every report an optimiser made; stops it after `limit` of them.
class Recorder final : public QZOpt::QZCheckpoint1 {
 public:
  struct Report {
    double energy;
    std::vector<double> x;
    std::vector<double> grad;
    unsigned int state;
  };
  explicit Recorder(std::size_t limit = static_cast<std::size_t>(-1)) : limit_(limit) {}

  bool operator()(unsigned int, unsigned int, double, const double*, unsigned int) override {
    return false;
  }
  bool operator()(unsigned int,
                  unsigned int n,
                  double energy,
                  double,
                  const double* x,
                  const double* grad,
                  unsigned int state) override {
    reports.push_back({energy, {x, x + n}, {grad, grad + n}, state});
    return reports.size() < limit_;
  }
  std::vector<Report> reports;

 private:
  std::size_t limit_;
};

// The gradient norm that the result claims is the one at the point it returns.
void ExpectHonest(Func& f, const QZOptResult& result, const std::vector<double>& x) {
  std::vector<double> g(x.size(), 0.0);
  const double energy = f(x.data(), g.data());
  double sum = 0.0;
  for (double value : g) sum += value * value;
  EXPECT_EQ(energy, result.energy) << result.message;
  EXPECT_NEAR(std::sqrt(sum / static_cast<double>(x.size())), result.gradientNorm, 1e-12);
}

TEST(Minimizer, FindsTheMinimumOfRosenbrock) {
  for (unsigned int n : {2u, 10u, 200u}) {
    Func f = Rosenbrock(n);
    std::vector<double> x(n, 1.0);
    for (unsigned int i = 0; i < n; i += 2) x[i] = -1.2;
    const std::vector<double> start = x;
    const QZOptResult result = QZMinimizer({.gradientTolerance = 1e-7}).Minimize(f, x.data());
    EXPECT_TRUE(result.converged) << n << ": " << result.message;
    EXPECT_EQ(result.evaluations, f.Calls());
    for (double value : x) EXPECT_NEAR(value, 1.0, 1e-5) << n;
    ExpectHonest(f, result, x);
    std::vector<double> y = start;
    QZConstrainedMinimizer({.gradientTolerance = 1e-7}).Minimize(f, y.data());
    EXPECT_EQ(x, y) << "without constraints";
  }
}

// sum over i of 1/2 k_i (x[i] - 0.01 i)^2 with k_i from 1 to 1e4.
double Stiffness(unsigned int i, unsigned int n) {
  return 1.0 + 9999.0 * i / (n - 1);
}
Func Quadratic(unsigned int n) {
  return Func(n, [n](const double* x, double* g) {
    double sum = 0.0;
    for (unsigned int i = 0; i < n; ++i) {
      const double k = Stiffness(i, n);
      sum += 0.5 * k * (x[i] - 0.01 * i) * (x[i] - 0.01 * i);
      g[i] += k * (x[i] - 0.01 * i);
    }
    return sum;
  });
}

TEST(Minimizer, SolvesLargeProblemsInLimitedMemory) {
  const unsigned int n = 6000;
  Func f = Quadratic(n);
  std::vector<double> x(n, 3.0);
  const QZOptResult result = QZMinimizer().Minimize(f, x.data());
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_LT(result.evaluations, 600u);
  ExpectHonest(f, result, x);
  EXPECT_NEAR(x[n - 1], 0.01 * (n - 1), 1e-3);
}

TEST(Minimizer, ScalesTakeTheStiffnessOutAndKeepTheUnits) {
  const unsigned int n = 100;
  Func f = Quadratic(n);
  std::vector<double> x(n, 0.5);
  std::vector<double> scales(n);
  for (unsigned int i = 0; i < n; ++i) scales[i] = 1.0 / std::sqrt(Stiffness(i, n));
  QZMinimizer minimizer({.gradientTolerance = 1e-8});
  minimizer.SetScales(scales);
  Recorder recorder;
  const QZOptResult result = minimizer.Minimize(f, x.data(), &recorder);
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_LE(result.evaluations, 6u);
  std::vector<double> unscaled(n, 0.5);
  EXPECT_GT(QZMinimizer({.gradientTolerance = 1e-8}).Minimize(f, unscaled.data()).evaluations, 60u);
  ExpectHonest(f, result, x);
  EXPECT_NEAR(recorder.reports.front().x[n - 1], 0.5, 1e-12);
  EXPECT_NEAR(recorder.reports.front().grad[n - 1], 1e4 * (0.5 - 0.01 * (n - 1)), 1e-6);

  for (const double wrong : {0.0, -1.0, kNan, kInfinity}) {
    std::vector<double> start = {-1.2, 1.0};
    Func rosenbrock = Rosenbrock(2);
    minimizer.SetScales({1.0, wrong});
    EXPECT_FALSE(minimizer.Minimize(rosenbrock, start.data()).converged);
    minimizer.SetScales({1.0});
    EXPECT_FALSE(minimizer.Minimize(rosenbrock, start.data()).converged);
    EXPECT_EQ(start, (std::vector<double>{-1.2, 1.0}));
  }
}

// However a run ends, every iteration is reported with its own gradient and none goes up.
TEST(Minimizer, StopsWhenAskedAndWhereNothingIsLeftToDo) {
  const struct {
    const char* reason;  // empty: converged
    std::vector<double> start;
    std::size_t reports;
    unsigned int mostIterations;
    QZOpt::QZOptOptions options = {};
  } cases[] = {{"", {}, 100, 0},
               {"", {1.0, 1.0}, 100, 0},
               {"", {0.9, 0.8}, 100, 40},
               {"checkpoint", {-1.2, 1.0}, 3, 2},
               {"iteration limit", {-1.2, 1.0}, 100, 5, {.maxIterations = 5}},
               {"energy", {-1.2, 1.0}, 100, 40, {.energyTolerance = 0.5}}};
  for (const auto& [reason, start, limit, mostIterations, options] : cases) {
    SCOPED_TRACE(reason);
    std::vector<double> x = start;
    Func f = Rosenbrock(static_cast<unsigned int>(x.size()));
    Recorder recorder(limit);
    const QZOptResult result = QZMinimizer(options).Minimize(f, x.data(), &recorder);
    EXPECT_EQ(result.converged, *reason == '\0');
    EXPECT_LE(result.iterations, mostIterations);
    EXPECT_EQ(recorder.reports.size(), x.empty() ? 0 : result.iterations + 1);
    EXPECT_NE(result.message.find(reason), std::string::npos) << result.message;
    if (x.empty()) continue;
    ExpectHonest(f, result, x);
    EXPECT_EQ(recorder.reports.front().x, start);
    EXPECT_EQ(recorder.reports.back().x, x);
    double previous = kInfinity;
    for (const auto& report : recorder.reports) {
      const bool isLast = &report == &recorder.reports.back();
      EXPECT_EQ(report.state, isLast && recorder.reports.size() < limit ? 1u : 0u);
      std::vector<double> g(2, 0.0);
      EXPECT_EQ(f(report.x.data(), g.data()), report.energy);
      EXPECT_EQ(g, report.grad);
      EXPECT_LE(report.energy, std::exchange(previous, report.energy));
    }
  }
}

// Whatever goes wrong, and wherever: a message, no claim, and the best point seen.
TEST(Minimizer, EndsWithTheBestPointWhenTheFunctionFails) {
  enum Fault { kNanEnergy, kNanGradient, kThrow };
  for (Fault fault : {kNanEnergy, kNanGradient, kThrow}) {
    for (unsigned int goodCalls : {0u, 1u, 7u}) {
      SCOPED_TRACE(std::to_string(fault) + " after " + std::to_string(goodCalls));
      unsigned int calls = 0;
      double best = kInfinity;
      Func good = Rosenbrock(2);
      Func f(2, [&](const double* x, double* g) {
        const double energy = good(x, g);
        if (++calls <= goodCalls) {
          best = std::min(best, energy);
          return energy;
        }
        if (fault == kThrow) throw std::runtime_error("broken");
        if (fault == kNanGradient) g[1] = kNan;
        return fault == kNanEnergy ? kNan : energy;
      });
      std::vector<double> x = {-1.2, 1.0};
      Recorder recorder;
      const QZOptResult result = QZMinimizer().Minimize(f, x.data(), &recorder);
      EXPECT_FALSE(result.converged);
      EXPECT_EQ(result.evaluations, goodCalls + 1);
      EXPECT_FALSE(result.message.empty());
      EXPECT_EQ(recorder.reports.empty(), goodCalls == 0);
      if (goodCalls == 0) {
        EXPECT_EQ(x, (std::vector<double>{-1.2, 1.0}));
        continue;
      }
      EXPECT_EQ(result.energy, best);
      EXPECT_EQ(good(x.data()), best);
      EXPECT_EQ(recorder.reports.back().x, x);
      EXPECT_EQ(recorder.reports.back().state, 1u);
    }
  }
}

TEST(Minimizer, ShortensAStepIntoAnInfiniteBarrier) {
  // -log(x) - log(1 - x) with its walls at infinity; the first full step leaves the interval.
  Func f(1, [](const double* x, double* g) {
    if (!(x[0] > 0.0 && x[0] < 1.0)) return kInfinity;
    g[0] += -1.0 / x[0] + 1.0 / (1.0 - x[0]);
    return -std::log(x[0]) - std::log(1.0 - x[0]);
  });
  for (double start : {0.01, 2.0}) {
    double x = start;
    const QZOptResult result = QZMinimizer().Minimize(f, &x);
    EXPECT_EQ(result.converged, start < 1.0) << result.message;
    EXPECT_NEAR(x, start < 1.0 ? 0.5 : start, 1e-4);
  }
}

TEST(Minimizer, GivesUpHonestlyOnAWrongGradient) {
  Func wrong(2, [](const double* x, double* g) {
    for (int i : {0, 1}) g[i] -= 2.0 * x[i];
    return x[0] * x[0] + x[1] * x[1];
  });
  std::vector<double> x = {1.0, 2.0};
  const QZOptResult result = QZMinimizer().Minimize(wrong, x.data());
  EXPECT_FALSE(result.converged);
  EXPECT_LT(result.evaluations, 1000u);
  EXPECT_LE(result.energy, 5.0);
  ExpectHonest(wrong, result, x);
}

// A line search ends where rounding hides the decrease: restarts must reach what can be reached
// and the claim must stay true.
TEST(Minimizer, NeverClaimsMoreThanTheGradientAtItsResult) {
  for (double tolerance : {1e-6, 1e-10, 1e-14, 0.0}) {
    Func f(3, [](const double* x, double* g) {
      double sum = 1e6;
      for (int i = 0; i < 3; ++i) {
        sum += 50.0 * (x[i] - i) * (x[i] - i) + std::cos(3.0 * x[i]);
        g[i] += 100.0 * (x[i] - i) - 3.0 * std::sin(3.0 * x[i]);
      }
      return sum;
    });
    std::vector<double> x = {5.0, -3.0, 0.7};
    const QZOptResult result = QZMinimizer({.gradientTolerance = tolerance}).Minimize(f, x.data());
    ExpectHonest(f, result, x);
    EXPECT_EQ(result.converged, result.gradientNorm <= tolerance) << tolerance;
    EXPECT_LT(result.gradientNorm, 1e-2) << result.message;
  }
}

// |x_a - x_b|, with `scale(r)` times its gradient added to g.
double Span(const double* x, double* g, std::size_t a, std::size_t b, const auto& scale) {
  const double d[3] = {
      x[3 * a] - x[3 * b], x[3 * a + 1] - x[3 * b + 1], x[3 * a + 2] - x[3 * b + 2]};
  const double r = std::hypot(d[0], d[1], d[2]);
  for (std::size_t k = 0; k < 3; ++k) {
    g[3 * a + k] += scale(r) * d[k] / r;
    g[3 * b + k] -= scale(r) * d[k] / r;
  }
  return r;
}

struct Held {
  unsigned int a;
  unsigned int b;
  double target;
};

// A distance less its target, with its own gradient or with that of r^2/2; NaN after `goodCalls`.
Func Distance(const Held& held, bool trueLength, int goodCalls, int& calls) {
  return Func(12, [=, &calls](const double* x, double* g) {
    if (++calls > goodCalls) return kNan;
    const auto scale = [=](double r) { return trueLength ? 1.0 : r; };
    return Span(x, g, held.a, held.b, scale) - held.target;
  });
}

// A chain of n atoms: springs of 1.5 Å between neighbours and softer ones beyond, and a weak pull
// to the origin that removes the drift.
Func Chain(unsigned int n) {
  return Func(3 * n, [n](const double* x, double* g) {
    double sum = 0.0;
    const double springs[3][2] = {{300.0, 1.5}, {60.0, 2.5}, {5.0, 3.8}};
    for (unsigned int apart = 1; apart <= 3; ++apart) {
      const auto [k, r0] = springs[apart - 1];
      for (unsigned int i = 0; i + apart < n; ++i) {
        const double r = Span(x, g, i, i + apart, [=](double length) { return k * (length - r0); });
        sum += 0.5 * k * (r - r0) * (r - r0);
      }
    }
    for (unsigned int i = 0; i < 3 * n; ++i) {
      sum += 0.005 * x[i] * x[i];
      g[i] += 0.01 * x[i];
    }
    return sum;
  });
}

std::vector<double> ChainStart(unsigned int n) {
  std::vector<double> x;
  for (unsigned int i = 0; i < n; ++i) {
    x.insert(x.end(), {1.2 * i, 0.6 * (i % 2), 0.3 * std::sin(1.0 * i)});
  }
  return x;
}

TEST(ConstrainedMinimizer, SolvesAProblemWithAKnownAnswer) {
  // Minimise x + 2y on the circle of radius 2: at -2/sqrt(5) (1, 2).
  Func f(2, [](const double* x, double* g) {
    g[0] += 1.0;
    g[1] += 2.0;
    return x[0] + 2.0 * x[1];
  });
  Func circle(2, [](const double* x, double* g) {
    for (int i : {0, 1}) g[i] += 2.0 * x[i];
    return x[0] * x[0] + x[1] * x[1] - 4.0;
  });
  QZConstrainedMinimizer minimizer({.gradientTolerance = 1e-6});
  minimizer.AddConstraint(circle, 1e-9);
  double x[2] = {1.0, 1.0};
  const QZOptResult result = minimizer.Minimize(f, x);
  EXPECT_TRUE(result.converged) << result.message;
  for (int i : {0, 1}) EXPECT_NEAR(x[i], -2.0 / std::sqrt(5.0) * (i + 1), 1e-5);
  EXPECT_NEAR(result.energy, -2.0 * std::sqrt(5.0), 1e-8);
  EXPECT_LE(std::abs(minimizer.GetResiduals().at(0)), 1e-9);
}

// On problems for either method, with constraints that can and cannot be met, gradients of the
// right and the wrong length, a limit and a constraint that breaks: what is claimed is true.
TEST(ConstrainedMinimizer, HoldsDistancesOrSaysWhyNot) {
  const struct {
    const char* reason;  // empty: met
    std::vector<Held> distances;
    unsigned int maxIterations = 5000;
    int goodCalls = 1 << 30;
  } cases[] = {{"", {{0, 3, 3.0}, {1, 2, 1.7}}},
               {"is not met", {{1, 2, 1.5}, {2, 3, 1.5}, {1, 3, 5.0}}},
               {"iteration limit", {{0, 3, 3.0}}, 3},
               {"constraint 1 is not finite", {{0, 3, 3.0}}, 5000, 6}};
  for (const auto& [reason, distances, maxIterations, goodCalls] : cases) {
    for (const auto& [n, trueLength] :
         {std::pair{4u, false}, {4u, true}, {30u, false}, {30u, true}}) {
      SCOPED_TRACE(reason + std::to_string(n));
      int calls = 0;
      std::vector<Func> constraints;
      for (const Held& held : distances) {
        constraints.push_back(Distance(held, trueLength, goodCalls, calls));
      }
      QZConstrainedMinimizer minimizer({.maxIterations = maxIterations});
      for (Func& constraint : constraints) minimizer.AddConstraint(constraint);
      Func f = Chain(n);
      std::vector<double> x = ChainStart(n);
      Recorder recorder;
      const QZOptResult result = minimizer.Minimize(f, x.data(), &recorder);
      EXPECT_EQ(result.converged, *reason == '\0') << result.message;
      EXPECT_NE(result.message.find(reason), std::string::npos) << result.message;
      EXPECT_TRUE(!result.converged || result.gradientNorm <= 1e-4);
      EXPECT_EQ(result.evaluations, f.Calls());
      EXPECT_LT(result.evaluations, 20000u);
      EXPECT_TRUE(!result.converged || recorder.reports.size() == result.iterations + 1);
      EXPECT_EQ(recorder.reports.back().x, x);
      EXPECT_EQ(recorder.reports.back().state, 1u);
      for (std::size_t i = 0; i < distances.size(); ++i) {
        int unlimited = -(1 << 30);
        const double residual = Distance(distances[i], true, 0, unlimited)(x.data());
        const double error = std::abs(minimizer.GetResiduals().at(i) - residual);
        EXPECT_TRUE(error <= 1e-12 || calls > goodCalls);
        EXPECT_TRUE(std::abs(residual) <= 1e-6 || !result.converged);
      }
    }
  }
}

constexpr double kDegree = std::numbers::pi / 180.0;

struct Bound {
  explicit Bound(const std::string& name) : mol(TestSupport::DataMolecule(name)) {
    EXPECT_TRUE(ff.Setup(mol));
  }
  QZChem::QZGraphMol mol;
  QZStandardFF ff{QZForceFieldKind::MMFF94};
  std::vector<double> x = TestSupport::Coords(mol);
};

// Starts that no embedding gives: atoms displaced by up to an ångström, and two of them all but in
// one place. The molecule must come together again.
TEST(MinimizerOnMolecules, RecoversFromDistortedStarts) {
  std::mt19937 rng(20260401);
  for (const char* name : {"aspirin", "caffeine", "ibuprofen"}) {
    Bound m(name);
    std::vector<double> x = TestSupport::Jittered(m.x, 1.0, rng);
    for (int k = 0; k < 3; ++k) x[k] = x[30 + k] + 1e-4 * (k + 1);
    ASSERT_GT(m.ff(x.data()), 1e3);
    const QZOptResult result = QZMinimizer().Minimize(m.ff, x.data());
    EXPECT_TRUE(result.converged) << name << ": " << result.message;
    for (std::size_t i = 0; i < x.size(); ++i) EXPECT_LT(std::abs(x[i] - m.x[i]), 15.0);
    // Among the minima of these molecules, none far above the one next to the sound start.
    const QZOptResult sound = QZMinimizer().Minimize(m.ff, m.x.data());
    EXPECT_TRUE(sound.converged);
    EXPECT_LT(result.energy, sound.energy + 60.0) << name;
  }
}

TEST(ConstrainedOnMolecules, HoldsDistanceAngleAndDihedral) {
  Bound m("alanine_dipeptide");
  const auto at = [&](unsigned int i) { return m.mol.GetAtom(std::array{1, 3, 4, 6}[i]); };
  QZDihedralConstr dihedral(*at(0), *at(1), *at(2), *at(3), 100.0 * kDegree);
  QZAngleConstr angle(*at(0), *at(1), *at(2), 118.0 * kDegree);
  QZDistanceConstr distance(*at(1), *at(2));
  QZConstrainedMinimizer minimizer;
  for (QZMolConstr* constraint :
       std::initializer_list<QZMolConstr*>{&dihedral, &angle, &distance}) {
    ASSERT_TRUE(constraint->Setup(m.mol));
    minimizer.AddConstraint(*constraint);
  }
  const QZOptResult result = minimizer.Minimize(m.ff, m.x.data());
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_LT(result.evaluations, 2000u);
  m.mol.SetCoords(m.x.data());
  const double torsion = QZChem::QZGetTorsion(m.mol, at(0), at(1), at(2), at(3));
  EXPECT_NEAR(std::abs(torsion), 100.0 * kDegree, 2e-6);
  EXPECT_NEAR(QZChem::QZGetAngle(m.mol, at(0), at(1), at(2)), 118.0 * kDegree, 2e-6);
  EXPECT_NEAR(QZChem::QZGetDistance(m.mol, at(1), at(2)), distance.GetDistance(), 1e-6);
  for (double residual : minimizer.GetResiduals()) EXPECT_LE(std::abs(residual), 1e-6);
}

}  // namespace
