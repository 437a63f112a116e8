// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "coordinates/exact.h"
#include "forcefields/forcefields.h"
#include "molpotential/molpotential.h"
#include "qzopt/optimizers.h"

namespace {

using namespace TestSupport;
using namespace QZMolPotential;

struct Found {
  double energy = 0.0;
  double multiplier = 0.0;
  double violation = 0.0;
};

// Beside differences of the gradient. In redundant coordinates third derivatives of internals are
// left out away from the start.
void expectHessian(QZCoordinateConstr& constraint, const Reals& at, QZCoordinates kind) {
  const std::size_t n = at.size();
  Reals hessian(n * (n + 1) / 2, 0.0);
  ASSERT_TRUE(constraint.AddHessian(at.data(), 2.0, hessian.data()));
  const double tolerance = kind == QZCoordinates::Redundant ? 5e-2 : 1e-5;
  for (std::size_t r = 0; r < n; ++r) {
    auto moved = at;
    Reals change(n, 0.0);
    for (const double step : {1e-4, -1e-4}) {
      moved[r] = at[r] + step;
      Reals grad(n, 0.0);
      constraint(moved.data(), grad.data());
      for (std::size_t c = 0; c < n; ++c) change[c] += grad[c] / step;
    }
    for (std::size_t c = 0; c <= r; ++c) {
      EXPECT_NEAR(hessian[r * (r + 1) / 2 + c], change[c], tolerance) << r << " " << c;
    }
  }
}

// Butane with its chain's dihedral displaced by `shift` from that of the file.
Found Relaxed(QZCoordinates kind, double shift, bool fixed) {
  const auto mol = DataMolecule("butane");
  const auto x = Coords(mol);
  QZStandardFF ff(QZForceFieldKind::MMFF94);
  QZCoordinateFunc f(ff, /*own=*/false, kind);
  if (fixed) f.SetFixed(AtomsWhere([](unsigned int i) { return i < 2; }));
  QZDihedralAngleConstr dihedral(0, 1, 2, 3);
  EXPECT_TRUE(f.Setup(mol) && f.SetupConf(x.data()) && dihedral.Setup(mol));
  dihedral.SetTarget(dihedral.GetTarget() + shift);
  QZCoordinateConstr constraint(dihedral, f);
  auto vars = VarsOf(f, x);

  // Its gradient: at the start, where nothing has been evaluated, and after a visit elsewhere.
  std::mt19937 rng(41);
  const auto away = Jittered(vars, 0.02, rng);
  for (const auto& at : {vars, away, away}) {
    Reals grad(at.size(), 0.0);
    EXPECT_EQ(constraint(at.data(), grad.data()), constraint(at.data()));
    for (std::size_t i = 0; i < at.size(); ++i) {
      auto up = at;
      auto down = at;
      up[i] += 1e-5;
      down[i] -= 1e-5;
      const double slope = (constraint(up.data()) - constraint(down.data())) / 2e-5;
      EXPECT_NEAR(grad[i], slope, 1e-6) << i;
    }
    expectHessian(constraint, at, kind);
    f(away.data());
    f(vars.data());
  }
  QZOpt::QZConstrainedMinimizer minimizer;
  minimizer.AddConstraint(constraint);
  const auto result = minimizer.Minimize(f, vars.data());
  EXPECT_TRUE(result.converged) << result.message;
  return {result.energy, minimizer.GetMultipliers().at(0), constraint(vars.data())};
}

TEST(Constrained, TheEnergyIsTheSameInEverySystemAndTheMultiplierIsItsSlope) {
  const double shift = 0.6;
  const double step = 1e-2;
  for (const bool fixed : {false, true}) {
    const Found reference = Relaxed(QZCoordinates::Cartesian, shift, fixed);
    const double slope = (Relaxed(QZCoordinates::Cartesian, shift + step, fixed).energy -
                          Relaxed(QZCoordinates::Cartesian, shift - step, fixed).energy) /
                         (2 * step);
    EXPECT_GT(std::abs(slope), 0.5);
    for (const QZCoordinates kind : {QZCoordinates::Cartesian,
                                     QZCoordinates::ZMatrix,
                                     QZCoordinates::Redundant,
                                     QZCoordinates::Internal}) {
      SCOPED_TRACE(std::string(QZGetCoordinatesName(kind)) + (fixed ? ", fixed atoms" : ""));
      const Found found = Relaxed(kind, shift, fixed);
      EXPECT_LE(std::abs(found.violation), 1e-5);
      EXPECT_NEAR(found.energy, reference.energy, 1e-4);
      EXPECT_NEAR(found.multiplier, slope, 1e-2 * std::abs(slope));
    }
  }
}

}  // namespace
