// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "support/contract.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <sstream>

namespace TestSupport {
namespace {

using QZMolPotential::QZMolFunc1;

double Scale(const std::vector<double>& reference) {
  double largest = 1.0;
  for (double value : reference) largest = std::max(largest, std::abs(value));
  return largest;
}

// Directions along which derivatives are taken: every coordinate, or three random ones.
std::vector<std::vector<double>> Directions(std::size_t n, unsigned int seed) {
  std::vector<std::vector<double>> directions;
  if (n <= 60) {
    for (std::size_t i = 0; i < n; ++i) {
      directions.emplace_back(n, 0.0);
      directions.back()[i] = 1.0;
    }
    return directions;
  }
  std::mt19937 rng(seed);
  std::normal_distribution<double> normal;
  for (int k = 0; k < 3; ++k) {
    std::vector<double> d(n);
    double norm = 0.0;
    for (double& value : d) {
      value = normal(rng);
      norm += value * value;
    }
    for (double& value : d) value /= std::sqrt(norm);
    directions.push_back(std::move(d));
  }
  return directions;
}

double Step(const std::vector<double>& x, const std::vector<double>& d, double step) {
  double largest = 1.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (d[i] != 0.0) largest = std::max(largest, std::abs(x[i]));
  }
  return step * largest;
}

std::vector<double> Along(const std::vector<double>& x, const std::vector<double>& d, double t) {
  std::vector<double> y(x);
  for (std::size_t i = 0; i < x.size(); ++i) y[i] += t * d[i];
  return y;
}

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

std::string Differs(const char* what, std::size_t k, double got, double want, double seedOrStep) {
  std::ostringstream text;
  text.precision(12);
  text << what << " along direction " << k << ": " << got << " instead of " << want << " ("
       << seedOrStep << ")";
  return text.str();
}

std::string CheckRigid(QZMolFunc1& f,
                       const std::vector<double>& x,
                       const ContractOptions& options) {
  const std::size_t n = x.size() / 3;
  std::vector<double> g(x.size(), 0.0);
  const double e = f(x.data(), g.data());
  const double tolerance = 1e-9 * Scale(g) * static_cast<double>(n);
  std::array<double, 3> force{};
  std::array<double, 3> torque{};
  for (std::size_t i = 0; i < n; ++i) {
    const double* r = &x[3 * i];
    const double* a = &g[3 * i];
    for (std::size_t k = 0; k < 3; ++k) {
      force[k] += a[k];
      torque[k] += r[(k + 1) % 3] * a[(k + 2) % 3] - r[(k + 2) % 3] * a[(k + 1) % 3];
    }
  }
  for (std::size_t k = 0; k < 3; ++k) {
    if (!(std::abs(force[k]) <= tolerance)) return Differs("net force", k, force[k], 0.0, 0.0);
    if (!(std::abs(torque[k]) <= 100.0 * tolerance)) {
      return Differs("net torque", k, torque[k], 0.0, 0.0);
    }
  }
  std::mt19937 rng(options.randomSeed);
  std::uniform_real_distribution<double> angle(0.3, 2.8);
  std::vector<double> moved(x);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const double c = std::cos(angle(rng));
    const double s = std::sqrt(1.0 - c * c);
    for (std::size_t i = 0; i < n; ++i) {
      double& u = moved[3 * i + (axis + 1) % 3];
      double& v = moved[3 * i + (axis + 2) % 3];
      const double u0 = u;
      u = c * u0 - s * v + 0.7;
      v = s * u0 + c * v - 0.4;
    }
  }
  const double e2 = f(moved.data());
  if (!(std::abs(e2 - e) <= 1e-9 * std::max(1.0, std::abs(e)))) {
    return Differs("energy after a rigid motion", 0, e2, e, 0.0);
  }
  return {};
}

std::string CheckSame(QZMolFunc1& f,
                      double e,
                      const std::vector<double>& g,
                      const std::vector<double>& x,
                      const char* what) {
  std::vector<double> g2(x.size(), 0.0);
  const double e2 = f(x.data(), g2.data());
  if (!(e2 == e)) return Differs(what, 0, e2, e, 0.0);
  for (std::size_t i = 0; i < g.size(); ++i) {
    if (!(g2[i] == g[i])) return Differs(what, i, g2[i], g[i], 0.0);
  }
  return {};
}

}  // namespace

