// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "coordinates/exact.h"
#include "forcefields/standard.h"
#include "molpotential/molpotential.h"
#include "qzopt/optimizers.h"

namespace {

using namespace TestSupport;
using namespace QZMolPotential;

constexpr QZCoordinates kKinds[] = {
    QZCoordinates::Redundant, QZCoordinates::Internal, QZCoordinates::ZMatrix};
constexpr double kDegree = std::numbers::pi / 180.0;

/// MMFF94 and k (cos a - cos a0)² of one angle, which is regular where the angle is straight.
class BentField final : public QZMolFunc1 {
 public:
  BentField(std::array<unsigned int, 3> atoms, double degrees, double k = 500.0)
      : atoms_(atoms), target_(std::cos(degrees * kDegree)), k_(k) {}
  bool Setup(const QZChem::QZMolBase& mol) override { return field_.Setup(mol); }
  unsigned int NumVar() const override { return field_.NumVar(); }
  double operator()(const double* x) override { return field_(x) + term(x, nullptr); }
  double operator()(const double* x, double* grad) override {
    return field_(x, grad) + term(x, grad);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }
  BentField* CreateCopy() const override { return nullptr; }
  double Degrees(const double* x) const {
    return std::acos(std::max(-1.0, cosine(x, nullptr))) / kDegree;
  }

 private:
  double cosine(const double* x, double* slope) const {
    const double* const p = x + 3 * atoms_[0];
    const double* const c = x + 3 * atoms_[1];
    const double* const q = x + 3 * atoms_[2];
    const double a = std::hypot(p[0] - c[0], p[1] - c[1], p[2] - c[2]);
    const double b = std::hypot(q[0] - c[0], q[1] - c[1], q[2] - c[2]);
    double value = 0.0;
    for (int k = 0; k < 3; ++k) value += (p[k] - c[k]) * (q[k] - c[k]) / (a * b);
    for (int k = 0; slope != nullptr && k < 3; ++k) {
      slope[k] = ((q[k] - c[k]) / b - value * (p[k] - c[k]) / a) / a;
      slope[3 + k] = ((p[k] - c[k]) / a - value * (q[k] - c[k]) / b) / b;
    }
    return value;
  }
  double term(const double* x, double* grad) const {
    double slope[6];
    const double off = cosine(x, slope) - target_;
    for (unsigned int k = 0; grad != nullptr && k < 6; ++k) {
      grad[3 * atoms_[k < 3 ? 0 : 2] + k % 3] += 2.0 * k_ * off * slope[k];
      grad[3 * atoms_[1] + k % 3] -= 2.0 * k_ * off * slope[k];
    }
    return k_ * off * off;
  }

