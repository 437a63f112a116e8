// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "support/contract.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>
#include <string>
#include <tuple>
#include <valarray>

namespace TestSupport {
namespace {

using Values = std::valarray<double>;

// The largest entry, at least 1.
double Scale(const Values& reference) {
  return std::max(1.0, std::abs(reference).max());
}

// The gradient at x and, behind it, the energy.
Values Everything(QZOpt::QZFunc1& f, const Values& x) {
  Values all(0.0, x.size() + 1);
  all[x.size()] = f(&x[0], &all[0]);
  return all;
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
    verdict = (std::ostringstream() << std::setprecision(12) << what << ", entry " << i << ": "
                                    << got[i] << " instead of " << want[i])
                  .str();
  }
}

}  // namespace

std::string CheckDerivatives(QZOpt::QZFunc1& f, const Reals& x, double step) {
  QZMolPotential::QZCheckFunc checker;
  checker.SetLength(static_cast<unsigned int>(x.size()));
  checker.SetStep(step);
  const auto found = checker.Check(f, x.data());
  std::string verdict;
  Compare(verdict, "mismatch of the energies", {found.energyMismatch}, {0.0}, 1e-12);
  for (const auto& [what, worst, tolerance] :
       {std::tuple{"gradient", found.gradient, 1e-6},
        {"Hessian", found.hessian, 1e-5},
        {"gradient of the Hessian call", found.hessianGradient, 1e-10}}) {
    if (worst.error <= tolerance) continue;
    const auto place = std::to_string(worst.variable) + " " + std::to_string(worst.otherVariable);
    Compare(verdict, what + (" " + place), {worst.analytic}, {worst.numeric}, 0.0);
  }
  return verdict.empty() && found.hessianFailed ? "the Hessian call failed" : verdict;
}

std::string CheckContract(const std::function<QZMolPotential::QZMolFunc1*()>& make,
                          const QZChem::QZMolBase& mol,
                          const Reals& coords,
                          bool rigidInvariant) {
  std::unique_ptr<QZMolPotential::QZMolFunc1> f(make());
  if (!f->Setup(mol)) return "Setup failed";
  std::string verdict = CheckDerivatives(*f, coords);
  const Values x(coords.data(), coords.size());
  const Values first = Everything(*f, x);
  Values twice(first);
  (*f)(&x[0], &twice[0]);
  twice[x.size()] *= 2.0;
  Compare(verdict, "gradient added twice", twice, 2.0 * first, 1e-12 * Scale(first));
  Values moved(x.size());
  for (std::size_t i = 0; i < x.size(); i += 3) {
    moved[i] = 0.6 * x[i + 1] - 0.8 * x[i + 2] + 0.7;
    moved[i + 1] = 0.8 * x[i + 1] + 0.6 * x[i + 2] - 0.4;
    moved[i + 2] = x[i] + 1.3;
  }
  const Values e{first[x.size()]};
  const double eMoved = rigidInvariant ? (*f)(&moved[0]) : e[0];
  Compare(verdict, "energy after a rigid motion", {eMoved}, e, 1e-9 * Scale(e));
  if (!f->Setup(mol)) return "the second Setup failed";
  Compare(verdict, "after a second Setup", Everything(*f, x), first, 0.0);
  std::unique_ptr<QZMolPotential::QZMolFunc1> copy(f->CreateCopy());
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
  double energy = 0.0;
  for (std::size_t p = 0; p < atoms_.size(); ++p) {
    for (std::size_t q = 0; q < p; ++q) {
      std::size_t at[6];
      for (std::size_t k = 0; k < 6; ++k) at[k] = 3UL * atoms_[k < 3 ? q : p] + k % 3;
      double d[6];
      for (std::size_t k = 0; k < 6; ++k) d[k] = x[at[k]] - x[at[(k + 3) % 6]];
      const double r = std::hypot(d[0], d[1], d[2]);
      const double t = r - 1.7;
      const double decay = std::exp(-0.3 * r);
      energy += 0.5 * t * t * decay;
      const double e1 = decay * (t - 0.15 * t * t) / r;  // dE/dr / r, then the rest of d²E/dr²
      const double e2 = (decay * (1.0 - 0.6 * t + 0.045 * t * t) - e1) / (r * r);
      for (std::size_t k = 0; k < 6; ++k) {
        if (grad != nullptr) grad[at[k]] += e1 * d[k];
        for (std::size_t l = 0; hessian != nullptr && l < 6 && at[l] <= at[k]; ++l) {
          const double diagonal = k == l ? e1 : k % 3 == l % 3 ? -e1 : 0.0;
          hessian[at[k] * (at[k] + 1) / 2 + at[l]] += e2 * d[k] * d[l] + diagonal;
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
