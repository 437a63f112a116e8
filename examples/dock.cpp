// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// A rigid ring of carbons is pulled from the mouth of a tube of carbons into its middle.
#include <molpotential/molpotential.h>
#include <qzchem/qzchem.h>
#include <qzopt/optimizers.h>

#include <cmath>
#include <cstdio>
#include <numbers>
#include <vector>

constexpr double kDepth = 0.07, kSigma = 3.4, kCutoff = 9.0;  // kcal/mol, Å, Å

// 12-6 interaction with the host atoms near each atom of the ligand, smooth at the cutoff:
//   E = sum 4 depth (t² - t) u²,   t = (sigma / r)⁶,   u = 1 - (r / cutoff)²
struct HostField final : QZMolPotential::QZMolFunc1 {
  HostField(const QZChem::QZMolBase& hosts, const QZChem::QZMolBase& region)
      : host(3 * hosts.AtomIndexBound()) {
    hosts.GetCoords(host.data());
    grid.Init(hosts, region, kCutoff);
  }
  bool Setup(const QZChem::QZMolBase& mol) override { return (n = 3 * mol.NumAtoms()) > 0; }
  unsigned int NumVar() const override { return n; }
  double operator()(const double* x) override { return (*this)(x, std::vector<double>(n).data()); }
  double operator()(const double* x, double* grad) override {
    double energy = 0.0;
    for (unsigned int i = 0; i < n; i += 3) {
      for (unsigned int j : grid.GetHostAtoms(x + i)) {
        const double* h = &host[3 * j];
        const double r = std::hypot(x[i] - h[0], x[i + 1] - h[1], x[i + 2] - h[2]);
        const double u = std::fmax(0.0, 1.0 - r * r / (kCutoff * kCutoff));
        const double t = std::pow(kSigma / r, 6);
        const double pair = 4.0 * kDepth * (t * t - t);
        const double slope = 24.0 * kDepth * (t - 2.0 * t * t) / (r * r);  // pair'/r
        energy += pair * u * u;
        for (unsigned int k = 0; k < 3; ++k) {
          grad[i + k] += (slope * u - 4.0 * pair / (kCutoff * kCutoff)) * u * (x[i + k] - h[k]);
        }
      }
    }
    return energy;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"host", (*this)(x)}});
  }
  HostField* CreateCopy() const override { return new HostField(*this); }

  std::vector<double> host;
  QZMolPotential::QZNearNbrGrid grid;
  unsigned int n = 0;
};

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
