// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// A rigid ring of carbons is pulled from the mouth of a tube of carbons into its middle.
#include <qzopt/optimizers.h>

#include <cmath>
#include <cstdio>
#include <numbers>
#include <vector>

#include "host_field.h"

void AddRing(QZChem::QZGraphMol& mol, int size, double radius, double z) {
  for (int i = 0; i < size; ++i) {
    const double phi = 2.0 * std::numbers::pi * i / size;
    mol.AddAtom(6, radius * std::cos(phi), radius * std::sin(phi), z);
  }
}

int main() {
  QZChem::QZGraphMol host, region, ligand;
  for (int ring = -3; ring <= 3; ++ring) AddRing(host, 20, 5.0, 1.3 * ring);
  for (double side : {-1.0, 1.0}) region.AddAtom(0, 6.0 * side, 6.0 * side, 9.0 * side);
  AddRing(ligand, 6, 1.4, 6.5);
  std::vector<double> coords(3 * ligand.AtomIndexBound());
  ligand.GetCoords(coords.data());

  HostField field(host, region);
  QZMolPotential::QZQuatAdaptor body(field, /*own=*/false, /*restrictInteractions=*/false);
  if (!body.Setup(ligand) || !body.SetupConf(coords.data())) return 1;
  double x[7] = {};
  body.GetVar(x, coords.data());
  x[1] = 0.3;  // tilted, and off the axis
  x[4] = 0.8;
  const double start = body(x);
  const auto result = QZOpt::QZMinimizer().Minimize(body, x);
  body.AdaptVar(coords.data(), x);
  ligand.SetCoords(coords.data());
  std::printf("%.3f -> %.3f kcal/mol at z = %.1f\n", start, result.energy, std::abs(x[6]));
  return result.converged && result.energy < start && std::abs(x[6]) < 0.5 ? 0 : 1;
}
