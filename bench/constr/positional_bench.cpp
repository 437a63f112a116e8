// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Energy and gradient of positional restraints, all atoms outside their spheres.
#include <ForceField/ForceField.h>
#include <ForceField/MMFF/PositionConstraint.h>
#include <Geometry/point.h>

#include <cmath>
#include <memory>

#include "constr/constr.h"
#include "qzchem/mol.h"
#include "restrained.h"

namespace {

using Bench::kStrength;
using Bench::kWidth;
using Bench::Restrained;

void Sizes(benchmark::internal::Benchmark* b) {
  b->Arg(1000)->Arg(100000);
}

// What anyone would write: indices, reference points, one loop.
double PlainLoop(const std::vector<unsigned int>& index,
                 const std::vector<double>& reference,
                 const double* x,
                 double* grad) {
  double energy = 0.0;
  for (std::size_t k = 0; k < index.size(); ++k) {
    const std::size_t i = std::size_t{3} * index[k];
    const double dx = x[i] - reference[3 * k];
    const double dy = x[i + 1] - reference[3 * k + 1];
    const double dz = x[i + 2] - reference[3 * k + 2];
    const double d2 = dx * dx + dy * dy + dz * dz;
    if (d2 <= kWidth * kWidth) continue;
    const double d = std::sqrt(d2);
    const double e = d - kWidth;
    const double f = 2.0 * kStrength * e / d;
    energy += kStrength * e * e;
    grad[i] += f * dx;
    grad[i + 1] += f * dy;
    grad[i + 2] += f * dz;
  }
  return energy;
}

void BM_PositionPlainLoop(benchmark::State& state) {
  Restrained r(static_cast<std::size_t>(state.range(0)));
  std::vector<unsigned int> index(r.NumAtoms());
  for (unsigned int i = 0; i < index.size(); ++i) index[i] = i;
  for (auto _ : state) {
    benchmark::DoNotOptimize(PlainLoop(index, r.reference, r.x.data(), r.grad.data()));
    benchmark::ClobberMemory();
  }
  Bench::ReportPerItem(state, "per_atom", r.NumAtoms());
}
BENCHMARK(BM_PositionPlainLoop)->Apply(Sizes);

template <class Potential>
void SetUp(Potential& f, const Restrained& r) {
  QZChem::QZGraphMol mol(static_cast<unsigned int>(r.NumAtoms()));
  for (std::size_t i = 0; i < r.NumAtoms(); ++i) {
    mol.AddAtom(6, r.reference[3 * i], r.reference[3 * i + 1], r.reference[3 * i + 2]);
  }
  f.Setup(mol);
}

void EnergyAndGradient(benchmark::State& state, double width, double exponent) {
  Restrained r(static_cast<std::size_t>(state.range(0)));
  QZConstr::QZPowerPotential f(width, kStrength, exponent);
  SetUp(f, r);
  for (auto _ : state) {
    benchmark::DoNotOptimize(f(r.x.data(), r.grad.data()));
    benchmark::ClobberMemory();
  }
  Bench::ReportPerItem(state, "per_atom", r.NumAtoms());
}
void BM_Position(benchmark::State& state) {
  EnergyAndGradient(state, kWidth, 2.0);
}
BENCHMARK(BM_Position)->Apply(Sizes);
void BM_PositionNoWidth(benchmark::State& state) {
  EnergyAndGradient(state, 0.0, 2.0);
}
BENCHMARK(BM_PositionNoWidth)->Apply(Sizes);
void BM_PositionCubic(benchmark::State& state) {
  EnergyAndGradient(state, kWidth, 3.0);
}
BENCHMARK(BM_PositionCubic)->Apply(Sizes);

void BM_PositionEnergyOnly(benchmark::State& state) {
  Restrained r(static_cast<std::size_t>(state.range(0)));
  QZConstr::QZHarmonicPotential f(kStrength, kWidth);
  SetUp(f, r);
  for (auto _ : state) benchmark::DoNotOptimize(f(r.x.data()));
  Bench::ReportPerItem(state, "per_atom", r.NumAtoms());
}
BENCHMARK(BM_PositionEnergyOnly)->Apply(Sizes);

void BM_PositionRdkit(benchmark::State& state) {
  Restrained r(static_cast<std::size_t>(state.range(0)));
  std::vector<RDGeom::Point3D> points(r.NumAtoms());
  ForceFields::ForceField field;
  for (std::size_t i = 0; i < points.size(); ++i) {
    points[i] = {r.reference[3 * i], r.reference[3 * i + 1], r.reference[3 * i + 2]};
    field.positions().push_back(&points[i]);
  }
  std::vector<std::unique_ptr<ForceFields::ForceFieldContrib>> terms;
  for (unsigned int i = 0; i < points.size(); ++i) {
    // Its energy has a factor 1/2.
    terms.push_back(std::make_unique<ForceFields::MMFF::PositionConstraintContrib>(
        &field, i, kWidth, 2.0 * kStrength));
  }
  for (auto _ : state) {
    double energy = 0.0;
    for (const auto& term : terms) energy += term->getEnergy(r.x.data());
    for (const auto& term : terms) term->getGrad(r.x.data(), r.grad.data());
    benchmark::DoNotOptimize(energy);
    benchmark::ClobberMemory();
  }
  Bench::ReportPerItem(state, "per_atom", r.NumAtoms());
}
BENCHMARK(BM_PositionRdkit)->Apply(Sizes);

}  // namespace
