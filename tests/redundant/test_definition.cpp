// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Agreement of every product with the definition of the pseudo-inverse.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <numbers>
#include <numeric>
#include <random>

#include "molpotential/redundant.h"
#include "redundant/reference.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using QZChem::QZGraphMol;
using QZMolPotential::QZRedundantInterAdaptor;
using TestSupport::Coords;
using TestSupport::ProbeFunc;

bool none(unsigned int) {
  return false;
}

double norm(const std::vector<double>& v) {
  return std::sqrt(std::inner_product(v.begin(), v.end(), v.begin(), 0.0));
}

// |a - b| / |b|, in Euclidean norms.
double relativeDifference(const std::vector<double>& a, const std::vector<double>& b) {
  double difference = 0.0;
  double size = 0.0;
  for (std::size_t i = 0; i < b.size(); ++i) {
    difference += (a[i] - b[i]) * (a[i] - b[i]);
    size += b[i] * b[i];
  }
  return std::sqrt(difference / std::max(size, 1e-300));
}

std::vector<double> randomVector(std::size_t n, double size, std::mt19937& rng) {
  std::normal_distribution<double> normal(0.0, size);
  std::vector<double> v(n);
  for (double& value : v) value = normal(rng);
  return v;
}

// Gradient of a force with net force and torque, and a back-transformation towards the internals
// of a displaced geometry, against the definition.
void expectDefinition(const QZGraphMol& mol, const Reference::Frozen& frozen, double tolerance) {
  constexpr unsigned int kSeed = 7;
  SCOPED_TRACE(std::string(mol.GetTitle()) + ", seed " + std::to_string(kSeed));
  std::mt19937 rng(kSeed);
  ProbeFunc probe;
  QZRedundantInterAdaptor adaptor(probe, /*own=*/false, /*restrictInteractions=*/false);
  ASSERT_TRUE(
      adaptor.Set(QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
                      [&frozen](const QZChem::QZAtomBase& a) { return frozen(a.GetIndex()); }),
                  0x400000U));
  ASSERT_TRUE(adaptor.Setup(mol));
  Reference reference(mol, frozen);
  const std::vector<double> x = Coords(mol);
  reference.UpdateRows(x);
  ASSERT_EQ(adaptor.NumVar(), reference.ActiveOf(reference.Values(x, false)).size());
  if (adaptor.NumVar() == 0) return;

  // The rows of planar dihedrals are known to 1e-12 or so, which singular values next to the
  // cut-off magnify, here and there.
  double least = 1.0;
  for (const double sigma : reference.SingularValues()) {
    if (sigma >= 1e-6) least = std::min(least, sigma);
  }
  if (least < 1e-5) tolerance += 1e-12 / least;

  const std::vector<double> g = randomVector(x.size(), 10.0, rng);
  std::vector<double> gradient(adaptor.NumVar());
  ASSERT_TRUE(adaptor.AdaptGrad(gradient.data(), g.data()));
  const double gradientError =
      relativeDifference(gradient, reference.ActiveOf(reference.InternalGradient(g)));
  EXPECT_TRUE(gradientError <= tolerance) << gradientError;

  // One step towards internals that belong to no geometry, short enough to be the only one.
  const double* start = adaptor.GetVar(x.data());
  const std::vector<double> q(start, start + adaptor.NumVar());
  std::vector<double> dq = randomVector(q.size(), 1.0, rng);
  const double length = norm(reference.CartesianStep(reference.AllOf(dq)));
  std::vector<double> target(q.size());
  for (std::size_t i = 0; i < q.size(); ++i) {
    target[i] = q[i] + 8e-6 / length * dq[i];
    dq[i] = target[i] - q[i];
  }
  std::vector<double> step(x.size());
  ASSERT_TRUE(adaptor.AdaptVar(step.data(), target.data()));
  for (std::size_t i = 0; i < x.size(); ++i) step[i] -= x[i];
  // What is left of the step's digits after it was added to x.
  const double lost = 4e-16 * norm(x) / 8e-6;
  const double stepError = relativeDifference(step, reference.CartesianStep(reference.AllOf(dq)));
  EXPECT_TRUE(stepError <= tolerance + lost) << stepError;
}

