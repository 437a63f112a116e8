// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// An adaptor of one's own: a molecule as one body that only shifts, pulled by a restraint.
#include <constr/constr.h>
#include <molpotential/forwarding.h>
#include <molpotential/molpotential.h>
#include <qzchem/qzchem.h>
#include <qzopt/optimizers.h>

#include <cstdio>
#include <vector>

// x = x_start + shift, so that the gradient of the shift is the sum over all atoms.
struct Shift final : QZMolPotential::QZForwardingAdaptor<QZMolPotential::QZMolAdaptor> {
  explicit Shift(QZMolPotential::QZMolFunc1& f) : QZForwardingAdaptor(f, /*own=*/false) {}
  bool Setup(const QZChem::QZMolBase& mol) override {
    start.resize(3 * mol.AtomIndexBound());
    mol.GetCoords(start.data());
    coords = slope = start;
    return wrapped_->Setup(mol);
  }
  unsigned int NumVar() const override { return 3; }
  using QZMolPotential::QZMolAdaptor::GetVar;
  const double* GetVar(const double* funcVars) override {
    for (unsigned int k = 0; k < 3; ++k) shift[k] = funcVars[k] - start[k];
    return shift;
  }
  bool AdaptVar(double* funcVars, const double* vars) const override {
    for (std::size_t i = 0; i < start.size(); ++i) funcVars[i] = start[i] + vars[i % 3];
    return true;
  }
  using QZForwardingAdaptor::operator();
  double operator()(const double* vars) override {
    AdaptVar(coords.data(), vars);
    return (*wrapped_)(coords.data());
  }
  double operator()(const double* vars, double* grad) override {
    AdaptVar(coords.data(), vars);
    slope.assign(slope.size(), 0.0);
    const double energy = (*wrapped_)(coords.data(), slope.data());
    for (std::size_t i = 0; i < slope.size(); ++i) grad[i % 3] += slope[i];
    return energy;
  }
  std::vector<double> start, coords, slope;
  double shift[3] = {};
};

int main() {
  QZChem::qzmolistream in("data/aspirin.sdf");
  QZChem::QZGraphMol mol;
  if (!QZChem::QZReadMolecule(in, mol)) return 1;
  QZConstr::QZTetherRestraint tether(/*k=*/10.0);
  tether.AddTarget(0, 5.0, 0.0, 0.0);
  Shift body(tether);
  double v[3] = {};
  const bool moved = body.Setup(mol) && QZOpt::QZMinimizer().Minimize(body, v).converged;
  std::printf("the body moved by %.2f %.2f %.2f Å\n", v[0], v[1], v[2]);
  return moved && body(v) < 1e-6 ? 0 : 1;
}
