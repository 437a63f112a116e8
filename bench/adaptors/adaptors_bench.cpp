// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// What an adaptor adds to a level-1 MMFF94 evaluation of imatinib. Bare and adapted function are
// timed in turn, batch by batch, in one loop, so that a busy machine slows both; the medians of the
// batches and of their ratio are reported.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

#include "forcefields/standard.h"
#include "molpotential/molpotential.h"
#include "qzchem/io.h"
#include "qzchem/mol.h"

namespace {

using namespace QZMolPotential;

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
  QZChem::QZGraphMol mol;
  QZChem::qzmolistream in(MOLPOTENTIAL_DATA_DIR "/imatinib.sdf");
  if (!QZChem::QZReadMolecule(in, mol)) return state.SkipWithError("no molecule");
  QZStandardFF bare(QZForceFieldKind::MMFF94);
  QZStandardFF wrapped(QZForceFieldKind::MMFF94);
  std::unique_ptr<QZMolAdaptor> adaptor(make(wrapped));
  if (!bare.Setup(mol) || !adaptor->Setup(mol)) return state.SkipWithError("Setup failed");
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
})->Iterations(500);
BENCHMARK_CAPTURE(Overhead, quaternion, [](QZMolFunc1& f) {
  return std::make_unique<QZQuatAdaptor>(f, /*own=*/false, /*restrict=*/false);
})->Iterations(500);
BENCHMARK_CAPTURE(Overhead, degfree, [](QZMolFunc1& f) {
  return std::make_unique<QZDegFreeAdaptor>(f, /*own=*/false);
})->Iterations(500);
BENCHMARK_CAPTURE(Overhead, cluster, [](QZMolFunc1& f) {
  return std::make_unique<QZClusterQuatAdaptor>(f, /*own=*/false, /*restrict=*/false);
})->Iterations(500);

}  // namespace
