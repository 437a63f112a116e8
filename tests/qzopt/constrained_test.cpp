// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "molpotential/molpotential.h"
#include "qzopt/functions.h"
#include "qzopt/internal_model.h"
#include "qzopt/optimizers.h"
#include "qzopt/scan.h"

namespace {

using namespace QZMolPotential;
using namespace TestSupport;
using QZOpt::QZConstrainedMinimizer;
using QZOpt::QZMinimizer;
using QZOpt::QZOptResult;

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

struct Spacing {
  unsigned int a;
  unsigned int b;
  double target;
};

// A distance less its target, with its own gradient or with that of r^2/2; NaN after `goodCalls`.
Func Distance(const Spacing& held, bool trueLength, int goodCalls, int& calls) {
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
    std::vector<Spacing> distances;
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
      for (const Spacing& held : distances) {
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

// Minimise 1/2 |x - (3, 2)|² with bounds: every side that can act, and none.
TEST(ConstrainedMinimizer, KeepsToBoundsAndTellsTheirMultipliers) {
  Func f(2, [](const double* x, double* g) {
    g[0] += x[0] - 3.0;
    g[1] += x[1] - 2.0;
    return 0.5 * ((x[0] - 3.0) * (x[0] - 3.0) + (x[1] - 2.0) * (x[1] - 2.0));
  });
  // x0 and x1, their gradients too long by a factor: the slope is measured.
  Func first(2, [](const double* x, double* g) { return g[0] += 7.0, x[0]; });
  Func second(2, [](const double* x, double* g) { return g[1] += 0.1, x[1]; });
  const struct {
    double low0, high0, low1, high1;
    std::array<double, 2> at, multipliers;
  } cases[] = {{-kInfinity, 1.0, -kInfinity, kInfinity, {1.0, 2.0}, {-2.0, 0.0}},
               {0.0, 5.0, 2.5, kInfinity, {3.0, 2.5}, {0.0, 0.5}},
               {3.5, 4.0, 0.0, 1.0, {3.5, 1.0}, {0.5, -1.0}},
               {1.0, 1.0, -1.0, 9.0, {1.0, 2.0}, {-2.0, 0.0}}};
  for (const auto& c : cases) {
    QZConstrainedMinimizer minimizer({.gradientTolerance = 1e-7});
    minimizer.AddBounds(first, c.low0, c.high0, 1e-8);
    minimizer.AddBounds(second, c.low1, c.high1, 1e-8);
    double x[2] = {2.0, 0.5};
    const QZOptResult result = minimizer.Minimize(f, x);
    EXPECT_TRUE(result.converged) << result.message;
    for (std::size_t i = 0; i < 2; ++i) {
      EXPECT_NEAR(x[i], c.at[i], 1e-6);
      EXPECT_NEAR(minimizer.GetMultipliers().at(i), c.multipliers[i], 1e-6);
      EXPECT_TRUE(c.multipliers[i] != 0.0 || minimizer.GetMultipliers().at(i) == 0.0);
      EXPECT_LE(std::abs(minimizer.GetResiduals().at(i)), 1e-8);
    }
  }
  // Sets that nothing meets: refused at once, or after trying, with the culprit's number.
  const struct {
    double low, high;
    const char* reason;
  } wrong[] = {{2.0, 1.0, "constraint 2 has its lower bound above"},
               {kNan, 1.0, "constraint 2 has a bound that is not a number"},
               {0.0, kNan, "constraint 2 has a bound that is not a number"},
               {kInfinity, kInfinity, "constraint 2 has bounds that no value"},
               {5.0, 6.0, "is not met: residual"}};
  for (const auto& [low, high, reason] : wrong) {
    QZConstrainedMinimizer minimizer;
    minimizer.AddBounds(first, 0.0, 1.0);
    minimizer.AddBounds(first, low, high);
    double x[2] = {2.0, 0.5};
    const QZOptResult result = minimizer.Minimize(f, x);
    EXPECT_FALSE(result.converged);
    EXPECT_NE(result.message.find(reason), std::string::npos) << result.message;
    EXPECT_LT(result.evaluations, 3000u);
  }
}

// With one distance bounded twice and held thrice the same way, only the sum of the multipliers is
// determined; it is the slope of the minimal energy, by differences of minimisations.
TEST(ConstrainedMinimizer, TellsTheSlopeOfTheMinimalEnergyWhateverIsRedundant) {
  std::vector<double> start = ChainStart(6);
  const auto minimum = [&start](double target, bool redundant, double* slope) {
    int calls = 0;
    Func hold = Distance({0, 3, target}, /*trueLength=*/false, 1 << 30, calls);
    Func twin = Distance({0, 3, target}, /*trueLength=*/true, 1 << 30, calls);
    QZConstrainedMinimizer minimizer({.gradientTolerance = 1e-7});
    minimizer.AddConstraint(hold, 1e-9);
    if (redundant) {
      minimizer.AddConstraint(twin, 1e-9);
      minimizer.AddBounds(twin, 0.0, 1.0, 1e-9);
    }
    Func f = Chain(6);
    std::vector<double> x = start;
    const QZOptResult result = minimizer.Minimize(f, x.data());
    EXPECT_TRUE(result.converged) << result.message;
    start = x;  // others stay in this minimum
    *slope = 0.0;
    for (const double multiplier : minimizer.GetMultipliers()) *slope += multiplier;
    return result.energy;
  };
  double slope, redundantSlope, unused;
  const double h = 1e-3;
  const double energy = minimum(3.0, false, &slope);
  EXPECT_NEAR(minimum(3.0, true, &redundantSlope), energy, 1e-8);
  const double difference =
      (minimum(3.0 + h, false, &unused) - minimum(3.0 - h, false, &unused)) / (2.0 * h);
  EXPECT_NEAR(slope, difference, 1e-4 * std::abs(difference));
  EXPECT_NEAR(redundantSlope, slope, 1e-4 * std::abs(slope));
}

TEST(ConstrainedOnMolecules, NeedsFewerEvaluationsWithAModel) {
  Bound m("ibuprofen");
  InternalModelled f(m.ff, m.mol);
  QZDistanceConstr distance(*m.mol.GetAtom(0), *m.mol.GetAtom(4), 3.2);
  unsigned int evaluations[2];
  double energies[2];
  for (const bool hide : {false, true}) {
    f.hide = hide;
    std::vector<double> x = m.x;
    QZConstrainedMinimizer minimizer;
    minimizer.AddConstraint(distance);
    const QZOptResult result = minimizer.Minimize(f, x.data());
    EXPECT_TRUE(result.converged) << result.message;
    evaluations[hide] = result.evaluations;
    energies[hide] = result.energy;
  }
  EXPECT_LT(2 * evaluations[0], evaluations[1]);
  EXPECT_NEAR(energies[0], energies[1], 1e-4);
}

// Forward alone follows one of two wells too far.
TEST(RelaxedScan, KeepsTheLowerOfBothWaysAndGoesOnAfterFailures) {
  // E = (y² - 1)² + x y + x²/20: along x the lower well changes side at 0, and the higher one ends
  // at 1.54.
  Func f(2, [](const double* v, double* g) {
    const double x = v[0];
    const double y = v[1];
    g[0] += y + 0.1 * x;
    g[1] += 4.0 * y * (y * y - 1.0) + x;
    return (y * y - 1.0) * (y * y - 1.0) + x * y + 0.05 * x * x;
  });
  double target = 0.0;
  Func drive(2, [&](const double* v, double* g) { return g[0] += 1.0, v[0] - target; });
  QZOpt::QZRelaxedScan scan({.gradientTolerance = 1e-8});
  const std::vector<double> targets = {-2.0, -1.0, -0.5, kNan, 0.5, 1.0, 2.0};
  ASSERT_TRUE(scan.Drive(
      drive, [&](double t) { target = t; }, targets, 1e-9));
  std::size_t reports = 0;
  scan.SetProgress([&](const QZOpt::QZScanPoint&, std::size_t run, std::size_t runs) {
    EXPECT_EQ(run, ++reports);
    EXPECT_EQ(runs, 14u);
    return true;
  });
  const double start[2] = {-2.0, 1.0};
  const auto points = scan.Run(f, start);
  ASSERT_EQ(points.size(), targets.size());
  EXPECT_EQ(reports, 14u);
  for (std::size_t i = 0; i < points.size(); ++i) {
    const auto& p = points[i];
    EXPECT_EQ(p.converged, i != 3) << p.message;
    EXPECT_FALSE(p.message.empty());
    if (i == 3) continue;
    const double x = targets[i];
    EXPECT_NEAR(p.x[0], x, 1e-8);
    // y has the other sign than x in the lower well; dE/dx at the minimum over y is y + x/10.
    EXPECT_LT(p.x[1] * x, 0.0) << x;
    EXPECT_NEAR(p.slopes[0], p.x[1] + 0.1 * x, 1e-6);
    EXPECT_NEAR(p.energy, f(p.x.data()), 1e-12);
  }
  // Two coordinates: every point of the grid; stopped when asked.
  double other = 0.0;
  Func second(2, [&](const double* v, double* g) { return g[1] += 1.0, v[1] - other; });
  ASSERT_TRUE(scan.Drive(
      second, [&](double t) { other = t; }, {0.5, 1.5}, 1e-9));
  EXPECT_FALSE(scan.Drive(second, [&](double t) { other = t; }, {0.5}));
  scan.SetProgress({});
  const auto grid = scan.Run(f, start);
  ASSERT_EQ(grid.size(), 14u);
  EXPECT_NEAR(grid[9].energy, f(std::array{0.5, 1.5}.data()), 1e-6);
  EXPECT_NEAR(grid[9].slopes[1], 4.0 * 1.5 * 1.25 + 0.5, 1e-4);
  scan.SetProgress([](const QZOpt::QZScanPoint&, std::size_t run, std::size_t) { return run < 3; });
  const auto stopped = scan.Run(f, start);
  EXPECT_TRUE(stopped[1].converged);
  EXPECT_FALSE(stopped[6].converged);
  EXPECT_TRUE(stopped[6].x.empty());
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
