// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "forcefields/forcefields.h"
#include "qzchem/qzchem.h"
#include "qzopt/optimizers.h"
#include "support/molecules.h"

namespace TestSupport {

inline constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

// A function, or a constraint, of `n` coordinates from a callable that adds its gradient.
class Func : public QZOpt::QZFunc1, public QZOpt::QZConstrFunc {
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
inline Func Rosenbrock(unsigned int n) {
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
    unsigned int iteration;
    double energy;
    std::vector<double> x;
    std::vector<double> grad;
    unsigned int state;
  };
  explicit Recorder(std::size_t limit = static_cast<std::size_t>(-1)) : limit_(limit) {}

  bool operator()(unsigned int, unsigned int, double, const double*, unsigned int) override {
    return false;
  }
  bool operator()(unsigned int iteration,
                  unsigned int n,
                  double energy,
                  double,
                  const double* x,
                  const double* grad,
                  unsigned int state) override {
    reports.push_back({iteration, energy, {x, x + n}, {}, state});
    if (grad != nullptr) reports.back().grad.assign(grad, grad + n);
    return reports.size() < limit_;
  }
  std::vector<Report> reports;

 private:
  std::size_t limit_;
};

// The gradient norm that the result claims is the one at the point it returns.
inline void ExpectHonest(Func& f, const QZOpt::QZOptResult& result, const std::vector<double>& x) {
  std::vector<double> g(x.size(), 0.0);
  const double energy = f(x.data(), g.data());
  double sum = 0.0;
  for (double value : g) sum += value * value;
  EXPECT_EQ(energy, result.energy) << result.message;
  EXPECT_NEAR(std::sqrt(sum / static_cast<double>(x.size())), result.gradientNorm, 1e-12);
}

inline constexpr double kDegree = std::numbers::pi / 180.0;

// MMFF94 on a molecule of data/.
struct Bound {
  explicit Bound(const std::string& name) : mol(DataMolecule(name)) { EXPECT_TRUE(ff.Setup(mol)); }
  QZChem::QZGraphMol mol;
  QZMolPotential::QZStandardFF ff{QZMolPotential::QZForceFieldKind::MMFF94};
  std::vector<double> x = Coords(mol);
};

}  // namespace TestSupport