// A whole back-transformation towards the internals of a displaced geometry.
void expectSameWay(const QZGraphMol& mol, double tolerance) {
  SCOPED_TRACE(mol.GetTitle());
  std::mt19937 rng(11);
  ProbeFunc probe;
  QZRedundantInterAdaptor adaptor(probe, /*own=*/false, /*restrictInteractions=*/false);
  ASSERT_TRUE(adaptor.Setup(mol));
  Reference reference(mol, none);
  const std::vector<double> x = Coords(mol);
  reference.UpdateRows(x);
  const std::vector<double> target = reference.Values(TestSupport::Jittered(x, 0.01, rng), false);
  adaptor.GetVar(x.data());
  std::vector<double> found(x.size());
  EXPECT_TRUE(adaptor.AdaptVar(found.data(), target.data()));
  std::vector<double> expected = x;
  EXPECT_TRUE(reference.BackTransform(expected, target));
  for (std::size_t i = 0; i < x.size(); ++i) {
    found[i] -= x[i];
    expected[i] -= x[i];
  }
  const double error = relativeDifference(found, expected);
  EXPECT_TRUE(error <= tolerance) << error;
}

std::vector<QZGraphMol> dataMolecules(unsigned int maxAtoms) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(MOLPOTENTIAL_DATA_DIR)) {
    if (entry.path().extension() == ".sdf") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<QZGraphMol> molecules;
  for (const auto& file : files) {
    QZChem::qzmolistream in(file.c_str());
    QZGraphMol mol;
    if (!QZChem::QZReadMolecule(in, mol) || mol.NumAtoms() > maxAtoms) continue;
    mol.SetTitle(file.stem().c_str());
    molecules.push_back(mol);
  }
  return molecules;
}

// Atoms of a straight or bent group along a chain that starts in space.
QZGraphMol chainWithAngles(const std::vector<double>& degrees) {
  QZGraphMol mol;
  std::vector<double> heading{0.3, 0.5, 0.8};
  double p[3] = {0.1, 0.2, 0.3};
  QZChem::QZAtomBase* last = mol.AddAtom(6, p[0], p[1], p[2]);
  for (std::size_t k = 0; k <= degrees.size(); ++k) {
    if (k > 0) {
      const double turn = (180.0 - degrees[k - 1]) * std::numbers::pi / 180.0;
      const double axis[3] = {std::cos(1.0 * double(k)), std::sin(1.0 * double(k)), 0.4};
      // Perpendicular part of the axis to the heading.
      const double h2 = heading[0] * heading[0] + heading[1] * heading[1] + heading[2] * heading[2];
      const double along =
          (axis[0] * heading[0] + axis[1] * heading[1] + axis[2] * heading[2]) / h2;
      double side[3];
      for (std::size_t d = 0; d < 3; ++d) side[d] = axis[d] - along * heading[d];
      const double length = std::hypot(side[0], side[1], side[2]);
      for (std::size_t d = 0; d < 3; ++d) {
        heading[d] =
            std::cos(turn) * heading[d] + std::sin(turn) * std::sqrt(h2) * side[d] / length;
      }
    }
    for (std::size_t d = 0; d < 3; ++d) p[d] += 1.3 * heading[d];
    auto* atom = mol.AddAtom(6, p[0], p[1], p[2]);
    mol.AddBond(last, atom);
    last = atom;
  }
  mol.SetTitle("angled chain");
  return mol;
}

TEST(RedundantDefinition, HoldsForMoleculesOfTheDataFolder) {
  const auto molecules = dataMolecules(200);
  ASSERT_FALSE(molecules.empty());
  for (const QZGraphMol& mol : molecules) {
    expectDefinition(mol, none, 1e-9);
    expectSameWay(mol, 1e-9);
  }
}

TEST(RedundantDefinition, HoldsWithFrozenAtoms) {
  for (const QZGraphMol& mol : dataMolecules(80)) {
    const unsigned int n = mol.AtomIndexBound();
    expectDefinition(
        mol, [n](unsigned int a) { return 2 * a < n; }, 1e-9);
    expectDefinition(
        mol, [](unsigned int a) { return a % 3 != 0; }, 1e-9);
  }
}

TEST(RedundantDefinition, HoldsForPlanarAndStraightMolecules) {
  for (const QZGraphMol& mol : {TestSupport::Water(),
                                TestSupport::WaterDimer(),
                                TestSupport::CarbonChain(12),
                                TestSupport::LinearChain(2, 1.2),
                                TestSupport::LinearChain(5, 1.2),
                                chainWithAngles({180.0, 180.0, 112.0, 109.0}),
                                chainWithAngles({109.0, 180.0, 180.0, 109.0, 118.0})}) {
    expectDefinition(mol, none, 1e-9);
  }
}

TEST(RedundantDefinition, HoldsNearStraightAngles) {
  for (const double bend : {1e-1, 1e-2, 1e-3, 1e-4}) {
    SCOPED_TRACE(bend);
    expectDefinition(
        chainWithAngles({112.0, 180.0 - bend, 180.0 - bend, 110.0, 115.0}), none, 1e-9);
  }
}

}  // namespace
