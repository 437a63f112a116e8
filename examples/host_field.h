// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// An energy function of one's own: a molecule in the field of a host that does not move.
#pragma once

#include <molpotential/molpotential.h>
#include <qzchem/qzchem.h>

#include <cmath>
#include <vector>

inline constexpr double kDepth = 0.07, kSigma = 3.4, kCutoff = 9.0;  // kcal/mol, Å, Å

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
