// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Minimises every molecule of SD files (`choose_molecules.py` writes them) with MMFF94 in Cartesian
// and in internal coordinates. Prints a line for every run that does not converge, and a table.
//     straight_and_frozen FILE.sdf... [--verbose]
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "forcefields/standard.h"
#include "molpotential/molpotential.h"
#include "qzchem/qzchem.h"
#include "qzopt/optimizers.h"

namespace {

using QZMolPotential::QZCoordinates;
using Values = std::vector<double>;

struct Tally {
  unsigned int runs = 0;
  unsigned int converged = 0;
  unsigned int inOtherVariables = 0;
  unsigned int lower = 0;
  unsigned int higher = 0;
  unsigned int moved = 0;
  std::vector<unsigned int> evaluations;
};

struct Outcome {
  QZOpt::QZOptResult result;
  double fixedMoved = 0.0;
};

Outcome minimize(const QZChem::QZGraphMol& mol, QZCoordinates kind) {
  QZMolPotential::QZStandardFF field(QZMolPotential::QZForceFieldKind::MMFF94);
  QZMolPotential::QZCoordinateFunc function(field, /*own=*/false, kind);
  std::set<unsigned int> fixed;
  std::istringstream numbers(QZChem::QZGetSDData(mol, "fixed"));
  for (unsigned int atom = 0; numbers >> atom;) fixed.insert(atom);
  if (!fixed.empty()) {
    function.SetFixed(QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
        [fixed](const QZChem::QZAtomBase& atom) { return fixed.contains(atom.GetIndex()); }));
  }
  Values start(3 * std::size_t{mol.AtomIndexBound()});
  mol.GetCoords(start.data());
  Outcome outcome;
  if (!function.Setup(mol) || !function.SetupConf(start.data())) {
    outcome.result.message = "setup failed";
    return outcome;
  }
  Values v(function.NumVar());
  function.GetVar(v.data(), start.data());
  QZOpt::QZMinimizer minimizer;
  minimizer.SetScales(function.GetScales());
  outcome.result = minimizer.Minimize(function, v.data());
  Values x(start.size());
  function.AdaptVar(x.data(), v.data());
  for (const unsigned int atom : fixed) {
    for (std::size_t k = 3 * atom; k < 3 * atom + 3; ++k) {
      outcome.fixedMoved = std::max(outcome.fixedMoved, std::abs(x[k] - start[k]));
    }
  }
  return outcome;
}

void runFile(const char* path, bool verbose) {
  constexpr QZCoordinates kKinds[] = {
      QZCoordinates::Cartesian, QZCoordinates::Redundant, QZCoordinates::Internal};
  std::map<QZCoordinates, Tally> tallies;
  QZChem::qzmolistream in(path);
  QZChem::QZGraphMol mol;
  while (QZChem::QZReadMolecule(in, mol)) {
    double cartesian = 0.0;
    for (const QZCoordinates kind : kKinds) {
      const auto [r, moved] = minimize(mol, kind);
      if (kind == QZCoordinates::Cartesian) cartesian = r.energy;
      Tally& t = tallies[kind];
      ++t.runs;
      t.converged += r.converged ? 1 : 0;
      t.moved += moved != 0.0 ? 1 : 0;
      const bool other = r.message.find("Cartesian") != std::string::npos;
      t.inOtherVariables += other ? 1 : 0;
      t.lower += r.energy < cartesian - 0.01 ? 1 : 0;
      t.higher += r.energy > cartesian + 0.01 ? 1 : 0;
      t.evaluations.push_back(r.evaluations);
      if (verbose || !r.converged || other) {
        std::printf("%-10s %5u %14.5f %14.5f %8.1e  %s: %s\n",
                    QZGetCoordinatesName(kind),
                    r.evaluations,
                    r.energy,
                    cartesian,
                    r.gradientNorm,
                    mol.GetTitle(),
                    r.message.c_str());
        std::fflush(stdout);
      }
    }
  }
  std::printf(
      "%s\n| | runs | converged | of these in Cartesian at last | evaluations: median | 95 %% | "
      "sum "
      "| lower / higher by 0.01 | fixed atoms moved |\n|---|---|---|---|---|---|---|---|---|\n",
      path);
  for (const QZCoordinates kind : kKinds) {
    Tally& t = tallies[kind];
    if (t.runs == 0) continue;
    std::ranges::sort(t.evaluations);
    unsigned long sum = 0;
    for (const unsigned int e : t.evaluations) sum += e;
    std::printf("| %s | %u | %u | %u | %u | %u | %lu | %u / %u | %u |\n",
                QZGetCoordinatesName(kind),
                t.runs,
                t.converged,
                t.inOtherVariables,
                t.evaluations[t.evaluations.size() / 2],
                t.evaluations[t.evaluations.size() * 95 / 100],
                sum,
                t.lower,
                t.higher,
                t.moved);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool verbose = std::any_of(
      argv + 1, argv + argc, [](const char* a) { return std::strcmp(a, "--verbose") == 0; });
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] != '-') runFile(argv[i], verbose);
  }
}
