// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <ForceField/ForceField.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/ForceFieldHelpers/MMFF/MMFF.h>
#include <benchmark/benchmark.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "forcefields/forcefields.h"
#include "molpotential/molpotential.h"
#include "qzchem/qzchem.h"

namespace {

using namespace QZMolPotential;

enum Size { kImatinib, kDecapeptide, kNineDecapeptides };

QZChem::QZGraphMol Molecule(int size) {
  const char* name = size == kImatinib ? "imatinib" : "decapeptide";
  QZChem::qzmolistream in((std::string(MOLPOTENTIAL_DATA_DIR) + "/" + name + ".sdf").c_str());
  QZChem::QZGraphMol mol;
  QZChem::QZReadMolecule(in, mol);
  if (size != kNineDecapeptides) return mol;
  // Side by side, so that about 1,500 atoms interact in pairs.
  QZChem::QZGraphMol all;
  constexpr double kSpacing = 40.0;  // Å
  for (int copy = 0; copy < 9; ++copy) {
    std::vector<QZChem::QZAtomBase*> atoms;
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
      double x[3];
      mol.GetCoords(&atom, x);
      atoms.push_back(all.AddAtom(atom.GetAtomicNumber(),
                                  x[0] + kSpacing * (copy % 3),
                                  x[1] + kSpacing * (copy / 3),
                                  x[2]));
      atoms.back()->SetFormalCharge(atom.GetFormalCharge());
    }
    for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
      all.AddBond(
          atoms[bond.GetBegin()->GetIndex()], atoms[bond.GetEnd()->GetIndex()], bond.GetOrder());
    }
  }
  return all;
}

struct Bound {
  explicit Bound(int size) : mol(Molecule(size)), ff(QZForceFieldKind::MMFF94) {
    ff.Setup(mol);
    x.resize(ff.NumVar());
    mol.GetCoords(x.data());
    g.assign(x.size(), 0.0);
  }
  QZChem::QZGraphMol mol;
  QZStandardFF ff;
  std::vector<double> x;
  std::vector<double> g;
};

void BM_EnergyAndGradient(benchmark::State& state) {
  Bound b(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::fill(b.g.begin(), b.g.end(), 0.0);
    benchmark::DoNotOptimize(b.ff(b.x.data(), b.g.data()));
  }
  state.counters["atoms"] = static_cast<double>(b.mol.NumAtoms());
}
BENCHMARK(BM_EnergyAndGradient)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

void BM_EnergyAndGradientRDKit(benchmark::State& state) {
  auto mol = Molecule(static_cast<int>(state.range(0)));
  std::ostringstream text;
  {
    QZChem::qzmolostream out(text);
    QZChem::QZWriteMolecule(out, mol);
  }
  std::unique_ptr<RDKit::RWMol> rdkit(RDKit::MolBlockToMol(text.str(), true, false));
  std::unique_ptr<ForceFields::ForceField> field(
      RDKit::MMFF::constructForceField(*rdkit, 1000.0, -1, /*ignoreInterfragInteractions=*/false));
  field->initialize();
  std::vector<double> x(3 * std::size_t{mol.NumAtoms()});
  mol.GetCoords(x.data());
  std::vector<double> g(x.size());
  for (auto _ : state) {
    std::fill(g.begin(), g.end(), 0.0);
    benchmark::DoNotOptimize(field->calcEnergy(x.data()));
    field->calcGrad(x.data(), g.data());
  }
}
BENCHMARK(BM_EnergyAndGradientRDKit)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

// One term of imatinib.
void BM_Term(benchmark::State& state) {
  const auto mol = Molecule(kImatinib);
  QZForceFieldTerm term(QZForceFieldKind::MMFF94,
                        static_cast<QZForceFieldTermKind>(state.range(0)));
  term.Setup(mol);
  std::vector<double> x(term.NumVar());
  mol.GetCoords(x.data());
  std::vector<double> g(x.size());
  for (auto _ : state) benchmark::DoNotOptimize(term(x.data(), g.data()));
  state.SetLabel(std::string(term.GetName()) + " x" + std::to_string(term.NumContributions()));
}
BENCHMARK(BM_Term)->DenseRange(0, 6)->Unit(benchmark::kMicrosecond);

void BM_Hessian(benchmark::State& state) {
  Bound b(static_cast<int>(state.range(0)));
  std::vector<double> h(b.x.size() * (b.x.size() + 1) / 2);
  for (auto _ : state) {
    std::fill(h.begin(), h.end(), 0.0);
    benchmark::DoNotOptimize(b.ff(b.x.data(), h.data(), b.g.data()));
  }
}
BENCHMARK(BM_Hessian)->DenseRange(0, 1)->Unit(benchmark::kMicrosecond);

void BM_HessianByDifferences(benchmark::State& state) {
  Bound b(static_cast<int>(state.range(0)));
  std::vector<double> h(b.x.size() * (b.x.size() + 1) / 2);
  for (auto _ : state) {
    std::fill(h.begin(), h.end(), 0.0);
    benchmark::DoNotOptimize(QZOpt::NumericHessian(b.ff, b.x.data(), h.data(), 1e-4));
  }
}
BENCHMARK(BM_HessianByDifferences)->DenseRange(0, 1)->Unit(benchmark::kMicrosecond);

// Typing and parameters, on a molecule that was not perceived before: each is read anew, since what
// is perceived stays with a molecule and its copies.
void BM_FirstSetup(benchmark::State& state) {
  QZStandardFF ff(QZForceFieldKind::MMFF94);
  for (auto _ : state) {
    state.PauseTiming();
    const auto mol = Molecule(static_cast<int>(state.range(0)));
    state.ResumeTiming();
    benchmark::DoNotOptimize(ff.Setup(mol));
  }
}
BENCHMARK(BM_FirstSetup)->DenseRange(0, 1)->Unit(benchmark::kMicrosecond);

void BM_Setup(benchmark::State& state) {
  Bound b(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(b.ff.Setup(b.mol));
}
BENCHMARK(BM_Setup)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

// Half of the atoms fixed.
void BM_Freeze(benchmark::State& state) {
  Bound b(static_cast<int>(state.range(0)));
  std::vector<unsigned char> fixed(b.mol.AtomIndexBound());
  std::fill_n(fixed.begin(), fixed.size() / 2, 1);
  for (auto _ : state) benchmark::DoNotOptimize(b.ff.Freeze(fixed.data()));
}
BENCHMARK(BM_Freeze)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

}  // namespace