std::string CheckDerivatives(QZOpt::QZFunc1& f,
                             const std::vector<double>& x,
                             const ContractOptions& options) {
  std::vector<double> g(x.size(), 0.0);
  const double e = f(x.data(), g.data());
  const double e0 = f(x.data());
  if (!(std::abs(e - e0) <= 1e-12 * std::max(1.0, std::abs(e)))) {
    return Differs("energy with and without gradient", 0, e, e0, 0.0);
  }
  const double tolerance = options.gradientTolerance * Scale(g);
  const auto directions = Directions(x.size(), options.randomSeed);
  for (std::size_t k = 0; k < directions.size(); ++k) {
    const auto& d = directions[k];
    const double h = Step(x, d, options.step);
    const double numeric = (f(Along(x, d, h).data()) - f(Along(x, d, -h).data())) / (2.0 * h);
    const double analytic = Dot(g, d);
    if (!(std::abs(numeric - analytic) <= tolerance)) {
      return Differs("gradient", k, analytic, numeric, options.randomSeed);
    }
  }
  return {};
}

std::string CheckHessian(QZOpt::QZFunc2& f,
                         const std::vector<double>& x,
                         const ContractOptions& options) {
  const std::size_t n = x.size();
  std::vector<double> hessian(n * (n + 1) / 2, 0.0);
  std::vector<double> g(n, 0.0);
  if (!f(x.data(), hessian.data(), g.data())) return "the Hessian call failed";
  std::vector<double> g1(n, 0.0);
  f(x.data(), g1.data());
  for (std::size_t i = 0; i < n; ++i) {
    if (!(std::abs(g[i] - g1[i]) <= 1e-10 * Scale(g1))) {
      return Differs("gradient of the Hessian call", i, g[i], g1[i], 0.0);
    }
  }
  const auto element = [&](std::size_t r, std::size_t c) {
    return hessian[std::max(r, c) * (std::max(r, c) + 1) / 2 + std::min(r, c)];
  };
  const double tolerance = options.hessianTolerance * Scale(hessian);
  const auto directions = Directions(n, options.randomSeed);
  for (std::size_t k = 0; k < directions.size(); ++k) {
    const auto& d = directions[k];
    const double h = Step(x, d, options.step);
    std::vector<double> up(n, 0.0);
    std::vector<double> down(n, 0.0);
    f(Along(x, d, h).data(), up.data());
    f(Along(x, d, -h).data(), down.data());
    for (std::size_t r = 0; r < n; ++r) {
      double analytic = 0.0;
      for (std::size_t c = 0; c < n; ++c) analytic += element(r, c) * d[c];
      const double numeric = (up[r] - down[r]) / (2.0 * h);
      if (!(std::abs(numeric - analytic) <= tolerance)) {
        return Differs("Hessian", k, analytic, numeric, static_cast<double>(r));
      }
    }
  }
  return {};
}

std::string CheckContract(const std::function<QZMolFunc1*()>& make,
                          const QZChem::QZMolBase& mol,
                          const std::vector<double>& x,
                          const ContractOptions& options) {
  std::unique_ptr<QZMolFunc1> f(make());
  if (!f->Setup(mol)) return "Setup failed";
  if (auto wrong = CheckDerivatives(*f, x, options); !wrong.empty()) return wrong;
  if (auto* f2 = dynamic_cast<QZOpt::QZFunc2*>(f.get()); f2 != nullptr) {
    if (auto wrong = CheckHessian(*f2, x, options); !wrong.empty()) return wrong;
  }
  std::vector<double> g(x.size(), 0.0);
  const double e = (*f)(x.data(), g.data());
  std::vector<double> twice(g);
  (*f)(x.data(), twice.data());
  for (std::size_t i = 0; i < g.size(); ++i) {
    if (!(std::abs(twice[i] - 2.0 * g[i]) <= 1e-12 * Scale(g))) {
      return Differs("gradient added twice", i, twice[i], 2.0 * g[i], 0.0);
    }
  }
  if (options.rigidInvariant) {
    if (auto wrong = CheckRigid(*f, x, options); !wrong.empty()) return wrong;
  }
  if (!f->Setup(mol)) return "the second Setup failed";
  if (auto wrong = CheckSame(*f, e, g, x, "after a second Setup"); !wrong.empty()) return wrong;
  std::unique_ptr<QZMolFunc1> copy(f->CreateCopy());
  f.reset();
  if (copy != nullptr) return CheckSame(*copy, e, g, x, "the copy");
  return {};
}

// --- ProbeFunc

