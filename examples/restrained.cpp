// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <constr/constr.h>
#include <forcefields/forcefields.h>
#include <molpotential/molpotential.h>
#include <qzchem/qzchem.h>
#include <qzopt/optimizers.h>

#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
  QZChem::qzmolistream in(argc > 1 ? argv[1] : "data/aspirin.sdf");
  QZChem::QZGraphMol mol;
  if (!QZChem::QZReadMolecule(in, mol)) return 1;
  QZMolPotential::QZStandardFF energy(QZMolPotential::QZForceFieldKind::MMFF94);
  QZConstr::QZHarmonicPotential restraint(/*kc=*/5.0, /*dc=*/0.3);  // kcal/mol/Å², Å
  energy.Add(restraint, /*own=*/false);
  if (!energy.Setup(mol)) return 1;
  std::vector<double> x(energy.NumVar());
  mol.GetCoords(x.data());
  const auto result = QZOpt::QZMinimizer().Minimize(energy, x.data());
  std::printf("%s: %.3f kcal/mol, %s\n", mol.GetTitle(), result.energy, result.message.c_str());
  return result.converged ? 0 : 1;
}
