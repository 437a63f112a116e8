// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// Minimisation of MMFF94 energies to an RMS gradient of 1e-4 kcal/mol/Å: ours, RDKit's own
// minimiser and NLopt's LBFGS on the same energy, with what each of them evaluates; and the cost of
// one energy with gradient, and of setting up, ours and RDKit's.
#include <ForceField/Contrib.h>
#include <ForceField/ForceField.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/ForceFieldHelpers/MMFF/MMFF.h>
#include <GraphMol/RWMol.h>
#include <benchmark/benchmark.h>
#include <nlopt.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "forcefields/forcefields.h"
#include "qzchem/qzchem.h"
#include "qzopt/optimizers.h"

namespace {

using namespace QZMolPotential;

constexpr double kTolerance = 1e-4;
constexpr const char* kMolecules[] = {
    "butane", "aspirin", "caffeine", "ibuprofen", "penicillin_g", "imatinib", "decapeptide"};

std::string PathOf(int index) {
  return std::string(MOLPOTENTIAL_DATA_DIR) + "/" + kMolecules[index] + ".sdf";
}

double Rms(const std::vector<double>& g) {
  double sum = 0.0;
  for (double value : g) sum += value * value;
  return std::sqrt(sum / static_cast<double>(g.size()));
}

struct Ours {
  explicit Ours(int index) : ff(QZForceFieldKind::MMFF94) {
    QZChem::qzmolistream in(PathOf(index).c_str());
    QZChem::QZReadMolecule(in, mol);
    ff.Setup(mol);
    start.resize(ff.NumVar());
    mol.GetCoords(start.data());
  }
  QZChem::QZGraphMol mol;
  QZStandardFF ff;
  std::vector<double> start;
};

// Adds nothing and counts how often it is asked.
class Counter final : public ForceFields::ForceFieldContrib {
 public:
  double getEnergy(double*) const override {
    ++energies;
    return 0.0;
  }
  void getGrad(double*, double*) const override { ++gradients; }
  Counter* copy() const override { return new Counter(*this); }
  mutable int energies = 0;
  mutable int gradients = 0;
};

struct Theirs {
  explicit Theirs(int index) : mol(RDKit::MolFileToMol(PathOf(index), true, false)) { Restart(); }
  void Restart() {
    working = std::make_unique<RDKit::RWMol>(*mol);
    field.reset(RDKit::MMFF::constructForceField(*working, 100.0, -1, false));
    field->initialize();
  }
  std::vector<double> Coords() const {
    std::vector<double> x;
    for (const auto* p : field->positions()) x.insert(x.end(), {(*p)[0], (*p)[1], (*p)[2]});
    return x;
  }
  double GradientNorm() {
    std::vector<double> x = Coords();
    std::vector<double> g(x.size(), 0.0);
    field->calcEnergy(x.data());
    field->calcGrad(x.data(), g.data());
    return Rms(g);
  }
  std::unique_ptr<RDKit::RWMol> mol;
  std::unique_ptr<RDKit::RWMol> working;
  std::unique_ptr<ForceFields::ForceField> field;
};

void Label(benchmark::State& state) {
  state.SetLabel(kMolecules[state.range(0)]);
}

void EvaluateOurs(benchmark::State& state) {
  Ours ours(static_cast<int>(state.range(0)));
  std::vector<double> x = ours.start;
  std::vector<double> g(x.size());
  for (auto _ : state) {
    x[0] += 1e-9;  // a new geometry, as in a minimisation
    std::ranges::fill(g, 0.0);
    benchmark::DoNotOptimize(ours.ff(x.data(), g.data()));
  }
  Label(state);
}

void EvaluateRDKit(benchmark::State& state) {
  Theirs theirs(static_cast<int>(state.range(0)));
  std::vector<double> x = theirs.Coords();
  std::vector<double> g(x.size());
  for (auto _ : state) {
    x[0] += 1e-9;
    std::ranges::fill(g, 0.0);
    benchmark::DoNotOptimize(theirs.field->calcEnergy(x.data()));
    theirs.field->calcGrad(x.data(), g.data());
  }
  Label(state);
}

void SetupOurs(benchmark::State& state) {
  Ours ours(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(ours.ff.Setup(ours.mol));
  Label(state);
}

void SetupRDKit(benchmark::State& state) {
  Theirs theirs(static_cast<int>(state.range(0)));
  for (auto _ : state) theirs.Restart();
  Label(state);
}

void MinimiseOurs(benchmark::State& state) {
  Ours ours(static_cast<int>(state.range(0)));
  QZOpt::QZOptResult result;
  for (auto _ : state) {
    std::vector<double> x = ours.start;
    result = QZOpt::QZMinimizer({.gradientTolerance = kTolerance}).Minimize(ours.ff, x.data());
  }
  state.counters["energies"] = result.evaluations;
  state.counters["gradients"] = result.evaluations;
  state.counters["E"] = result.energy;
  state.counters["rms"] = result.gradientNorm;
  Label(state);
}

// RDKit's test is on a scaled gradient: the loosest power of ten that reaches our tolerance.
double ToleranceOf(Theirs& theirs) {
  for (double tolerance = 1e-3; tolerance > 1e-9; tolerance *= 0.1) {
    theirs.Restart();
    theirs.field->minimize(100000, tolerance, 1e-14);
    if (theirs.GradientNorm() <= kTolerance) return tolerance;
  }
  return 1e-9;
}

void MinimiseRDKit(benchmark::State& state) {
  Theirs theirs(static_cast<int>(state.range(0)));
  const double tolerance = ToleranceOf(theirs);
  boost::shared_ptr<Counter> counter;
  for (auto _ : state) {
    state.PauseTiming();
    theirs.Restart();
    counter.reset(new Counter);
    theirs.field->contribs().push_back(counter);
    state.ResumeTiming();
    theirs.field->minimize(100000, tolerance, 1e-14);
  }
  state.counters["energies"] = counter->energies;
  state.counters["gradients"] = counter->gradients;
  state.counters["rms"] = theirs.GradientNorm();
  state.counters["E"] = theirs.field->calcEnergy();
  Label(state);
}

struct NloptRun {
  QZStandardFF* ff;
  nlopt_opt solver;
  int evaluations = 0;
  double energy = 0.0;
  double rms = 0.0;
};

double NloptObjective(unsigned int n, const double* x, double* grad, void* data) {
  auto& run = *static_cast<NloptRun*>(data);
  ++run.evaluations;
  std::vector<double> g(n, 0.0);
  run.energy = (*run.ff)(x, g.data());
  if (grad != nullptr) std::ranges::copy(g, grad);
  run.rms = Rms(g);
  if (run.rms <= kTolerance) nlopt_force_stop(run.solver);
  return run.energy;
}

void MinimiseNlopt(benchmark::State& state) {
  Ours ours(static_cast<int>(state.range(0)));
  NloptRun run{};
  for (auto _ : state) {
    std::vector<double> x = ours.start;
    nlopt_opt solver = nlopt_create(NLOPT_LD_LBFGS, static_cast<unsigned int>(x.size()));
    nlopt_set_vector_storage(solver, static_cast<unsigned int>(state.range(1)));
    nlopt_set_maxeval(solver, 20000);
    run = {&ours.ff, solver};
    nlopt_set_min_objective(solver, &NloptObjective, &run);
    double energy;
    nlopt_optimize(solver, x.data(), &energy);
    nlopt_destroy(solver);
  }
  state.counters["energies"] = run.evaluations;
  state.counters["gradients"] = run.evaluations;
  state.counters["E"] = run.energy;
  state.counters["rms"] = run.rms;
  Label(state);
}

constexpr int kLast = static_cast<int>(std::size(kMolecules)) - 1;
BENCHMARK(EvaluateOurs)->DenseRange(0, kLast)->Unit(benchmark::kMicrosecond);
BENCHMARK(EvaluateRDKit)->DenseRange(0, kLast)->Unit(benchmark::kMicrosecond);
BENCHMARK(SetupOurs)->DenseRange(0, kLast)->Unit(benchmark::kMicrosecond);
BENCHMARK(SetupRDKit)->DenseRange(0, kLast)->Unit(benchmark::kMicrosecond);
BENCHMARK(MinimiseOurs)->DenseRange(0, kLast)->Unit(benchmark::kMillisecond);
BENCHMARK(MinimiseRDKit)->DenseRange(0, kLast)->Unit(benchmark::kMillisecond);
BENCHMARK(MinimiseNlopt)
    ->ArgsProduct({benchmark::CreateDenseRange(0, kLast, 1), {20, 300}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
