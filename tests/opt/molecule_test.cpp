// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <string>

#include "forcefields/forcefields.h"
#include "functions.h"
#include "molpotential/molpotential.h"
#include "qzchem/qzchem.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using QZOpt::QZOptResult;

constexpr double kDegree = std::numbers::pi / 180.0;

struct Bound {
  explicit Bound(const std::string& name) : ff(QZForceFieldKind::MMFF94) {
    QZChem::qzmolistream in((std::string(MOLPOTENTIAL_DATA_DIR) + "/" + name + ".sdf").c_str());
    EXPECT_TRUE(QZChem::QZReadMolecule(in, mol));
    EXPECT_TRUE(ff.Setup(mol));
    x = TestSupport::Coords(mol);
  }
  QZChem::QZGraphMol mol;
  QZStandardFF ff;
  std::vector<double> x;
};

// Starts that no embedding gives: atoms displaced by up to an ångström, and two of them all but in
// one place. The molecule must come together again.
TEST(MinimizerOnMolecules, RecoversFromDistortedStarts) {
  std::mt19937 rng(20260401);
  for (const char* name : {"aspirin", "caffeine", "ibuprofen"}) {
    Bound m(name);
    std::vector<double> x = TestSupport::Jittered(m.x, 1.0, rng);
    for (int k = 0; k < 3; ++k) x[k] = x[30 + k] + 1e-4 * (k + 1);
    ASSERT_GT(m.ff(x.data()), 1e3);
    OptTest::Recorder recorder;
    const QZOptResult result = QZOpt::QZMinimizer().Minimize(m.ff, x.data(), &recorder);
    EXPECT_TRUE(result.converged) << name << ": " << result.message;
    for (std::size_t i = 0; i < x.size(); ++i) EXPECT_LT(std::abs(x[i] - m.x[i]), 15.0);
    // Among the minima of these molecules, none far above the one next to the sound start.
    const QZOptResult sound = QZOpt::QZMinimizer().Minimize(m.ff, m.x.data());
    EXPECT_TRUE(sound.converged);
    EXPECT_LT(result.energy, sound.energy + 60.0) << name;
  }
}

TEST(ConstrainedOnMolecules, HoldsDistanceAngleAndDihedral) {
  Bound m("alanine_dipeptide");
  const auto atom = [&](unsigned int i) -> const QZChem::QZAtomBase& { return *m.mol.GetAtom(i); };
  // A bonded path of four heavy atoms, and the distance between the molecule's ends.
  std::vector<unsigned int> path;
  for (auto& bond : QZSystem::QZRange(m.mol.GetBonds())) {
    if (bond.GetBegin()->GetHeavyDegree() < 2 || bond.GetEnd()->GetHeavyDegree() < 2) continue;
    path = {0, bond.GetBegin()->GetIndex(), bond.GetEnd()->GetIndex(), 0};
    for (auto& a : QZSystem::QZRange(bond.GetBegin()->GetNeighbours())) {
      if (a.GetAtomicNumber() > 1 && a.GetIndex() != path[2]) path[0] = a.GetIndex();
    }
    for (auto& d : QZSystem::QZRange(bond.GetEnd()->GetNeighbours())) {
      if (d.GetAtomicNumber() > 1 && d.GetIndex() != path[1]) path[3] = d.GetIndex();
    }
  }
  ASSERT_EQ(path.size(), 4u);
  QZDihedralConstr dihedral(
      atom(path[0]), atom(path[1]), atom(path[2]), atom(path[3]), 100.0 * kDegree);
  QZAngleConstr angle(atom(path[0]), atom(path[1]), atom(path[2]), 118.0 * kDegree);
  QZDistanceConstr distance(atom(path[1]), atom(path[2]));
  QZOpt::QZConstrainedMinimizer minimizer;
  for (QZMolConstr* constraint : {static_cast<QZMolConstr*>(&dihedral),
                                  static_cast<QZMolConstr*>(&angle),
                                  static_cast<QZMolConstr*>(&distance)}) {
    ASSERT_TRUE(constraint->Setup(m.mol));
    minimizer.AddConstraint(*constraint);
  }
  const double bond = distance.GetDistance();
  const QZOptResult result = minimizer.Minimize(m.ff, m.x.data());
  EXPECT_TRUE(result.converged) << result.message;
  EXPECT_LT(result.evaluations, 2000u);
  m.mol.SetCoords(m.x.data());
  const auto at = [&](unsigned int i) { return m.mol.GetAtom(path[i]); };
  EXPECT_NEAR(
      std::abs(QZChem::QZGetTorsion(m.mol, at(0), at(1), at(2), at(3))), 100.0 * kDegree, 2e-6);
  EXPECT_NEAR(QZChem::QZGetAngle(m.mol, at(0), at(1), at(2)), 118.0 * kDegree, 2e-6);
  EXPECT_NEAR(QZChem::QZGetDistance(m.mol, at(1), at(2)), bond, 1e-6);
  for (double residual : minimizer.GetResiduals()) EXPECT_LE(std::abs(residual), 1e-6);
}

}  // namespace