  QZStandardFF field_{QZForceFieldKind::MMFF94};
  std::array<unsigned int, 3> atoms_;
  double target_, k_;
};

double Rms(const Reals& values) {
  double sum = 0.0;
  for (const double value : values) sum += value * value;
  return std::sqrt(sum / static_cast<double>(values.size()));
}

struct Chain {
  const char* smiles;
  std::array<unsigned int, 3> angle;
};
constexpr Chain kChains[] = {{"CC#N", {0, 1, 2}},
                             {"CC#CC", {0, 1, 2}},
                             {"C=C=C", {0, 1, 2}},
                             {"CN=[N+]=[N-]", {1, 2, 3}},
                             {"CCC#CC(C)O", {1, 2, 3}},
                             {"O=C=O", {0, 1, 2}}};

// Bent by a restraint to 125 degrees, then let go: the angle leaves the straight range and comes
// back to it, each time within a run.
TEST(StraightAngles, ComeAndGoDuringARun) {
  for (const Chain& chain : kChains) {
    for (const QZCoordinates kind : kKinds) {
      SCOPED_TRACE(std::string(chain.smiles) + " " + QZGetCoordinatesName(kind));
      const auto mol = FromSmiles(chain.smiles, /*embed=*/true);
      Reals x = Coords(mol);
      unsigned int revisions = 0;
      for (const double target : {125.0, 180.0}) {
        BentField field(chain.angle, target, target < 180.0 ? 500.0 : 0.0);
        QZCoordinateFunc f(field, /*own=*/false, kind);
        f.SetOverallMotion(false);
        ASSERT_TRUE(f.Setup(mol) && f.SetupConf(x.data()));
        const unsigned int numVar = f.NumVar();
        Reals vars = VarsOf(f, x);
        QZOpt::QZMinimizer minimizer;
        minimizer.SetScales(f.GetScales());
        const auto result = minimizer.Minimize(f, vars.data());
        EXPECT_TRUE(result.converged) << result.message;
        EXPECT_FALSE(result.fellBack) << result.message;
        EXPECT_LT(result.evaluations, 110U);
        revisions += result.revisions;
        // The variables are those of the function as it is now.
        EXPECT_EQ(f.NumVar(), numVar);
        EXPECT_EQ(f.GetScales().size(), numVar);
        EXPECT_FALSE(f.IsRevisionDue(vars.data()));
        ASSERT_TRUE(f.AdaptVar(x.data(), vars.data()));
        EXPECT_NEAR(field(x.data()), result.energy, 1e-9);
        Reals grad(numVar, 0.0);
        EXPECT_NEAR(f(vars.data(), grad.data()), result.energy, 1e-9);
        EXPECT_LE(Rms(grad), 1.1e-4);
        EXPECT_NEAR(field.Degrees(x.data()), target, 8.0);
      }
      EXPECT_GE(revisions, 1U);
    }
  }
}

// Held by a constraint at 174 degrees, from 125: the variables change within a constrained run.
TEST(StraightAngles, ComeDuringAConstrainedRun) {
  for (const QZCoordinates kind : kKinds) {
    SCOPED_TRACE(QZGetCoordinatesName(kind));
    const auto mol = FromSmiles("CC#CC", /*embed=*/true);
    Reals x = Coords(mol);
    BentField bent({0, 1, 2}, 125.0);
    ASSERT_TRUE(bent.Setup(mol));
    QZOpt::QZMinimizer().Minimize(bent, x.data());
    QZStandardFF field(QZForceFieldKind::MMFF94);
    QZCoordinateFunc f(field, /*own=*/false, kind);
    QZValenceAngleConstr angle(0, 1, 2);
    angle.SetTarget(174.0 * kDegree);
    ASSERT_TRUE(f.Setup(mol) && f.SetupConf(x.data()) && angle.Setup(mol));
    Reals vars = VarsOf(f, x);
    QZCoordinateConstr constraint(angle, f);
    QZOpt::QZConstrainedMinimizer minimizer;
    minimizer.SetScales(f.GetScales());
    minimizer.AddConstraint(constraint);
    const auto result = minimizer.Minimize(f, vars.data());
    EXPECT_TRUE(result.converged) << result.message;
    EXPECT_FALSE(result.fellBack) << result.message;
    EXPECT_GE(result.revisions, 1U);
    EXPECT_LE(std::abs(constraint(vars.data())), 1e-6);
    EXPECT_NEAR(f(vars.data()), result.energy, 1e-9);
    ASSERT_TRUE(f.AdaptVar(x.data(), vars.data()));
    EXPECT_NEAR(bent.Degrees(x.data()), 174.0, 1e-4);
  }
}

// Hides that variables can be chosen anew.
class Plain final : public QZOpt::QZFunc1 {
 public:
  explicit Plain(QZOpt::QZFunc1& f) : f_(f) {}
  unsigned int NumVar() const override { return f_.NumVar(); }
  double operator()(const double* v) override { return f_(v); }
  double operator()(const double* v, double* grad) override { return f_(v, grad); }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }

 private:
  QZOpt::QZFunc1& f_;
};

