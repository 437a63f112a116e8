// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <constr/constr.h>
#include <forcefields/forcefields.h>
#include <molpotential/molpotential.h>
#include <qzchem/qzchem.h>
#include <qzopt/optimizers.h>
#include <qzopt/qzopt.h>
#include <qzplatform/qzplatform.h>
#include <qzsystem/qzsystem.h>

#include <cmath>
#include <cstdio>
#include <vector>

// Two waters, one hydrogen bond pulled to 1.9 Å: force field, penalty, sum and minimiser as an
// installed library offers them.
int main() {
  QZChem::QZGraphMol mol;
  for (const double x : {0.0, 3.4}) {
    auto* o = mol.AddAtom(8, x, 0.0, 0.0);
    mol.AddBond(o, mol.AddAtom(1, x + 0.96, 0.0, 0.0));
    mol.AddBond(o, mol.AddAtom(1, x - 0.24, 0.93, 0.1));
  }
  QZMolPotential::QZStandardFF energy(QZMolPotential::QZForceFieldKind::MMFF94);
  QZConstr::QZDistanceQuadPenalty pull(*mol.GetAtom(1), *mol.GetAtom(3), 1.9, 500.0);
  energy.Add(pull, /*own=*/false);
  if (!energy.Setup(mol)) return 1;

  std::vector<double> x(energy.NumVar());
  mol.GetCoords(x.data());
  const QZOpt::QZOptResult result = QZOpt::QZMinimizer().Minimize(energy, x.data());
  mol.SetCoords(x.data());
  const double distance = QZChem::QZGetDistance(mol, mol.GetAtom(1), mol.GetAtom(3));
  std::printf("%s: %.4f kcal/mol after %u iterations, H...O %.3f Å\n",
              result.message.c_str(),
              result.energy,
              result.iterations,
              distance);
  if (QZPlatform::QZNumRegisteredVersions() < 3) return 2;
  return result.converged && std::abs(distance - 1.9) < 0.02 ? 0 : 3;
}
