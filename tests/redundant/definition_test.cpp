// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Agreement of every product with the definition of the pseudo-inverse.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "molpotential/redundant.h"
#include "redundant/reference.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using Eigen::VectorXd;
using QZChem::QZGraphMol;
using QZMolPotential::QZRedundantInterAdaptor;
using TestSupport::Coords;

bool none(unsigned int) {
  return false;
}

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
  QZRedundantInterAdaptor adaptor(probe, /*own=*/false, /*restrictInteractions=*/false);
  ASSERT_TRUE(adaptor.Set(TestSupport::AtomsWhere(frozen), 0x400000U));
  ASSERT_TRUE(adaptor.Setup(mol));
  Reference reference(mol, frozen);
  const VectorXd x = vectorOf(Coords(mol));
  reference.UpdateRows(x);
  const VectorXd values = reference.ActiveOf(reference.Values(x, false));
  ASSERT_EQ(adaptor.NumVar(), values.size());
  if (adaptor.NumVar() == 0) return;
  const VectorXd q = Eigen::Map<const VectorXd>(adaptor.GetVar(x.data()), values.size());
  EXPECT_LE((q - values).lpNorm<Eigen::Infinity>(), 1e-10);

  // The rows of planar dihedrals are known to 1e-12 or so, which singular values next to the
  // cut-off magnify, here and there.
  double least = 1.0;
  for (const double sigma : reference.SingularValues()) {
    if (sigma >= 1e-6) least = std::min(least, sigma);
  }
  const double tolerance = 1e-9 + (least < 1e-5 ? 1e-12 / least : 0.0);

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

// A whole back-transformation towards the internals of a displaced geometry.
void expectSameWay(const QZGraphMol& mol) {
  SCOPED_TRACE(mol.GetTitle());
  std::mt19937 rng(11);
  TestSupport::ProbeFunc probe;
  QZRedundantInterAdaptor adaptor(probe, /*own=*/false, /*restrictInteractions=*/false);
  ASSERT_TRUE(adaptor.Setup(mol));
  Reference reference(mol, none);
  const VectorXd x = vectorOf(Coords(mol));
  reference.UpdateRows(x);
  const VectorXd displaced = vectorOf(TestSupport::Jittered(Coords(mol), 0.01, rng));
  const VectorXd target = reference.Values(displaced, false);
  adaptor.GetVar(x.data());
  VectorXd found(x.size());
  EXPECT_TRUE(adaptor.AdaptVar(found.data(), target.data()));
  VectorXd expected = x;
  EXPECT_TRUE(reference.BackTransform(expected, target));
  expectClose(found - x, expected - x, 1e-9);
}

// Carbons in a chain with the given angles, which turns about an axis of its own at each.
QZGraphMol chainWithAngles(const std::vector<double>& degrees) {
  QZGraphMol mol;
  Eigen::Vector3d heading(0.3, 0.5, 0.8);
  Eigen::Vector3d p(0.1, 0.2, 0.3);
  QZChem::QZAtomBase* last = nullptr;
  for (std::size_t k = 0; k < degrees.size() + 2; ++k) {
    auto* atom = mol.AddAtom(6, p[0], p[1], p[2]);
    if (last != nullptr) mol.AddBond(last, atom);
    last = atom;
    if (k > 0 && k <= degrees.size()) {
      const double turn = (180.0 - degrees[k - 1]) * std::numbers::pi / 180.0;
      const Eigen::Vector3d any(std::cos(1.0 * double(k)), std::sin(1.0 * double(k)), 0.4);
      heading = Eigen::AngleAxisd(turn, heading.cross(any).normalized()) * heading;
    }
    p += 1.3 * heading;
  }
  mol.SetTitle("angled chain");
  return mol;
}

TEST(RedundantDefinition, HoldsForMoleculesOfTheDataFolder) {
  const auto molecules = TestSupport::DataMolecules(200);
  ASSERT_FALSE(molecules.empty());
  for (const QZGraphMol& mol : molecules) {
    expectDefinition(mol, none);
    expectSameWay(mol);
  }
}

TEST(RedundantDefinition, HoldsWithFrozenAtoms) {
  for (const QZGraphMol& mol : TestSupport::DataMolecules(80)) {
    const unsigned int n = mol.AtomIndexBound();
    expectDefinition(mol, [n](unsigned int a) { return 2 * a < n; });
    expectDefinition(mol, [](unsigned int a) { return a % 3 != 0; });
  }
}

TEST(RedundantDefinition, HoldsForSmallRingsPlanarStraightAndNearlyStraightMolecules) {
  auto triangle = chainWithAngles({60.0});
  triangle.AddBond(triangle.GetAtom(0), triangle.GetAtom(2));
  auto square = chainWithAngles({95.0, 92.0});
  square.AddBond(square.GetAtom(0), square.GetAtom(3));
  std::vector<QZGraphMol> molecules{triangle,
                                    square,
                                    TestSupport::Water(),
                                    TestSupport::WaterDimer(),
                                    TestSupport::CarbonChain(12),
                                    TestSupport::LinearChain(2, 1.2),
                                    TestSupport::LinearChain(5, 1.2),
                                    chainWithAngles({180.0, 180.0, 112.0, 109.0}),
                                    chainWithAngles({109.0, 180.0, 180.0, 109.0, 118.0})};
  for (const double bend : {1e-1, 1e-2, 1e-3, 1e-4}) {
    molecules.push_back(chainWithAngles({112.0, 180.0 - bend, 180.0 - bend, 110.0, 115.0}));
  }
  for (const QZGraphMol& mol : molecules) expectDefinition(mol, none);
}

}  // namespace