Reals GradientAt(QZOpt::QZFunc1& f, Reals v, const Reals& step, double factor) {
  for (std::size_t i = 0; i < v.size(); ++i) v[i] += factor * step[i];
  Reals grad(v.size(), 0.0);
  f(v.data(), grad.data());
  return grad;
}

// At a minimum of 172 degrees, reached from 150 in variables that have a plain angle: what a step
// in the new variables does to their gradient is what was told of it in the old ones.
TEST(StraightAngles, RevisionCarriesCurvatureOver) {
  constexpr double kStep = 1e-4;
  for (const QZCoordinates kind : kKinds) {
    SCOPED_TRACE(std::string(QZGetCoordinatesName(kind)) + ", seed 5");
    std::mt19937 rng(5);
    const auto mol = FromSmiles("CC#CC", /*embed=*/true);
    Reals x = Coords(mol);
    BentField bent({0, 1, 2}, 150.0);
    ASSERT_TRUE(bent.Setup(mol));
    QZOpt::QZOptOptions tight;
    tight.gradientTolerance = 1e-7;
    QZOpt::QZMinimizer(tight).Minimize(bent, x.data());
    BentField field({0, 1, 2}, 171.0, 5e4);
    QZCoordinateFunc f(field, /*own=*/false, kind);
    f.SetOverallMotion(false);
    ASSERT_TRUE(f.Setup(mol) && f.SetupConf(x.data()));
    Reals vars = VarsOf(f, x);
    EXPECT_FALSE(f.IsRevisionDue(vars.data()));
    Plain plain(f);
    QZOpt::QZMinimizer minimizer(tight);
    minimizer.SetScales(f.GetScales());
    EXPECT_TRUE(minimizer.Minimize(plain, vars.data()).converged);
    ASSERT_TRUE(f.AdaptVar(x.data(), vars.data()));
    EXPECT_NEAR(field.Degrees(x.data()), 171.0, 0.8);
    ASSERT_TRUE(f.IsRevisionDue(vars.data()));

    std::vector<QZOpt::QZCurvatureStep> steps(3);
    for (auto& [move, change] : steps) {
      // A step of the kind that minimisers take: along a gradient.
      move = Jittered(Reals(vars.size(), 0.0), 0.02, rng);
      const Reals scales = f.GetScales();
      Reals direction = GradientAt(f, vars, move, 1.0);
      for (std::size_t i = 0; i < direction.size(); ++i) direction[i] *= scales[i] * scales[i];
      const double size = Rms(direction);
      for (double& d : direction) d *= 0.01 / size;
      move = direction;
      change = GradientAt(f, vars, move, kStep);
      const Reals down = GradientAt(f, vars, move, -kStep);
      for (std::size_t i = 0; i < change.size(); ++i)
        change[i] = (change[i] - down[i]) / (2 * kStep);
    }
    const auto before = steps;
    ASSERT_TRUE(f.Revise(vars.data(), steps));
    EXPECT_FALSE(f.IsRevisionDue(vars.data()));
    for (std::size_t k = 0; k < steps.size(); ++k) {
      const Reals up = GradientAt(f, vars, steps[k].move, kStep);
      const Reals down = GradientAt(f, vars, steps[k].move, -kStep);
      const double size = Rms(steps[k].change);
      for (std::size_t i = 0; i < up.size(); ++i) {
        EXPECT_NEAR(steps[k].change[i], (up[i] - down[i]) / (2 * kStep), 0.01 * size) << i;
      }
      const auto product = [](const QZOpt::QZCurvatureStep& a, const QZOpt::QZCurvatureStep& b) {
        double sum = 0.0;
        for (std::size_t i = 0; i < a.move.size(); ++i) sum += a.move[i] * b.change[i];
        return sum;
      };
      const double whole = std::sqrt(product(before[0], before[0]) * product(before[k], before[k]));
      EXPECT_NEAR(product(steps[0], steps[k]), product(before[0], before[k]), 1e-3 * whole);
    }
  }
}

}  // namespace
