// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "support/molecules.h"

#include <array>
#include <cmath>
#include <numbers>

namespace TestSupport {
namespace {

using Vec = std::array<double, 3>;

Vec Sub(const Vec& a, const Vec& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
Vec Cross(const Vec& a, const Vec& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
Vec Unit(const Vec& a) {
  const double r = std::hypot(a[0], a[1], a[2]);
  return {a[0] / r, a[1] / r, a[2] / r};
}

// The point at distance r from c, angle theta (c-b) and dihedral phi (c-b-a), angles in degrees.
Vec Place(const Vec& a, const Vec& b, const Vec& c, double r, double theta, double phi) {
  theta *= std::numbers::pi / 180.0;
  phi *= std::numbers::pi / 180.0;
  const Vec axis = Unit(Sub(c, b));
  const Vec normal = Unit(Cross(Sub(b, a), axis));
  const Vec inPlane = Cross(normal, axis);
  Vec p{};
  for (std::size_t k = 0; k < 3; ++k) {
    p[k] = c[k] + r * (-std::cos(theta) * axis[k] + std::sin(theta) * std::cos(phi) * inPlane[k] +
                       std::sin(theta) * std::sin(phi) * normal[k]);
  }
  return p;
}

QZChem::QZAtomBase* Add(QZChem::QZGraphMol& mol, unsigned int element, const Vec& p) {
  return mol.AddAtom(element, p[0], p[1], p[2]);
}

void AddWater(QZChem::QZGraphMol& mol, double x) {
  auto* o = mol.AddAtom(8, x, 0.0, 0.0);
  auto* h1 = mol.AddAtom(1, x + 0.586, 0.757, 0.0);
  auto* h2 = mol.AddAtom(1, x + 0.586, -0.757, 0.1);
  mol.AddBond(o, h1);
  mol.AddBond(o, h2);
}

}  // namespace

QZChem::QZGraphMol Water() {
  QZChem::QZGraphMol mol;
  AddWater(mol, 0.0);
  mol.SetTitle("water");
  return mol;
}

QZChem::QZGraphMol WaterDimer() {
  QZChem::QZGraphMol mol;
  AddWater(mol, 0.0);
  AddWater(mol, 3.0);
  mol.SetTitle("water dimer");
  return mol;
}

QZChem::QZGraphMol CarbonChain(unsigned int n) {
  QZChem::QZGraphMol mol(n);
  const double half = 56.0 * std::numbers::pi / 180.0;
  QZChem::QZAtomBase* previous = nullptr;
  for (unsigned int i = 0; i < n; ++i) {
    auto* atom =
        mol.AddAtom(6, 1.53 * std::sin(half) * i, (i % 2) * 1.53 * std::cos(half), 0.05 * i);
    if (previous != nullptr) mol.AddBond(previous, atom);
    previous = atom;
  }
  mol.SetTitle("chain");
  return mol;
}

QZChem::QZGraphMol Butane() {
  const Vec c1{0.0, 0.0, 0.0};
  const Vec c2{1.53, 0.0, 0.0};
  const Vec c3 = Place({0.0, 1.0, 0.0}, c1, c2, 1.53, 112.0, 180.0);
  const Vec c4 = Place(c1, c2, c3, 1.53, 112.0, 65.0);
  QZChem::QZGraphMol mol;
  auto* a1 = Add(mol, 6, c1);
  auto* a2 = Add(mol, 6, c2);
  auto* a3 = Add(mol, 6, c3);
  auto* a4 = Add(mol, 6, c4);
  mol.AddBond(a1, a2);
  mol.AddBond(a2, a3);
  mol.AddBond(a3, a4);
  for (double phi : {60.0, 180.0, 300.0}) {
    mol.AddBond(a1, Add(mol, 1, Place(c3, c2, c1, 1.09, 110.0, phi)));
  }
  for (double phi : {120.0, 240.0})
    mol.AddBond(a2, Add(mol, 1, Place(c4, c3, c2, 1.09, 110.0, phi + 65.0)));
  for (double phi : {120.0, 240.0})
    mol.AddBond(a3, Add(mol, 1, Place(c1, c2, c3, 1.09, 110.0, phi + 65.0)));
  for (double phi : {60.0, 180.0, 300.0}) {
    mol.AddBond(a4, Add(mol, 1, Place(c2, c3, c4, 1.09, 110.0, phi)));
  }
  mol.SetTitle("butane");
  return mol;
}

QZChem::QZGraphMol LinearChain(unsigned int n, double spacing) {
  QZChem::QZGraphMol mol(n);
  QZChem::QZAtomBase* previous = nullptr;
  for (unsigned int i = 0; i < n; ++i) {
    auto* atom = mol.AddAtom(6, spacing * i, 0.0, 0.0);
    if (previous != nullptr) mol.AddBond(previous, atom);
    previous = atom;
  }
  return mol;
}

std::vector<double> Coords(const QZChem::QZMolBase& mol) {
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  return coords;
}

std::vector<double> Jittered(const std::vector<double>& coords,
                             double amplitude,
                             std::mt19937& rng) {
  std::uniform_real_distribution<double> shift(-amplitude, amplitude);
  std::vector<double> moved(coords);
  for (double& value : moved) value += shift(rng);
  return moved;
}

}  // namespace TestSupport
