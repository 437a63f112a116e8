// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "qzopt/optimizers.h"

namespace OptTest {

/// A function from a callable `double(const double* x, double* grad)` that adds its gradient; it
/// is told `grad` = null never.
class Func final : public QZOpt::QZFunc1 {
 public:
  using Body = std::function<double(const double*, double*)>;
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

/// A constraint from a callable of the same kind.
class Constraint final : public QZOpt::QZConstrFunc {
 public:
  explicit Constraint(Func::Body body) : body_(std::move(body)) {}

  unsigned int NumVar() const override { return 6; }
  double operator()(const double* x, double* grad) override { return body_(x, grad); }
  double operator()(const double* x) override {
    std::vector<double> unused(3000);
    return body_(x, unused.data());
  }

 private:
  Func::Body body_;
};

/// sum over i of 100 (x[i+1] - x[i]^2)^2 + (1 - x[i])^2 in pairs; minimum 0 at (1, ..., 1).
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

/// sum over i of 1/2 k_i (x[i] - i)^2 with k_i between 1 and `condition`.
inline Func Quadratic(unsigned int n, double condition) {
  return Func(n, [n, condition](const double* x, double* g) {
    double sum = 0.0;
    for (unsigned int i = 0; i < n; ++i) {
      const double k = 1.0 + (condition - 1.0) * i / (n > 1 ? n - 1 : 1);
      const double d = x[i] - 0.01 * i;
      sum += 0.5 * k * d * d;
      g[i] += k * d;
    }
    return sum;
  });
}

/// Every report an optimiser made; stops it after `limit` of them.
class Recorder final : public QZOpt::QZCheckpoint1 {
 public:
  struct Report {
    unsigned int iteration;
    unsigned int numVar;
    double energy;
    double gradientNorm;
    std::vector<double> x;
    std::vector<double> grad;
    unsigned int state;
  };
  explicit Recorder(std::size_t limit = static_cast<std::size_t>(-1)) : limit_(limit) {}

  bool operator()(unsigned int, unsigned int, double, const double*, unsigned int) override {
    return false;
  }
  bool operator()(unsigned int iteration,
                  unsigned int numVar,
                  double energy,
                  double gradientNorm,
                  const double* x,
                  const double* grad,
                  unsigned int state) override {
    reports_.push_back(
        {iteration, numVar, energy, gradientNorm, {x, x + numVar}, {grad, grad + numVar}, state});
    return reports_.size() < limit_;
  }
  const std::vector<Report>& Reports() const { return reports_; }

 private:
  std::size_t limit_;
  std::vector<Report> reports_;
};

}  // namespace OptTest
