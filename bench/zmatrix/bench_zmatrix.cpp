// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Optimiser variables: the Z-matrix gradient beside the difference quotient of rebuilt coordinates,
// conversions and set-up, and torsions beside the plain sums over their moving atoms, by number of
// atoms.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "molpotential/molpotential.h"
#include "qzchem/qzchem.h"

namespace {

using QZChem::QZGraphMol;
using QZMolPotential::QZTorsionAdaptor;
using QZMolPotential::QZZmatAdaptor;

// A chain of carbons on a wide helix, so that no angle is straight and no far atom comes near.
QZGraphMol helix(unsigned int atoms) {
  QZGraphMol mol(atoms);
  QZChem::QZAtomBase* last = nullptr;
  for (unsigned int k = 0; k < atoms; ++k) {
    auto* atom = mol.AddAtom(6, 1.1 * std::cos(1.7 * k), 1.1 * std::sin(1.7 * k), 0.55 * k);
    if (last != nullptr) mol.AddBond(last, atom);
    last = atom;
  }
  return mol;
}

// Water molecules at random in a box of liquid density: no atom's references follow a bond pattern,
// and many dihedrals need another partner.
QZGraphMol water(unsigned int atoms) {
  QZGraphMol mol(atoms);
  std::mt19937 rng(7);
  const double edge = std::cbrt(10.0 * atoms);
  std::uniform_real_distribution<double> anywhere(0.0, edge);
  for (unsigned int k = 0; k < atoms; k += 3) {
    const double p[3] = {anywhere(rng), anywhere(rng), anywhere(rng)};
    mol.AddAtom(8, p[0], p[1], p[2]);
    mol.AddAtom(1, p[0] + 0.586, p[1] + 0.757, p[2]);
    mol.AddAtom(1, p[0] + 0.586, p[1] - 0.757, p[2]);
  }
  return mol;
}

std::vector<double> randomGradient(std::size_t n) {
  std::mt19937 rng(3);
  std::normal_distribution<double> component;
  std::vector<double> gradient(n);
  for (double& g : gradient) g = component(rng);
  return gradient;
}

template <class Adaptor>
struct Bound {
  explicit Bound(const QZGraphMol& molecule) : mol(molecule) {
    adaptor.Setup(mol);
    x.resize(adaptor.NumFuncVar());
    mol.GetCoords(x.data());
    vars.resize(adaptor.NumOptVar());
    adaptor.FuncVarToOptVar(x.data(), vars.data());
    adaptor.OptVarToFuncVar(vars.data(), x.data());
    cartGrad = randomGradient(x.size());
    grad.resize(vars.size());
  }
  QZGraphMol mol;
  Adaptor adaptor;
  std::vector<double> x, vars, cartGrad, grad;
};

void ZmatrixGradient(benchmark::State& state) {
  Bound<QZZmatAdaptor> b(helix(static_cast<unsigned int>(state.range(0))));
  for (auto _ : state) {
    b.adaptor.FuncGradToOptGrad(b.x.data(), b.cartGrad.data(), b.grad.data());
    benchmark::DoNotOptimize(b.grad.data());
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(ZmatrixGradient)->Arg(20)->Arg(60)->Arg(200)->Arg(600)->Arg(6000)->Complexity();

// Every variable moved by 1e-7 and the coordinates rebuilt. Reports how far the two routes differ.
void ZmatrixGradientByDifferences(benchmark::State& state) {
  Bound<QZZmatAdaptor> b(helix(static_cast<unsigned int>(state.range(0))));
  b.adaptor.FuncGradToOptGrad(b.x.data(), b.cartGrad.data(), b.grad.data());
  std::vector<double> moved(b.x.size());
  std::vector<double> quotients(b.vars.size());
  constexpr double kStep = 1e-7;
  for (auto _ : state) {
    for (std::size_t i = 0; i < b.vars.size(); ++i) {
      const double value = b.vars[i];
      b.vars[i] = value + kStep;
      b.adaptor.OptVarToFuncVar(b.vars.data(), moved.data());
      b.vars[i] = value;
      double sum = 0.0;
      for (std::size_t j = 0; j < moved.size(); ++j) sum += (moved[j] - b.x[j]) * b.cartGrad[j];
      quotients[i] = sum / kStep;
    }
    benchmark::DoNotOptimize(quotients.data());
  }
  double largest = 0.0;
  double difference = 0.0;
  for (std::size_t i = 0; i < quotients.size(); ++i) {
    largest = std::max(largest, std::abs(b.grad[i]));
    difference = std::max(difference, std::abs(b.grad[i] - quotients[i]));
  }
  state.counters["difference"] = difference / largest;
  state.SetComplexityN(state.range(0));
}
BENCHMARK(ZmatrixGradientByDifferences)->Arg(20)->Arg(60)->Arg(200)->Arg(600)->Complexity();

void ZmatrixToCartesian(benchmark::State& state) {
  Bound<QZZmatAdaptor> b(helix(static_cast<unsigned int>(state.range(0))));
  for (auto _ : state) b.adaptor.OptVarToFuncVar(b.vars.data(), b.x.data());
  state.SetComplexityN(state.range(0));
}
BENCHMARK(ZmatrixToCartesian)->Arg(20)->Arg(60)->Arg(200)->Arg(600)->Arg(6000)->Complexity();

void ZmatrixFromCartesian(benchmark::State& state) {
  const auto atoms = static_cast<unsigned int>(state.range(0));
  Bound<QZZmatAdaptor> b(state.range(1) == 0 ? helix(atoms) : water(atoms));
  b.mol.GetCoords(b.x.data());
  for (auto _ : state) b.adaptor.FuncVarToOptVar(b.x.data(), b.vars.data());
  state.SetLabel(state.range(1) == 0 ? "chain" : "water");
}
BENCHMARK(ZmatrixFromCartesian)->ArgsProduct({{600, 6000, 60000}, {0, 1}});

void ZmatrixSetup(benchmark::State& state) {
  const auto atoms = static_cast<unsigned int>(state.range(0));
  const QZGraphMol mol = state.range(1) == 0 ? helix(atoms) : water(atoms);
  QZZmatAdaptor adaptor;
  for (auto _ : state) adaptor.Setup(mol);
  state.SetLabel(state.range(1) == 0 ? "chain" : "water");
}
BENCHMARK(ZmatrixSetup)->ArgsProduct({{600, 6000, 60000}, {0, 1}})->Unit(benchmark::kMillisecond);

void TorsionGradient(benchmark::State& state) {
  Bound<QZTorsionAdaptor> b(helix(static_cast<unsigned int>(state.range(0))));
  for (auto _ : state) {
    b.adaptor.FuncGradToOptGrad(b.cartGrad.data(), b.grad.data(), b.x.data());
    benchmark::DoNotOptimize(b.grad.data());
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(TorsionGradient)->Arg(20)->Arg(60)->Arg(200)->Arg(600)->Arg(6000)->Complexity();

void TorsionToCartesian(benchmark::State& state) {
  Bound<QZTorsionAdaptor> b(helix(static_cast<unsigned int>(state.range(0))));
  for (auto _ : state) b.adaptor.OptVarToFuncVar(b.vars.data(), b.x.data());
  state.SetComplexityN(state.range(0));
}
BENCHMARK(TorsionToCartesian)->Arg(20)->Arg(60)->Arg(200)->Arg(600)->Arg(6000)->Complexity();

// The sum over the moving atoms of each torsion, as its definition reads: on a chain the shorter
// end of each bond but the outermost two at either side.
void TorsionGradientByPlainSums(benchmark::State& state) {
  Bound<QZTorsionAdaptor> b(helix(static_cast<unsigned int>(state.range(0))));
  b.adaptor.FuncGradToOptGrad(b.cartGrad.data(), b.grad.data(), b.x.data());
  const std::size_t n = b.x.size() / 3;
  std::vector<double> plain(b.grad.size());
  const double* x = b.x.data();
  const double* g = b.cartGrad.data();
  for (auto _ : state) {
    for (std::size_t k = 0; k < plain.size(); ++k) {
      const std::size_t begin = k + 1;  // the bond of atoms k + 1 and k + 2
      const bool endMoves = n - begin - 1 <= begin + 1;
      const std::size_t c = endMoves ? begin + 1 : begin;
      const std::size_t other = endMoves ? begin : begin + 1;
      double torque[3] = {0.0, 0.0, 0.0};
      for (std::size_t i = endMoves ? c + 1 : 0; i < (endMoves ? n : c); ++i) {
        const double d[3] = {
            x[3 * i] - x[3 * c], x[3 * i + 1] - x[3 * c + 1], x[3 * i + 2] - x[3 * c + 2]};
        torque[0] += d[1] * g[3 * i + 2] - d[2] * g[3 * i + 1];
        torque[1] += d[2] * g[3 * i] - d[0] * g[3 * i + 2];
        torque[2] += d[0] * g[3 * i + 1] - d[1] * g[3 * i];
      }
      double along = 0.0;
      double length2 = 0.0;
      for (std::size_t j = 0; j < 3; ++j) {
        const double e = x[3 * c + j] - x[3 * other + j];
        along += e * torque[j];
        length2 += e * e;
      }
      plain[k] = along / std::sqrt(length2);
    }
    benchmark::DoNotOptimize(plain.data());
  }
  double largest = 0.0;
  double difference = 0.0;
  for (std::size_t k = 0; k < plain.size(); ++k) {
    largest = std::max(largest, std::abs(plain[k]));
    difference = std::max(difference, std::abs(plain[k] - b.grad[k]));
  }
  state.counters["difference"] = difference / largest;
  state.SetComplexityN(state.range(0));
}
BENCHMARK(TorsionGradientByPlainSums)
    ->Arg(20)
    ->Arg(60)
    ->Arg(200)
    ->Arg(600)
    ->Arg(6000)
    ->Complexity();

void TorsionSetup(benchmark::State& state) {
  const QZGraphMol mol = helix(static_cast<unsigned int>(state.range(0)));
  QZTorsionAdaptor adaptor;
  for (auto _ : state) adaptor.Setup(mol);
}
BENCHMARK(TorsionSetup)->Arg(60)->Arg(600)->Arg(6000)->Unit(benchmark::kMillisecond);

}  // namespace
