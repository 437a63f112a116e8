// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Poses a second in a rigid or partly flexible host, set-up of each pose included:
//   bench_poses DIRECTORY [FLEXIBLE-DISTANCE]      with what make_poses.py wrote there
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "forcefields/forcefields.h"
#include "qzchem/qzchem.h"
#include "qzopt/optimizers.h"

namespace {

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

/// CPU time: the machine may be busy with other things.
double Seconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace QZMolPotential;
  if (argc < 2) return 1;
  const std::string directory = argv[1];
  const double flexible = argc > 2 ? std::atof(argv[2]) : 0.0;
  QZChem::qzmolistream hostFile((directory + "/host.sdf").c_str());
  QZChem::QZGraphMol host;
  if (!QZChem::QZReadMolecule(hostFile, host)) return 1;
  QZHostField field;
  const double begin = Seconds();
  if (!field.Setup(host)) return 1;
  std::printf("host: %u atoms, set up in %.2f s\n", host.NumAtoms(), Seconds() - begin);

  QZChem::qzmolistream poses((directory + "/poses.sdf").c_str());
  QZChem::QZGraphMol pose;
  std::vector<double> total, setup, evaluations, times;
  while (QZChem::QZReadMolecule(poses, pose)) {
    const double start = Seconds();
    QZChem::QZGraphMol mol =
        flexible > 0.0 ? field.Join(pose, field.FindNear(pose, flexible)) : pose;
    QZHostFunc func(field);
    if (!func.Setup(mol)) return 1;
    const double ready = Seconds();
    std::vector<double> x(func.NumVar());
    mol.GetCoords(x.data());
    QZOpt::QZOptOptions options;
    options.gradientTolerance = 1e-4;
    const auto before = func.GetEnergies(x.data());
    const auto result = QZOpt::QZMinimizer(options).Minimize(func, x.data());
    const double done = Seconds();
    const auto after = func.GetEnergies(x.data());
    std::vector<double> grad(x.size(), 0.0);
    const double once = Seconds();
    for (int i = 0; i < 20; ++i) func(x.data(), grad.data());
    times.push_back((Seconds() - once) / 20.0);
    std::printf(
        "%-8s %4zu variables %5u evaluations %8.2f ms  own %9.3f  interaction %9.3f -> %9.3f "
        "(%.3f vdW)  %s\n",
        pose.GetTitle(),
        x.size(),
        result.evaluations,
        1e3 * (done - start),
        after.ligand,
        before.Interaction(),
        after.Interaction(),
        after.vanDerWaals,
        result.converged ? "" : result.message.c_str());
    total.push_back(done - start);
    setup.push_back(ready - start);
    evaluations.push_back(result.evaluations);
  }
  std::printf("medians: %.1f poses/s, setup %.2f ms, %.0f evaluations, %.1f us an evaluation\n",
              1.0 / Median(total),
              1e3 * Median(setup),
              Median(evaluations),
              1e6 * Median(times));
  return 0;
}
