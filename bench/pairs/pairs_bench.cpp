// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Non-bonded terms of MMFF94 with RDKit's as the peer, which computes its energy before its
// gradient since the gradient reuses the distances.
#include <ForceField/ForceField.h>
#include <GraphMol/FileParsers/MolSupplier.h>
#include <GraphMol/ForceFieldHelpers/MMFF/AtomTyper.h>
#include <GraphMol/ForceFieldHelpers/MMFF/Builder.h>
#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>
#include <benchmark/benchmark.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "pairs/evaluator.h"

namespace {

using QZMolPotential::PairEvaluator;
using QZMolPotential::PairInput;
using QZMolPotential::PairTerms;

/// A molecule, or copies of it side by side, as RDKit and as our loops see them.
struct Subject {
  std::unique_ptr<RDKit::RWMol> mol;
  std::unique_ptr<RDKit::MMFF::MMFFMolProperties> properties;
  PairInput input;
  std::vector<double> x;
};

void AddSeparations(const RDKit::ROMol& mol, PairInput& input) {
  for (const RDKit::Atom* atom : mol.atoms()) {
    const unsigned int i = atom->getIdx();
    for (const RDKit::Atom* second : mol.atomNeighbors(atom)) {
      const unsigned int j = second->getIdx();
      input.excluded.push_back({i, j});
      for (const RDKit::Atom* third : mol.atomNeighbors(second)) {
        const unsigned int k = third->getIdx();
        if (k == i) continue;
        input.excluded.push_back({i, k});
        for (const RDKit::Atom* fourth : mol.atomNeighbors(third)) {
          const unsigned int l = fourth->getIdx();
          if (l != j && l != i) input.oneFour.push_back({i, l});
        }
      }
    }
  }
}

Subject Read(const std::string& name, unsigned int copies) {
  RDKit::SDMolSupplier supplier(std::string(MOLPOTENTIAL_DATA_DIR) + "/" + name, true, false);
  Subject subject;
  const std::unique_ptr<RDKit::ROMol> single(supplier.next());
  subject.mol = std::make_unique<RDKit::RWMol>(*single);
  const auto side = static_cast<unsigned int>(std::ceil(std::cbrt(copies)));
  for (unsigned int c = 1; c < copies; ++c) {
    subject.mol->insertMol(*single);
  }
  if (copies > 1) {
    RDKit::MolOps::sanitizeMol(*subject.mol);
    auto& positions = subject.mol->getConformer().getPositions();
    const unsigned int n = single->getNumAtoms();
    for (unsigned int c = 1; c < copies; ++c) {
      for (unsigned int i = 0; i < n; ++i) {
        positions[c * n + i] =
            single->getConformer().getAtomPos(i) +
            RDGeom::Point3D(16.0 * (c % side), 16.0 * (c / side % side), 16.0 * (c / side / side));
      }
    }
  }
  subject.properties = std::make_unique<RDKit::MMFF::MMFFMolProperties>(*subject.mol);
  PairInput& input = subject.input;
  const unsigned int n = subject.mol->getNumAtoms();
  input.indexBound = n;
  std::map<unsigned int, std::uint16_t> types;
  std::vector<unsigned int> representatives;
  for (unsigned int i = 0; i < n; ++i) {
    input.atoms.push_back(i);
    const auto [place, added] = types.emplace(subject.properties->getMMFFAtomType(i),
                                              static_cast<std::uint16_t>(types.size()));
    if (added) representatives.push_back(i);
    input.types.push_back(place->second);
    input.charges.push_back(subject.properties->getMMFFPartialCharge(i));
    const RDGeom::Point3D& p = subject.mol->getConformer().getAtomPos(i);
    subject.x.insert(subject.x.end(), {p.x, p.y, p.z});
  }
  input.numTypes = types.size();
  for (const unsigned int i : representatives) {
    for (const unsigned int j : representatives) {
      ForceFields::MMFF::MMFFVdWRijstarEps p;
      subject.properties->getMMFFVdWParams(i, j, p);
      input.table.push_back({p.R_ij_star, p.epsilon});
    }
  }
  AddSeparations(*subject.mol, input);
  return subject;
}

const Subject& Get(int which) {
  static std::map<int, Subject> subjects;
  auto found = subjects.find(which);
  if (found == subjects.end()) {
    const char* const files[] = {"imatinib.sdf", "decapeptide.sdf", "decapeptide.sdf"};
    const unsigned int copies = which < 2 ? 1 : static_cast<unsigned int>(which);
    found = subjects.emplace(which, Read(files[std::min(which, 2)], copies)).first;
  }
  return found->second;
}

std::unique_ptr<ForceFields::ForceField> MakeRDKit(const Subject& subject) {
  auto& p = *subject.properties;
  p.setMMFFBondTerm(false);
  p.setMMFFAngleTerm(false);
  p.setMMFFStretchBendTerm(false);
  p.setMMFFOopTerm(false);
  p.setMMFFTorsionTerm(false);
  std::unique_ptr<ForceFields::ForceField> field(RDKit::MMFF::constructForceField(
      *subject.mol, &p, /*nonBondedThresh=*/1e4, -1, /*ignoreInterfragInteractions=*/false));
  field->initialize();
  return field;
}

void Report(benchmark::State& state, const PairEvaluator& evaluator) {
  state.counters["atoms"] = static_cast<double>(evaluator.Input().NumAtoms());
  state.counters["pairs"] = static_cast<double>(evaluator.NumPairs({true, false}));
}

void UseTarget(std::int64_t target) {
  hwy::SetSupportedTargetsForTest(target);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

/// Energy and gradient of both terms; the second argument is the instruction set, 0 the best one.
void Gradient(benchmark::State& state) {
  constexpr std::int64_t kTargets[] = {0, HWY_EMU128, HWY_SSSE3, HWY_AVX2, HWY_AVX3};
  const Subject& subject = Get(static_cast<int>(state.range(0)));
  const std::int64_t target = kTargets[state.range(1)];
  if (target != 0 && (hwy::SupportedTargets() & target) == 0) {
    state.SkipWithError("not on this processor");
    return;
  }
  UseTarget(target);
  PairEvaluator evaluator(subject.input);
  std::vector<double> grad(subject.x.size());
  // The peer must be the same function.
  const auto field = MakeRDKit(subject);
  std::vector<double> coords = subject.x;
  const double expected = field->calcEnergy(coords.data());
  const double energy = evaluator.Gradient(coords.data(), {}, grad.data()).Sum();
  if (!(std::abs(energy - expected) <= 1e-9 * std::abs(expected))) {
    state.SkipWithError("differs from RDKit");
    return;
  }
  for (auto _ : state) {
    std::ranges::fill(grad, 0.0);
    benchmark::DoNotOptimize(evaluator.Gradient(coords.data(), {}, grad.data()));
  }
  Report(state, evaluator);
  UseTarget(0);
}
BENCHMARK(Gradient)->ArgsProduct({{0, 1, 11}, {0, 1, 2, 3, 4}});

void GradientRDKit(benchmark::State& state) {
  const Subject& subject = Get(static_cast<int>(state.range(0)));
  const auto field = MakeRDKit(subject);
  std::vector<double> coords = subject.x;
  std::vector<double> grad(coords.size());
  for (auto _ : state) {
    std::ranges::fill(grad, 0.0);
    benchmark::DoNotOptimize(field->calcEnergy(coords.data()));
    field->calcGrad(coords.data(), grad.data());
  }
}
BENCHMARK(GradientRDKit)->Arg(0)->Arg(1)->Arg(11);

void Hessian(benchmark::State& state) {
  const Subject& subject = Get(static_cast<int>(state.range(0)));
  PairEvaluator evaluator(subject.input);
  const std::size_t n = subject.x.size();
  std::vector<double> grad(n);
  std::vector<double> hessian(n * (n + 1) / 2);
  for (auto _ : state) {
    std::ranges::fill(grad, 0.0);
    std::ranges::fill(hessian, 0.0);
    evaluator.Hessian(subject.x.data(), {}, hessian.data(), grad.data());
    benchmark::ClobberMemory();
  }
  Report(state, evaluator);
}
BENCHMARK(Hessian)->Arg(0)->Arg(1);

/// A cutoff of 10 Å: cost by the number of atoms (copies of the decapeptide).
void Cutoff(benchmark::State& state) {
  const Subject& subject = Get(static_cast<int>(state.range(0)));
  PairInput input = subject.input;
  input.cutoff = {10.0, 2.0, 1.0};
  PairEvaluator evaluator(input);
  std::vector<double> grad(subject.x.size());
  for (auto _ : state) {
    std::ranges::fill(grad, 0.0);
    benchmark::DoNotOptimize(evaluator.Gradient(subject.x.data(), {}, grad.data()));
  }
  Report(state, evaluator);
}
BENCHMARK(Cutoff)->Arg(11)->Arg(22)->Arg(44)->Arg(88);

/// The same when neighbours are listed anew every time.
void Listing(benchmark::State& state) {
  const Subject& subject = Get(static_cast<int>(state.range(0)));
  PairInput input = subject.input;
  input.cutoff = {10.0, 2.0, 1.0};
  PairEvaluator evaluator(input);
  std::vector<double> grad(subject.x.size());
  std::vector<double> x = subject.x;
  for (auto _ : state) {
    state.PauseTiming();
    for (double& value : x) value += 1.1;
    std::ranges::fill(grad, 0.0);
    state.ResumeTiming();
    benchmark::DoNotOptimize(evaluator.Gradient(x.data(), {}, grad.data()));
  }
  Report(state, evaluator);
}
BENCHMARK(Listing)->Arg(11)->Arg(22)->Arg(44)->Arg(88);

/// Some 50 free atoms in a host: the first argument tells whether the host is whole (10,000 atoms)
/// or cut to what is within 14 Å of them.
void FreeAtomsInHost(benchmark::State& state) {
  const Subject& subject = Get(67);
  PairInput input = subject.input;
  input.cutoff = {10.0, 2.0, 1.0};
  const std::size_t first = input.NumAtoms() / 2;
  input.mobile.assign(input.NumAtoms(), 0);
  std::fill_n(input.mobile.begin() + static_cast<std::ptrdiff_t>(first), 50, std::uint8_t{1});
  std::vector<double> x = subject.x;
  if (state.range(0) == 0) {
    std::vector<std::uint8_t> near(input.NumAtoms(), 0);
    for (std::size_t i = 0; i < near.size(); ++i) {
      for (std::size_t j = first; j < first + 50; ++j) {
        double square = 0.0;
        for (std::size_t k = 0; k < 3; ++k) square += std::pow(x[3 * i + k] - x[3 * j + k], 2);
        if (square < 14.0 * 14.0) near[i] = 1;
      }
    }
    PairInput cut = input;
    cut.atoms.clear();
    cut.types.clear();
    cut.charges.clear();
    cut.mobile.clear();
    cut.excluded.clear();
    cut.oneFour.clear();
    std::vector<unsigned int> number(near.size(), 0);
    std::vector<double> xCut;
    for (std::size_t i = 0; i < near.size(); ++i) {
      if (near[i] == 0) continue;
      number[i] = static_cast<unsigned int>(cut.atoms.size());
      cut.atoms.push_back(number[i]);
      cut.types.push_back(input.types[i]);
      cut.charges.push_back(input.charges[i]);
      cut.mobile.push_back(input.mobile[i]);
      xCut.insert(xCut.end(), &x[3 * i], &x[3 * i] + 3);
    }
    cut.indexBound = static_cast<unsigned int>(cut.atoms.size());
    for (auto [from, to] :
         {std::pair{&input.excluded, &cut.excluded}, std::pair{&input.oneFour, &cut.oneFour}}) {
      for (const auto& [a, b] : *from) {
        if (near[a] && near[b]) to->push_back({number[a], number[b]});
      }
    }
    input = cut;
    x = xCut;
  }
  PairEvaluator evaluator(input);
  std::vector<double> grad(x.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(evaluator.Gradient(x.data(), {}, grad.data()));
  }
  Report(state, evaluator);
}
BENCHMARK(FreeAtomsInHost)->Arg(0)->Arg(1);

}  // namespace
