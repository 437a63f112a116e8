// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Agreement of every product with the definition of the pseudo-inverse.
#include <gtest/gtest.h>

#include <random>

#include "coordinates/redundant/reference.h"
#include "molpotential/redundant.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using Eigen::VectorXd;
using QZChem::QZGraphMol;
using TestSupport::Coords;

const Reference::Frozen none = [](unsigned int) { return false; };

VectorXd vectorOf(const std::vector<double>& v) {
  return Eigen::Map<const VectorXd>(v.data(), static_cast<Eigen::Index>(v.size()));
}

VectorXd randomVector(Eigen::Index n, std::mt19937& rng) {
  std::normal_distribution<double> normal;
  return VectorXd::NullaryExpr(n, [&] { return normal(rng); });
}

void expectClose(const VectorXd& got, const VectorXd& want, double tolerance) {
  const double error = (got - want).norm() / std::max(want.norm(), 1e-150);
  EXPECT_TRUE(error <= tolerance) << error;
}

// Values, the gradient of a force with net force and torque, and a step, against the definition.
void expectDefinition(const QZGraphMol& mol, const Reference::Frozen& frozen) {
  SCOPED_TRACE(std::string(mol.GetTitle()) + ", seed 7");
  std::mt19937 rng(7);
  TestSupport::ProbeFunc probe;
  QZMolPotential::QZRedundantInterAdaptor adaptor(
      probe, /*own=*/false, /*restrictInteractions=*/false);
  ASSERT_TRUE(adaptor.Set(TestSupport::AtomsWhere(frozen), 0x400000U));
  ASSERT_TRUE(adaptor.Setup(mol));
  Reference reference(mol, frozen);
  const VectorXd x = vectorOf(Coords(mol));
  reference.UpdateRows(x);
  const VectorXd values = reference.ActiveOf(reference.Values(x));
  ASSERT_EQ(adaptor.NumVar(), values.size());
  if (adaptor.NumVar() == 0) return;
  const VectorXd q = Eigen::Map<const VectorXd>(adaptor.GetVar(x.data()), values.size());
  EXPECT_LE((q - values).lpNorm<Eigen::Infinity>(), 1e-10);

  // The rows of planar dihedrals are known to 1e-12 or so, which small singular values magnify,
  // here and there.
  const VectorXd sigma = reference.SingularValues();
  const double least = (sigma.array() >= 1e-6).select(sigma, 1.0).minCoeff();
  const double tolerance = 1e-9 + 1e-12 / least;
  const VectorXd g = 10.0 * randomVector(x.size(), rng);
  VectorXd gradient(q.size());
  ASSERT_TRUE(adaptor.AdaptGrad(gradient.data(), g.data()));
  expectClose(gradient, reference.ActiveOf(reference.PseudoInverse().transpose() * g), tolerance);

  // One step towards internals that belong to no geometry, short enough to be the only one.
  const VectorXd direction = randomVector(q.size(), rng);
  const double length = (reference.PseudoInverse() * reference.AllOf(direction)).norm();
  const VectorXd target = q + 8e-6 / length * direction;
  VectorXd end(x.size());
  ASSERT_TRUE(adaptor.AdaptVar(end.data(), target.data()));
  // What is left of the step's digits after it was added to x.
  const double lost = 4e-16 * x.norm() / 8e-6;
  expectClose(end - x, reference.PseudoInverse() * reference.AllOf(target - q), tolerance + lost);
}

TEST(RedundantDefinition, HoldsForMoleculesOfTheDataFolderAlsoWithFrozenAtoms) {
  const auto molecules = TestSupport::DataMolecules(200);
  ASSERT_FALSE(molecules.empty());
  for (const QZGraphMol& mol : molecules) {
    expectDefinition(mol, none);
    const unsigned int n = mol.AtomIndexBound();
    if (n > 80) continue;
    expectDefinition(mol, [n](unsigned int a) { return 2 * a < n; });
    expectDefinition(mol, [](unsigned int a) { return a % 3 != 0; });
  }
}

TEST(RedundantDefinition, HoldsForStraightAndNearlyStraightMolecules) {
  std::mt19937 rng(13);
  for (const double amplitude : {0.0, 1e-4, 1e-3, 1e-2}) {
    QZGraphMol mol = TestSupport::LinearChain(8, 1.3);
    auto x = Coords(mol);
    for (const std::size_t k : {0UL, 15UL, 21UL})
      x[k + 1] += 0.9;  // the atoms between stay in line
    mol.SetCoords(TestSupport::Jittered(x, amplitude, rng).data());
    expectDefinition(mol, none);
  }
  expectDefinition(TestSupport::WaterDimer(), none);
}

}  // namespace
