// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// The recipes of docs/cookbook.md, each between marks. The tests run this program.
#include <constr/constr.h>
#include <forcefields/forcefields.h>
#include <molpotential/molpotential.h>
#include <qzchem/qzchem.h>
#include <qzopt/optimizers.h>
#include <qzopt/scan.h>

#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

using QZMolPotential::QZCoordinateFunc;
using QZMolPotential::QZCoordinates;
using QZMolPotential::QZForceFieldKind;
using QZMolPotential::QZStandardFF;

namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

std::vector<double> CoordsOf(const QZChem::QZMolBase& mol) {
  std::vector<double> x(3 * mol.AtomIndexBound());
  mol.GetCoords(x.data());
  return x;
}

bool Read(const std::string& path, QZChem::QZGraphMol& mol) {
  //! [read]
  QZChem::qzmolistream in(path.c_str());  // the extension gives the format, also with .gz
  if (!in || !QZChem::QZReadMolecule(in, mol)) return false;
  //! [read]
  return true;
}

bool FromSmiles() {
  //! [smiles]
  QZChem::QZGraphMol mol;
  if (!QZChem::QZSmilesToMol(mol, "CC(=O)Oc1ccccc1C(=O)O")) return false;
  if (!QZChem::QZMakeCoordinates(mol)) return false;
  //! [smiles]
  return mol.NumAtoms() == 21;
}

bool Minimise(QZChem::QZGraphMol mol) {
  //! [minimise]
  QZStandardFF energy(QZForceFieldKind::MMFF94);
  if (!energy.Setup(mol)) return false;  // a Warning tells why
  std::vector<double> x = CoordsOf(mol);
  const QZOpt::QZOptResult result = QZOpt::QZMinimizer().Minimize(energy, x.data());
  mol.SetCoords(x.data());
  //! [minimise]
  return result.converged;
}

bool MinimiseInCoordinates(const QZChem::QZGraphMol& mol) {
  QZStandardFF energy(QZForceFieldKind::MMFF94);
  std::vector<double> x = CoordsOf(mol);
  const double fixedX = x[0];
  //! [coordinates]
  QZCoordinateFunc f(energy, /*own=*/false, QZCoordinates::ZMatrix);
  f.SetFixed(QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
      [](const QZChem::QZAtomBase& atom) { return atom.GetIndex() < 3; }));
  if (!f.Setup(mol)) return false;  // starts at the coordinates of the molecule
  std::vector<double> v(f.NumVar());
  f.GetVar(v.data(), x.data());
  QZOpt::QZMinimizer minimizer;
  minimizer.SetScales(f.GetScales());
  const QZOpt::QZOptResult result = minimizer.Minimize(f, v.data());
  f.AdaptVar(x.data(), v.data());  // back to Cartesian coordinates
  //! [coordinates]
  return result.converged && x[0] == fixedX;
}

bool Restrain(const QZChem::QZGraphMol& mol) {
  //! [restrain]
  QZStandardFF energy(QZForceFieldKind::MMFF94);
  QZConstr::QZHarmonicPotential carbons(/*kc=*/10.0, /*dc=*/0.2);  // kcal/mol/Å², Å
  carbons.Set(QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
                  [](const QZChem::QZAtomBase& atom) { return atom.GetAtomicNumber() == 6; }),
              QZMolPotential::QZCategoryPositional);
  QZMolPotential::QZExpressionFunc bias("k * (distance(0, 3) - 3.5)^2", {{"k", 20.0}});
  energy.Add(carbons, /*own=*/false);  // has no Hessian: own must be false
  energy.Add(bias, /*own=*/false);
  if (!energy.Setup(mol)) return false;
  //! [restrain]
  std::vector<double> x = CoordsOf(mol);
  return QZOpt::QZMinimizer().Minimize(energy, x.data()).converged;
}

bool Constrain(const QZChem::QZGraphMol& mol) {
  //! [constrain]
  QZStandardFF energy(QZForceFieldKind::MMFF94);
  QZMolPotential::QZDihedralAngleConstr torsion(0, 1, 2, 3);
  torsion.SetTarget(60.0 * kDegree);
  if (!energy.Setup(mol) || !torsion.Setup(mol)) return false;
  QZOpt::QZConstrainedMinimizer minimizer;
  minimizer.AddConstraint(torsion);
  std::vector<double> x = CoordsOf(mol);
  const QZOpt::QZOptResult result = minimizer.Minimize(energy, x.data());
  const double slope = minimizer.GetMultipliers()[0];  // dE/dφ, kcal/mol/rad
  //! [constrain]
  return result.converged && std::isfinite(slope);
}

bool Scan(const QZChem::QZGraphMol& mol) {
  QZStandardFF energy(QZForceFieldKind::MMFF94);
  QZMolPotential::QZDihedralAngleConstr torsion(0, 1, 2, 3);
  if (!energy.Setup(mol) || !torsion.Setup(mol)) return false;
  const std::vector<double> x = CoordsOf(mol);
  //! [scan]
  QZOpt::QZRelaxedScan scan;
  scan.Drive(torsion,
             [&torsion](double phi) { torsion.SetTarget(phi); },
             {-180.0 * kDegree, -120.0 * kDegree, -60.0 * kDegree, 0.0});
  const std::vector<QZOpt::QZScanPoint> points = scan.Run(energy, x.data());
  for (const auto& point : points) {
    std::printf("%7.1f %9.4f kcal/mol\n", point.targets[0] / kDegree, point.energy);
  }
  //! [scan]
  return points.size() == 4 && points.front().energy < points.back().energy;
}

bool Vibrate(const QZChem::QZGraphMol& mol) {
  QZStandardFF energy(QZForceFieldKind::MMFF94);
  std::vector<double> x = CoordsOf(mol);
  if (!energy.Setup(mol) || !QZOpt::QZMinimizer().Minimize(energy, x.data()).converged)
    return false;
  //! [modes]
  const auto modes = QZMolPotential::QZComputeNormalModes(energy, mol, x.data());
  if (!modes.valid) std::printf("%s\n", modes.message.c_str());
  //! [modes]
  return modes.valid && modes.numImaginary == 0 && modes.zeroPointEnergy > 0.0;
}

bool Check(const QZChem::QZGraphMol& mol) {
  QZStandardFF energy(QZForceFieldKind::UFF);
  if (!energy.Setup(mol)) return false;
  const std::vector<double> x = CoordsOf(mol);
  //! [check]
  const auto errors = QZMolPotential::QZCheckFunc().Check(energy, x.data());
  //! [check]
  return errors.Passes(1e-5);
}

}  // namespace

int main() {
  QZChem::QZGraphMol butane;
  const bool done[] = {Read("data/butane.sdf", butane),
                       FromSmiles(),
                       Minimise(butane),
                       MinimiseInCoordinates(butane),
                       Restrain(butane),
                       Constrain(butane),
                       Scan(butane),
                       Vibrate(butane),
                       Check(butane)};
  int failed = 0;
  for (const bool isDone : done) failed += isDone ? 0 : 1;
  std::printf("%d recipes failed\n", failed);
  return failed;
}
