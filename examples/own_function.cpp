// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// A function of one's own: every atom is drawn to the plane z = 0. It is checked against finite
// differences, added to a force field and minimised.
#include <forcefields/forcefields.h>
#include <molpotential/molpotential.h>
#include <qzchem/qzchem.h>
#include <qzopt/optimizers.h>

#include <cstdio>
#include <vector>

// E = k sum z²     k in kcal/mol/Å²
struct Plane final : QZMolPotential::QZMolFunc1 {
  explicit Plane(double strength) : k(strength) {}
  bool Setup(const QZChem::QZMolBase& mol) override { return (n = 3 * mol.AtomIndexBound()) > 0; }
  unsigned int NumVar() const override { return n; }
  using QZMolFunc1::operator();
  double operator()(const double* x) override {
    double energy = 0.0;
    for (unsigned int i = 2; i < n; i += 3) energy += k * x[i] * x[i];
    return energy;
  }
  double operator()(const double* x, double* grad) override {
    for (unsigned int i = 2; i < n; i += 3) grad[i] += 2.0 * k * x[i];  // added to
    return (*this)(x);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"Plane", x ? (*this)(x) : 0.0}});
  }
  Plane* CreateCopy() const override { return new Plane(*this); }

  double k;
  unsigned int n = 0;
};

int main(int argc, char** argv) {
  QZChem::qzmolistream in(argc > 1 ? argv[1] : "data/caffeine.sdf");
  QZChem::QZGraphMol mol;
  if (!QZChem::QZReadMolecule(in, mol)) return 1;
  QZMolPotential::QZStandardFF energy(QZMolPotential::QZForceFieldKind::MMFF94);
  Plane plane(1.0);
  energy.Add(plane, /*own=*/false);
  if (!energy.Setup(mol)) return 1;
  std::vector<double> x(energy.NumVar());
  mol.GetCoords(x.data());
  QZMolPotential::QZCheckFunc checker;
  checker.SetLength(energy.NumVar());
  if (!checker.Check(plane, x.data()).Passes(1e-6)) return 1;
  const auto result = QZOpt::QZMinimizer().Minimize(energy, x.data());
  std::printf("%.3f kcal/mol, of which the plane %.3f\n", result.energy, plane(x.data()));
  return result.converged ? 0 : 1;
}
