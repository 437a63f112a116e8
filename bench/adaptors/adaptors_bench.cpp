// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// What an adaptor adds to a level-1 evaluation of imatinib's size. Bare and adapted function are
// timed in turn, batch by batch, in one loop, so that a busy machine slows both; the medians of the
// batches and of their ratio are reported.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <vector>

#include "molpotential/molpotential.h"
#include "qzchem/mol.h"

namespace {

using namespace QZMolPotential;

constexpr unsigned int kAtoms = 68;

/// Stand-in for a force field: a 12-6 and a Coulomb term for every pair of atoms.
class PairField final : public QZMolFunc1 {
 public:
  using QZMolFunc1::operator();
  unsigned int NumVar() const override { return n_; }
  bool Setup(const QZChem::QZMolBase& mol) override {
    n_ = 3 * mol.AtomIndexBound();
    return true;
  }
  double operator()(const double* x) override {
    std::vector<double> unused(n_);
    return (*this)(x, unused.data());
  }
  double operator()(const double* x, double* grad) override {
    double energy = 0.0;
    for (unsigned int i = 0; i < n_; i += 3) {
      for (unsigned int j = 0; j < i; j += 3) {
        const double d[3] = {x[i] - x[j], x[i + 1] - x[j + 1], x[i + 2] - x[j + 2]};
        const double r2 = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
        const double t = 1.0 / (r2 * r2 * r2);
        const double coulomb = 1.0 / std::sqrt(r2);
        energy += t * t - t + coulomb;
        const double slope = (6.0 * t - 12.0 * t * t - coulomb) / r2;
        for (unsigned int k = 0; k < 3; ++k) {
          grad[i + k] += slope * d[k];
          grad[j + k] -= slope * d[k];
        }
      }
    }
    return energy;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* /*x*/) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }
  PairField* CreateCopy() const override { return new PairField(*this); }

 private:
  unsigned int n_ = 0;
};

QZChem::QZGraphMol Molecule() {
  QZChem::QZGraphMol mol(kAtoms);
  for (unsigned int i = 0; i < kAtoms; ++i) {
    mol.AddAtom(6, 1.25 * i, i % 2 == 0 ? 0.0 : 0.87, 0.1 * (i % 5));
    if (i > 0) mol.AddBond(mol.GetAtom(i - 1), mol.GetAtom(i));
  }
  return mol;
}

double Median(std::vector<double>& v) {
  std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2), v.end());
  return v[v.size() / 2];
}

double Time(QZMolFunc1& f, const std::vector<double>& x, std::vector<double>& grad) {
  constexpr int kBatch = 20;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kBatch; ++i) {
    std::fill(grad.begin(), grad.end(), 0.0);
    benchmark::DoNotOptimize(f(x.data(), grad.data()));
  }
  const std::chrono::duration<double, std::micro> spent = std::chrono::steady_clock::now() - start;
  return spent.count() / kBatch;
}

template <class Make>
void Overhead(benchmark::State& state, Make make) {
  const auto mol = Molecule();
  PairField bare;
  PairField wrapped;
  bare.Setup(mol);
  std::unique_ptr<QZMolAdaptor> adaptor(make(wrapped));
  if (!adaptor->Setup(mol)) return state.SkipWithError("Setup failed");
  std::vector<double> x(bare.NumVar());
  std::vector<double> vars(adaptor->NumVar());
  std::vector<double> grad(x.size());
  std::vector<double> reduced(vars.size());
  mol.GetCoords(x.data());
  adaptor->GetVar(vars.data(), x.data());
  std::vector<double> bareTimes;
  std::vector<double> adaptedTimes;
  std::vector<double> ratios;
  for (auto unused : state) {
    bareTimes.push_back(Time(bare, x, grad));
    adaptedTimes.push_back(Time(*adaptor, vars, reduced));
    ratios.push_back(adaptedTimes.back() / bareTimes.back());
  }
  state.counters["bare_us"] = Median(bareTimes);
  state.counters["adapted_us"] = Median(adaptedTimes);
  state.counters["overhead_percent"] = 100.0 * (Median(ratios) - 1.0);
}

// Every second atom is fixed; all interactions are computed, so that only copying differs.
BENCHMARK_CAPTURE(Overhead, subset, [](QZMolFunc1& f) {
  auto adaptor = std::make_unique<QZSubsetAdaptor>(f, /*own=*/false, /*restrict=*/false);
  adaptor->Set(QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
                   [](const QZChem::QZAtomBase& atom) { return atom.GetIndex() % 2 == 0; }),
               QZCategorySubsetFixed);
  return adaptor;
})->Iterations(2000);
BENCHMARK_CAPTURE(Overhead, quaternion, [](QZMolFunc1& f) {
  return std::make_unique<QZQuatAdaptor>(f, /*own=*/false, /*restrict=*/false);
})->Iterations(2000);
BENCHMARK_CAPTURE(Overhead, degfree, [](QZMolFunc1& f) {
  return std::make_unique<QZDegFreeAdaptor>(f, /*own=*/false);
})->Iterations(2000);
BENCHMARK_CAPTURE(Overhead, cluster, [](QZMolFunc1& f) {
  return std::make_unique<QZClusterQuatAdaptor>(f, /*own=*/false, /*restrict=*/false);
})->Iterations(2000);

}  // namespace
