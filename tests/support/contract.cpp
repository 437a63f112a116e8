// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "support/contract.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <sstream>

namespace TestSupport {
namespace {

using QZMolPotential::QZMolFunc1;
using Values = std::vector<double>;

// The largest entry, at least 1.
double Scale(const Values& reference) {
  double largest = 1.0;
  for (double value : reference) largest = std::max(largest, std::abs(value));
  return largest;
}

// Unless `verdict` says so already, tells the first entry that is off by more than `tolerance` or
// not finite.
void Compare(std::string& verdict,
             const std::string& what,
             const Values& got,
             const Values& want,
             double tolerance) {
  for (std::size_t i = 0; verdict.empty() && i < want.size(); ++i) {
    if (std::abs(got[i] - want[i]) <= tolerance && std::isfinite(got[i])) continue;
    std::ostringstream text;
    text.precision(12);
    text << what << " " << i << ": " << got[i] << " instead of " << want[i];
    verdict = text.str();
  }
}

// Unit vectors along which derivatives are taken: every coordinate, or three random directions.
std::vector<Values> Directions(std::size_t n, unsigned int seed) {
  std::vector<Values> directions(n <= 60 ? n : 3, Values(n, 0.0));
  std::mt19937 rng(seed);
  std::normal_distribution<double> normal;
  for (std::size_t k = 0; k < directions.size(); ++k) {
    Values& d = directions[k];
    d[k] = 1.0;
    if (n <= 60) continue;
    for (double& value : d) value = normal(rng);
    const double norm = std::sqrt(std::inner_product(d.begin(), d.end(), d.begin(), 0.0));
    for (double& value : d) value /= norm;
  }
  return directions;
}

Values Along(Values x, const Values& d, double t) {
  for (std::size_t i = 0; i < x.size(); ++i) x[i] += t * d[i];
  return x;
}

Values GradientAt(QZOpt::QZFunc1& f, const Values& x) {
  Values g(x.size(), 0.0);
  f(x.data(), g.data());
  return g;
}

// No net force, no torque, and the energy of the molecule after a turn and a shift about each axis.
void CompareRigid(std::string& verdict, QZMolFunc1& f, const Values& x, unsigned int seed) {
  const Values g = GradientAt(f, x);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> angle(0.3, 2.8);
  Values force(3, 0.0);
  Values torque(3, 0.0);
  Values moved = x;
  for (std::size_t k = 0; k < 3; ++k) {
    const double c = std::cos(angle(rng));
    const double s = std::sqrt(1.0 - c * c);
    for (std::size_t i = 0; i < x.size(); i += 3) {
      const std::size_t l = i + (k + 1) % 3;
      const std::size_t m = i + (k + 2) % 3;
      force[k] += g[i + k];
      torque[k] += x[l] * g[m] - x[m] * g[l];
      const double u = moved[l];
      moved[l] = c * u - s * moved[m] + 0.7;
      moved[m] = s * u + c * moved[m] - 0.4;
    }
  }
  const double tolerance = 1e-9 * Scale(g) * static_cast<double>(x.size() / 3);
  Compare(verdict, "net force", force, {0.0, 0.0, 0.0}, tolerance);
  Compare(verdict, "net torque", torque, {0.0, 0.0, 0.0}, 100.0 * tolerance);
  const Values e{f(x.data())};
  Compare(verdict, "energy after a rigid motion", {f(moved.data())}, e, 1e-9 * Scale(e));
}

// The gradient at x and, behind it, the energy.
Values Everything(QZMolFunc1& f, const Values& x) {
  Values all(x.size() + 1, 0.0);
  all.back() = f(x.data(), all.data());
  return all;
}

}  // namespace

std::string CheckDerivatives(QZOpt::QZFunc1& f,
                             const std::vector<double>& x,
                             const ContractOptions& options) {
  std::string verdict;
  Values g(x.size(), 0.0);
  const Values e{f(x.data(), g.data())};
  Compare(verdict, "energy with gradient", e, {f(x.data())}, 1e-12 * Scale(e));
  Values analytic;
  Values numeric;
  const double h = options.step;
  for (const Values& d : Directions(x.size(), options.randomSeed)) {
    numeric.push_back((f(Along(x, d, h).data()) - f(Along(x, d, -h).data())) / (2.0 * h));
    analytic.push_back(std::inner_product(g.begin(), g.end(), d.begin(), 0.0));
  }
  const double tolerance = options.gradientTolerance * Scale(g);
  Compare(verdict, "gradient along direction", analytic, numeric, tolerance);
  return verdict;
}

std::string CheckHessian(QZOpt::QZFunc2& f,
                         const std::vector<double>& x,
                         const ContractOptions& options) {
  std::string verdict;
  const std::size_t n = x.size();
  Values hessian(n * (n + 1) / 2, 0.0);
  Values g(n, 0.0);
  if (!f(x.data(), hessian.data(), g.data())) return "the Hessian call failed";
  const Values g1 = GradientAt(f, x);
  Compare(verdict, "gradient of the Hessian call", g, g1, 1e-10 * Scale(g1));
  const double h = options.step;
  for (const Values& d : Directions(n, options.randomSeed)) {
    const Values up = GradientAt(f, Along(x, d, h));
    const Values down = GradientAt(f, Along(x, d, -h));
    Values analytic(n, 0.0);
    Values numeric(n);
    for (std::size_t r = 0; r < n; ++r) {
      numeric[r] = (up[r] - down[r]) / (2.0 * h);
      for (std::size_t c = 0; c < n; ++c) {
        const std::size_t row = std::max(r, c);
        analytic[r] += hessian[row * (row + 1) / 2 + std::min(r, c)] * d[c];
      }
    }
    const double tolerance = options.hessianTolerance * Scale(hessian);
    Compare(verdict, "Hessian along direction, row", analytic, numeric, tolerance);
  }
  return verdict;
}

std::string CheckContract(const std::function<QZMolFunc1*()>& make,
                          const QZChem::QZMolBase& mol,
                          const std::vector<double>& x,
                          const ContractOptions& options) {
  std::unique_ptr<QZMolFunc1> f(make());
  if (!f->Setup(mol)) return "Setup failed";
  std::string verdict = CheckDerivatives(*f, x, options);
  if (auto* f2 = dynamic_cast<QZOpt::QZFunc2*>(f.get()); f2 != nullptr && verdict.empty()) {
    verdict = CheckHessian(*f2, x, options);
  }
  const Values first = Everything(*f, x);
  Values twice(first);
  (*f)(x.data(), twice.data());
  twice.back() *= 2.0;
  const double tolerance = 1e-12 * Scale(GradientAt(*f, x));
  Compare(verdict, "gradient added twice", twice, Along(first, first, 1.0), tolerance);
  if (options.rigidInvariant) CompareRigid(verdict, *f, x, options.randomSeed);
  if (!f->Setup(mol)) return "the second Setup failed";
  Compare(verdict, "after a second Setup", Everything(*f, x), first, 0.0);
  std::unique_ptr<QZMolFunc1> copy(f->CreateCopy());
  f.reset();
  if (copy != nullptr) Compare(verdict, "the copy", Everything(*copy, x), first, 0.0);
  return verdict;
}

bool ProbeFunc::Setup(const QZChem::QZMolBase& mol) {
  ++setupCount_;
  if (failSetup_) return false;
  numVar_ = 3 * mol.AtomIndexBound();
  atoms_.clear();
  for (auto& each : QZSystem::QZRange(mol.GetAtoms())) atoms_.push_back(each.GetIndex());
  return true;
}

// Gradient and Hessian are added to where they are not null.
double ProbeFunc::evaluate(const double* x, double* grad, double* hessian) const {
  constexpr double kR0 = 1.7;
  constexpr double kDecay = 0.3;
  const auto add = [hessian](std::size_t r, std::size_t c, double value) {
    if (c <= r) hessian[r * (r + 1) / 2 + c] += value;
  };
  double energy = 0.0;
  for (std::size_t p = 0; p < atoms_.size(); ++p) {
    for (std::size_t q = 0; q < p; ++q) {
      const std::size_t i = 3UL * atoms_[p];
      const std::size_t j = 3UL * atoms_[q];
      const double d[3] = {x[i] - x[j], x[i + 1] - x[j + 1], x[i + 2] - x[j + 2]};
      const double r = std::hypot(d[0], d[1], d[2]);
      const double t = r - kR0;
      const double decay = std::exp(-kDecay * r);
      const double e1 = decay * (t - 0.5 * kDecay * t * t);  // dE/dr, d²E/dr²
      const double e2 = decay * (1.0 - 2.0 * kDecay * t + 0.5 * kDecay * kDecay * t * t);
      energy += 0.5 * t * t * decay;
      for (std::size_t k = 0; k < 3; ++k) {
        if (grad != nullptr) {
          grad[i + k] += e1 / r * d[k];
          grad[j + k] -= e1 / r * d[k];
        }
        for (std::size_t l = 0; hessian != nullptr && l < 3; ++l) {
          const double value = (e2 - e1 / r) * d[k] * d[l] / (r * r) + (k == l ? e1 / r : 0.0);
          add(i + k, i + l, value);
          add(j + k, j + l, value);
          add(i + k, j + l, -value);
        }
      }
    }
  }
  return energy;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* ProbeFunc::GetFComponents(const double* x) {
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"Probe", x ? (*this)(x) : 0.0}});
}

}  // namespace TestSupport
