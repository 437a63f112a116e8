// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "support/molecules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>

#include "qzchem/geometry.h"
#include "qzchem/io.h"

namespace TestSupport {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

QZChem::QZGraphMol Waters(unsigned int n, const char* title) {
  QZChem::QZGraphMol mol;
  for (double x = 0.0; x < 3.0 * n; x += 3.0) {
    auto* o = mol.AddAtom(8, x, 0.0, 0.0);
    mol.AddBond(o, mol.AddAtom(1, x + 0.586, 0.757, 0.0));
    mol.AddBond(o, mol.AddAtom(1, x + 0.586, -0.757, 0.1));
  }
  mol.SetTitle(title);
  return mol;
}

// `n` bonded carbons, each `step` Å on along x and every other one `side` Å off it.
QZChem::QZGraphMol Chain(unsigned int n, double step, double side, double rise) {
  QZChem::QZGraphMol mol(n);
  for (unsigned int i = 0; i < n; ++i) {
    auto* atom = mol.AddAtom(6, step * i, side * (i % 2), rise * i);
    if (i > 0) mol.AddBond(mol.GetAtom(i - 1), atom);
  }
  return mol;
}

}  // namespace

QZChem::QZGraphMol DataMolecule(const std::string& name) {
  QZChem::qzmolistream in((std::string(MOLPOTENTIAL_DATA_DIR) + "/" + name + ".sdf").c_str());
  QZChem::QZGraphMol mol;
  QZChem::QZReadMolecule(in, mol);
  return mol;
}

std::vector<QZChem::QZGraphMol> DataMolecules(unsigned int maxAtoms) {
  std::vector<QZChem::QZGraphMol> molecules;
  for (const auto& entry : std::filesystem::directory_iterator(MOLPOTENTIAL_DATA_DIR)) {
    if (entry.path().extension() != ".sdf") continue;
    auto mol = DataMolecule(entry.path().stem());
    if (mol.NumAtoms() <= maxAtoms) molecules.push_back(std::move(mol));
  }
  return molecules;
}

QZChem::QZGraphMol FromSmiles(const std::string& smiles, bool embed) {
  QZChem::QZGraphMol mol;
  EXPECT_TRUE(QZChem::QZSmilesToMol(mol, smiles.c_str())) << smiles;
  EXPECT_TRUE(!embed || QZChem::QZMakeCoordinates(mol)) << smiles;
  return mol;
}

QZChem::QZGraphMol Water() {
  return Waters(1, "water");
}

QZChem::QZGraphMol WaterDimer() {
  return Waters(2, "water dimer");
}

QZChem::QZGraphMol CarbonChain(unsigned int n) {
  const double half = 56.0 * kDegree;
  return Chain(n, 1.53 * std::sin(half), 1.53 * std::cos(half), 0.05);
}

QZChem::QZGraphMol LinearChain(unsigned int n, double spacing) {
  return Chain(n, spacing, 0.0, 0.0);
}

QZChem::QZGraphMol Butane() {
  auto mol = DataMolecule("butane");
  QZChem::QZSetTorsion(
      mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2), mol.GetAtom(3), 65.0 * kDegree);
  auto x = Coords(mol);
  for (std::size_t i = x.size(); i-- > 0;) x[i] -= x[i % 3];
  mol.SetCoords(x.data());
  return mol;
}

std::vector<double> Coords(const QZChem::QZMolBase& mol) {
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  return coords;
}

std::vector<double> Jittered(std::vector<double> x, double amplitude, std::mt19937& rng) {
  std::uniform_real_distribution<double> shift(-amplitude, amplitude);
  for (double& value : x) value += shift(rng);
  return x;
}

double LargestDifference(const std::vector<double>& a, const std::vector<double>& b) {
  double largest = a.size() == b.size() ? 0.0 : INFINITY;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    largest += std::max(std::abs(a[i] - b[i]) - largest, 0.0);  // stays NaN
  }
  return largest;
}

double Deviation(const std::vector<double>& a, const std::vector<double>& b) {
  const auto n = static_cast<unsigned int>(a.size() / 3);
  return QZChem::QZRMSD(a.data(), b.data(), n, /*superpose=*/true, nullptr, nullptr);
}

}  // namespace TestSupport