namespace {
int livingProbes = 0;
constexpr double kR0 = 1.7;
constexpr double kDecay = 0.3;
}  // namespace

ProbeFunc::ProbeFunc(bool acceptsPredicates) : accepts_(acceptsPredicates) {
  ++livingProbes;
}
ProbeFunc::ProbeFunc(const ProbeFunc& other)
    : QZMolPotential::QZMolFunc(other),
      QZOpt::QZFunc0(other),
      QZMolPotential::QZMolFunc0(other),
      QZOpt::QZFunc1(other),
      QZMolPotential::QZMolFunc1(other),
      QZOpt::QZFunc2(other),
      QZMolPotential::QZMolFunc2(other),
      accepts_(other.accepts_),
      numVar_(other.numVar_),
      atoms_(other.atoms_) {
  ++livingProbes;
}
ProbeFunc::~ProbeFunc() {
  --livingProbes;
}
int ProbeFunc::Living() {
  return livingProbes;
}

bool ProbeFunc::Setup(const QZChem::QZMolBase& mol) {
  ++setupCount_;
  if (failSetup_) return false;
  numVar_ = 3 * mol.AtomIndexBound();
  atoms_.clear();
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) atoms_.push_back(atom.GetIndex());
  return true;
}

bool ProbeFunc::Set(const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>&,
                    unsigned int which) {
  calls_.push_back({"bond pair", which});
  return accepts_;
}
bool ProbeFunc::Set(const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>&,
                    unsigned int which) {
  calls_.push_back({"atom pair", which});
  return accepts_;
}
bool ProbeFunc::Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>&, unsigned int which) {
  calls_.push_back({"bond", which});
  return accepts_;
}
bool ProbeFunc::Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>&, unsigned int which) {
  calls_.push_back({"atom", which});
  return accepts_;
}

double ProbeFunc::operator()(const double* x) {
  std::vector<double> unused(numVar_, 0.0);
  return (*this)(x, unused.data());
}

double ProbeFunc::operator()(const double* x, double* grad) {
  double energy = 0.0;
  for (std::size_t p = 0; p < atoms_.size(); ++p) {
    for (std::size_t q = 0; q < p; ++q) {
      const std::size_t i = std::size_t{3} * atoms_[p];
      const std::size_t j = std::size_t{3} * atoms_[q];
      const double d[3] = {x[i] - x[j], x[i + 1] - x[j + 1], x[i + 2] - x[j + 2]};
      const double r = std::hypot(d[0], d[1], d[2]);
      const double decay = std::exp(-kDecay * r);
      energy += 0.5 * (r - kR0) * (r - kR0) * decay;
      const double slope = (r - kR0) * decay * (1.0 - 0.5 * kDecay * (r - kR0)) / r;
      for (std::size_t k = 0; k < 3; ++k) {
        grad[i + k] += slope * d[k];
        grad[j + k] -= slope * d[k];
      }
    }
  }
  return energy;
}

bool ProbeFunc::operator()(const double* x, double* hessian, double* grad) {
  const auto add = [hessian](std::size_t r, std::size_t c, double value) {
    if (c <= r) hessian[r * (r + 1) / 2 + c] += value;
  };
  for (std::size_t p = 0; p < atoms_.size(); ++p) {
    for (std::size_t q = 0; q < p; ++q) {
      const std::size_t i = std::size_t{3} * atoms_[p];
      const std::size_t j = std::size_t{3} * atoms_[q];
      const double d[3] = {x[i] - x[j], x[i + 1] - x[j + 1], x[i + 2] - x[j + 2]};
      const double r = std::hypot(d[0], d[1], d[2]);
      const double t = r - kR0;
      const double decay = std::exp(-kDecay * r);
      const double e1 = decay * (t - 0.5 * kDecay * t * t);
      const double e2 = decay * (1.0 - 2.0 * kDecay * t + 0.5 * kDecay * kDecay * t * t);
      for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t l = 0; l < 3; ++l) {
          const double value = (e2 - e1 / r) * d[k] * d[l] / (r * r) + (k == l ? e1 / r : 0.0);
          add(i + k, i + l, value);
          add(j + k, j + l, value);
          add(i + k, j + l, -value);
          add(j + k, i + l, -value);
        }
      }
    }
  }
  if (grad != nullptr) (*this)(x, grad);
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* ProbeFunc::GetFComponents(const double* x) {
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"Probe", x ? (*this)(x) : 0.0}});
}

}  // namespace TestSupport
